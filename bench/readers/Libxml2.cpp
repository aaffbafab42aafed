#include "bench/readers/Fill.h"

#include <cstdlib>
#include <stdexcept>

#include <libxml/parser.h>

namespace bench {

namespace {

struct Libxml2Tree {
    using Node = xmlNode const*;
    static Node named(Node node, char const* name) {
        while (node != nullptr && (node->type != XML_ELEMENT_NODE || !isCalled(node, name)))
            node = node->next;
        return node;
    }
    static bool isCalled(Node node, char const* name) {
        return std::strcmp(reinterpret_cast<char const*>(node->name), name) == 0;
    }
    static Node child(Node node, char const* name) { return named(node->children, name); }
    static Node next(Node node, char const* name) { return named(node->next, name); }
    static int integer(Node node) { return std::atoi(text(node)); }
    static float number(Node node) { return std::strtof(text(node), nullptr); }
    static char const* text(Node node) {
        for (Node n = node->children; n != nullptr; n = n->next) {
            if (n->type == XML_TEXT_NODE)
                return reinterpret_cast<char const*>(n->content);
        }
        return "";
    }
};

struct FreeDocument {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};

} // namespace

Records loadWithLibxml2(std::string const& directory, int serial) {
    constexpr int options = XML_PARSE_HUGE | XML_PARSE_NOBLANKS | XML_PARSE_COMPACT |
                            XML_PARSE_NONET | XML_PARSE_NOWARNING;
    std::unique_ptr<xmlDoc, FreeDocument> const document(
        xmlReadFile(descriptionPath(directory, serial).c_str(), nullptr, options));
    if (document == nullptr)
        throw std::runtime_error("libxml2 cannot load the description");
    return Filler<Libxml2Tree>::fill(xmlDocGetRootElement(document.get()));
}

} // namespace bench
