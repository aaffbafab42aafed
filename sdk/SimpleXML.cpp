#include "sdk/SimpleXML.h"

#include "sdk/xml/Reader.h"
#include "util/ConfigFilepath.h"
#include "util/FileDescriptor.h"
#include "util/Logger.h"

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <string>
#include <string_view>

namespace zel {

namespace {

using thalvo::LogLevel;
using thalvo::report;

constexpr char const* readerFile = "sdk/SimpleXML";

std::unique_ptr<char[]> copyOf(std::string_view text) {
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy.get());
    return copy;
}

template <class Number>
bool readNumber(xml::Reader* reader, char const* name, Number* value) noexcept try {
    return reader != nullptr && name != nullptr && value != nullptr &&
           reader->readNumber(name, value);
} catch (...) {
    return false;
}

} // namespace

bool compTokens(CommentToken a, CommentToken b) noexcept {
    return a.position < b.position;
}

SimpleXML::SimpleXML() noexcept {
    std::setlocale(LC_NUMERIC, "C");
}

SimpleXML::~SimpleXML() = default;

bool SimpleXML::open(char const* filename, char const* rootname) noexcept try {
    if (filename == nullptr || rootname == nullptr)
        return false;
    if (m_reader == nullptr)
        m_reader = std::make_unique<xml::Reader>();

    auto const file = FileDescriptor::openForReading(filename);
    auto const loading = file.valid() ? m_reader->load(file, rootname, xml::Reader::largestFile)
                                      : xml::Loading::unreadable;
    if (loading == xml::Loading::unreadable) {
        report(LogLevel::debug, readerFile, __LINE__, "Failed to open file ", filename);
        return false;
    }
    if (loading == xml::Loading::loaded)
        return true;
    report(LogLevel::error, readerFile, __LINE__, m_reader->text());
    report(LogLevel::error, readerFile, __LINE__, "Format of file ", filename,
           " is wrong. Verify, that the XML document is well-formed!");
    return false;
} catch (...) {
    return false;
}

bool SimpleXML::open(char const* directory, char const* name, char const* rootname) noexcept {
    PathBuffer path{};
    if (!createConfigFilepath(path.data(), directory, pathCapacity, name, ".xml"))
        return false;
    return open(path.data(), rootname);
}

bool SimpleXML::setNode() noexcept {
    if (m_reader != nullptr)
        m_reader->selectRoot();
    return true;
}

bool SimpleXML::setNode(char const* name) noexcept try {
    return m_reader != nullptr && name != nullptr && m_reader->enter(name);
} catch (...) {
    return false;
}

bool SimpleXML::setNode(char const* name, int index) noexcept try {
    return m_reader != nullptr && name != nullptr && m_reader->enter(name, index);
} catch (...) {
    return false;
}

bool SimpleXML::resetNode() noexcept {
    return m_reader != nullptr && m_reader->leave();
}

bool SimpleXML::getNode(char** text) const noexcept try {
    if (m_reader == nullptr || text == nullptr || !m_reader->hasSelectedText())
        return false;
    *text = copyOf(m_reader->selectedText()).release();
    return true;
} catch (...) {
    return false;
}

unsigned int SimpleXML::getNodeCount(char const* name) const noexcept try {
    return m_reader != nullptr && name != nullptr ? m_reader->count(name) : 0;
} catch (...) {
    return 0;
}

int SimpleXML::getKey(char const* name, int from, int limit, bool closing) const noexcept try {
    if (m_reader == nullptr || name == nullptr || from < 0)
        return -1;
    std::string const tag = closing ? xml::closingTag(name) : xml::openingTag(name);
    int const hit = m_reader->findTag(tag, from);
    if (hit >= limit)
        return -1;
    return closing || hit < 0 ? hit : hit + static_cast<int>(tag.size());
} catch (...) {
    return -1;
}

bool SimpleXML::getInt(char const* name, int* value) noexcept {
    return readNumber(m_reader.get(), name, value);
}

bool SimpleXML::getLong(char const* name, long* value) noexcept {
    return readNumber(m_reader.get(), name, value);
}

bool SimpleXML::getFloat(char const* name, float* value) noexcept {
    return readNumber(m_reader.get(), name, value);
}

bool SimpleXML::getString(char const* name, char** text) noexcept try {
    if (text == nullptr)
        return false;
    *text = nullptr;
    if (m_reader == nullptr || name == nullptr)
        return false;
    auto const content = m_reader->childText(name);
    if (!content)
        return false;
    *text = copyOf(*content).release();
    return true;
} catch (...) {
    return false;
}

} // namespace zel
