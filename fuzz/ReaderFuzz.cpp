// Reads a document and walks through it. The first line of an input is the walk, two characters a
// step: what to do, and with which name. The document follows.

#include "fuzz/MemoryFile.h"

#include "sdk/SimpleXML.h"

#include <array>
#include <cstring>
#include <memory>

namespace {

using zel::SimpleXML;

constexpr std::array<char const*, 20> names{
    "a",  "b", "Range", "Framerate", "Framerates", "FR",  "FOV", "Text",   "TempLo", "x1",
    "/a", "",  "/",     "a><b",      "<a",         "!--", ">",   "/a></a", "a>",     "root"};

template <class Number>
void readNumber(SimpleXML& xml, char const* name, bool (SimpleXML::*get)(char const*, Number*)) {
    Number value = 0;
    bool const found = (xml.*get)(name, &value);
    char* text = nullptr;
    bool const isThere = xml.getString(name, &text);
    std::unique_ptr<char[]> const owned(text);
    fuzz::require(found == isThere, "a number is found where its element is");
}

void takeText(SimpleXML& xml, char const* name) {
    char* text = nullptr;
    bool const found = xml.getString(name, &text);
    std::unique_ptr<char[]> const owned(text);
    fuzz::require(found == (text != nullptr), "a text comes with success");
}

void takeNode(SimpleXML const& xml) {
    char* text = nullptr;
    bool const found = xml.getNode(&text);
    std::unique_ptr<char[]> const owned(text);
    fuzz::require(!found || std::strlen(text) < 1000000, "the text of a node is terminated");
}

// A descent keeps to stricter bounds than counting, so it may find fewer, but never more.
void descendToEach(SimpleXML& xml, char const* name) {
    unsigned int const count = xml.getNodeCount(name);
    unsigned int found = 0;
    while (found <= count && xml.setNode(name, static_cast<int>(found))) {
        takeNode(xml);
        xml.resetNode();
        ++found;
    }
    fuzz::require(found <= count, "no more elements are found than counted");
}

void searchTags(SimpleXML const& xml, char const* name, int limit) {
    for (bool const closing : {false, true}) {
        int from = 0;
        for (int hits = 0; hits < 50; ++hits) {
            int const hit = xml.getKey(name, from, limit, closing);
            if (hit < 0)
                break;
            fuzz::require(hit >= from, "tags are searched forwards");
            from = hit + 1;
        }
    }
}

void step(SimpleXML& xml, char action, char const* name, int limit) {
    switch (static_cast<unsigned char>(action) % 13) {
    case 0:
        xml.setNode();
        return;
    case 1:
    case 2:
    case 3:
        xml.setNode(name);
        return;
    case 4:
        xml.setNode(name, 1);
        return;
    case 5:
        xml.resetNode();
        return;
    case 6:
        takeNode(xml);
        return;
    case 7:
        descendToEach(xml, name);
        return;
    case 8:
        searchTags(xml, name, limit);
        return;
    case 9:
        readNumber<int>(xml, name, &SimpleXML::getInt);
        return;
    case 10:
        readNumber<long>(xml, name, &SimpleXML::getLong);
        return;
    case 11:
        readNumber<float>(xml, name, &SimpleXML::getFloat);
        return;
    default:
        takeText(xml, name);
        return;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static fuzz::MemoryFile const file;
    static std::string const path = file.path();
    static bool const silent = (fuzz::silenceTheLogger(), true);
    static_cast<void>(silent);

    std::string_view const input = fuzz::text(data, size);
    std::string_view const walk = input.substr(0, input.find('\n'));
    std::string_view const document = input.substr(std::min(walk.size() + 1, size));
    file.write(document);

    SimpleXML xml;
    xml.open(path.c_str(), "root");
    xml.setNode();
    for (std::size_t i = 0; i + 1 < walk.size() && i < 60; i += 2) {
        auto const name = static_cast<unsigned char>(walk[i + 1]) % names.size();
        step(xml, walk[i], names[name], static_cast<int>(document.size()));
    }
    return 0;
}
