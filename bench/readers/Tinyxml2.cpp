#include "bench/readers/Fill.h"

#include <stdexcept>

#include <tinyxml2.h>

namespace bench {

namespace {

struct Tinyxml2Tree {
    using Node = tinyxml2::XMLElement const*;
    static Node child(Node node, char const* name) { return node->FirstChildElement(name); }
    static Node next(Node node, char const* name) { return node->NextSiblingElement(name); }
    static int integer(Node node) { return node->IntText(); }
    static float number(Node node) { return node->FloatText(); }
    static char const* text(Node node) {
        char const* const text = node->GetText();
        return text != nullptr ? text : "";
    }
};

} // namespace

Records loadWithTinyxml2(std::string const& directory, int serial) {
    tinyxml2::XMLDocument document;
    if (document.LoadFile(descriptionPath(directory, serial).c_str()) != tinyxml2::XML_SUCCESS)
        throw std::runtime_error("tinyxml2 cannot load the description");
    return Filler<Tinyxml2Tree>::fill(document.RootElement());
}

} // namespace bench
