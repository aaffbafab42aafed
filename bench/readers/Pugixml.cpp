#include "bench/readers/Fill.h"

#include <stdexcept>

#include <pugixml.hpp>

namespace bench {

namespace {

struct PugixmlTree {
    using Node = pugi::xml_node;
    static Node child(Node node, char const* name) { return node.child(name); }
    static Node next(Node node, char const* name) { return node.next_sibling(name); }
    static int integer(Node node) { return node.text().as_int(); }
    static float number(Node node) { return node.text().as_float(); }
    static char const* text(Node node) { return node.text().get(); }
};

} // namespace

Records loadWithPugixml(std::string const& directory, int serial) {
    pugi::xml_document document;
    if (!document.load_file(descriptionPath(directory, serial).c_str()))
        throw std::runtime_error("pugixml cannot load the description");
    return Filler<PugixmlTree>::fill(document.child("CaliData"));
}

} // namespace bench
