#include "tests/support/ModelReader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace support {

namespace {

constexpr int startOfComment = 0;
constexpr int endOfComment = 1;

struct Token {
    int type;
    int position;
};

/// Fills memory that nobody has written yet, so that reading it shows.
constexpr char unwritten = '#';

std::string opened(char const* name) {
    return std::string("<") + name + ">";
}

std::string closed(char const* name) {
    return std::string("</") + name + ">";
}

std::size_t size(int count) {
    return static_cast<std::size_t>(count);
}

} // namespace

bool ModelReader::open(char const* filename, char const* rootname) {
    m_messages.clear();
    std::ifstream file(filename, std::ios::binary);
    if (!file.is_open()) {
        m_messages.emplace_back(3, std::string("Failed to open file ") + filename);
        return false;
    }

    file.seekg(-1, std::ios::end);
    m_length = std::max(0, static_cast<int>(file.tellg()));
    // One character more than the size, since an empty document has to be terminated as well.
    m_doc.assign(size(m_length) + 1, unwritten);
    m_doc[0] = '\0';
    file.clear();
    file.seekg(0, std::ios::beg);

    std::string const opening = std::string("<") + rootname;
    std::string const closing = std::string("</") + rootname + ">";

    std::ifstream second(filename, std::ios::binary);
    char character = '\0';
    while (second.get(character) && character != '<') {
    }
    if (!second)
        file.setstate(std::ios::failbit); // no "<" at all: an empty document
    auto const afterTag = second ? static_cast<int>(second.tellg()) : 0;
    if (afterTag > 1)
        file.seekg(afterTag - 1, std::ios::beg);
    second.close();

    char line[4096];
    int position = 0;
    bool started = false;
    while (file.getline(line, sizeof line)) {
        if (!started) {
            if (std::strstr(line, opening.c_str()) != nullptr)
                started = true;
            continue;
        }
        if (std::strstr(line, closing.c_str()) != nullptr)
            break;
        std::strncpy(m_doc.data() + position, line, size(m_length - position));
        position += static_cast<int>(std::strlen(line));
    }
    m_length = position;
    m_depth = 0;

    for (int i = 0; i < m_length; ++i) {
        if (m_doc[size(i)] == '\r')
            m_doc[size(i)] = '\n';
    }

    if (removeComments())
        return true;
    m_messages.emplace_back(0, m_doc.data());
    m_messages.emplace_back(0, std::string("Format of file ") + filename +
                                   " is wrong. Verify, that the XML document is well-formed!");
    return false;
}

bool ModelReader::removeComments() {
    char const* const text = m_doc.data();
    std::vector<Token> tokens;
    char const* start = std::strstr(text, "<!--");
    char const* end = std::strstr(text, "-->");
    while (start != nullptr || end != nullptr) {
        if (start != nullptr) {
            int const hit = static_cast<int>(start - text);
            tokens.push_back({startOfComment, hit});
            start = hit < m_length - 4 ? std::strstr(text + hit + 1, "<!--") : nullptr;
        }
        if (end != nullptr) {
            int const position = static_cast<int>(end - text) + 3;
            tokens.push_back({endOfComment, position});
            end = position < m_length - 3 ? std::strstr(text + position + 1, "-->") : nullptr;
        }
    }
    if (tokens.empty())
        return true;

    std::vector<char> work(size(m_length) + 1, unwritten);
    std::strncpy(work.data(), text, size(m_length));

    std::sort(tokens.begin(), tokens.end(), [](Token const& a, Token const& b) {
        if (a.position != b.position)
            return a.position < b.position;
        return a.type == endOfComment && b.type == startOfComment;
    });

    int nesting = 0;
    int removed = 0;
    int commentStart = 0;
    for (Token const& token : tokens) {
        if (token.type == startOfComment) {
            if (nesting == 0)
                commentStart = token.position;
            ++nesting;
            continue;
        }
        --nesting;
        if (nesting < 0)
            return false;
        if (nesting > 0)
            continue;
        int const target = commentStart - removed;
        std::strncpy(work.data() + target, text + token.position, size(m_length - target));
        removed += token.position - commentStart;
    }
    if (nesting != 0)
        return false;

    std::strncpy(m_doc.data(), work.data(), size(m_length - removed));
    m_doc[size(m_length - removed)] = '\0';
    return true;
}

int ModelReader::textLength() const {
    return static_cast<int>(std::strlen(m_doc.data()));
}

int ModelReader::search(std::string const& text, int from) const {
    if (from < 0 || from > textLength())
        return -1;
    char const* const hit = std::strstr(m_doc.data() + from, text.c_str());
    return hit == nullptr ? -1 : static_cast<int>(hit - m_doc.data());
}

bool ModelReader::setNode() {
    m_depth = 0;
    m_nodeStart[0] = 0;
    m_nodeEnd[0] = m_length;
    return true;
}

bool ModelReader::setNode(char const* name) {
    int const d = m_depth;
    if (d > 253)
        return false;
    int const n = d + 1;
    m_depth = static_cast<unsigned short>(n);

    int const p = search(opened(name), m_nodeStart[d]);
    if (p < 0 || p >= m_nodeEnd[d]) {
        m_nodeStart[n] = -1;
        m_depth = static_cast<unsigned short>(d);
        return false;
    }
    m_nodeStart[n] = p + static_cast<int>(opened(name).size());

    int const q = search(closed(name), m_nodeStart[n]);
    if (q < 0 || q >= m_nodeEnd[d]) {
        m_nodeEnd[n] = -1;
        m_depth = static_cast<unsigned short>(d);
        return false;
    }
    m_nodeEnd[n] = q;
    return true;
}

bool ModelReader::setNode(char const* name, int index) {
    int const d = m_depth;
    if (index < 0 || d > 253)
        return false;
    int const n = d + 1;
    m_depth = static_cast<unsigned short>(n);

    int position = m_nodeStart[d];
    int const limit = m_nodeEnd[d];
    int counter = 0;
    while (true) {
        int const p = search(opened(name), position);
        if (p < 0 || p >= limit) {
            m_nodeStart[n] = -1;
            m_depth = static_cast<unsigned short>(d);
            return false;
        }
        m_nodeStart[n] = p + static_cast<int>(opened(name).size());
        int const q = search(closed(name), m_nodeStart[n]);
        if (q < 0 || q >= limit) {
            m_nodeEnd[n] = -1;
            m_depth = static_cast<unsigned short>(d);
            return false;
        }
        m_nodeEnd[n] = q;
        position = q;
        ++counter;
        if (counter > index)
            return true;
    }
}

bool ModelReader::resetNode() {
    if (m_depth == 0)
        return false;
    --m_depth;
    return true;
}

bool ModelReader::getNode(char** text) {
    int const s = m_nodeStart[m_depth];
    int const e = m_nodeEnd[m_depth];
    if (e - s < 1)
        return false;
    *text = new char[size(e - s) + 1];
    std::strncpy(*text, m_doc.data() + s, size(e - s));
    (*text)[e - s] = '\0';
    return true;
}

unsigned int ModelReader::getNodeCount(char const* name) {
    if (m_depth > 253)
        return 0;
    int position = m_nodeStart[m_depth];
    int const limit = m_nodeEnd[m_depth];
    unsigned int count = 0;
    while (true) {
        int const p = search(opened(name), position);
        if (p < 0 || p >= m_length)
            return count;
        int const content = p + static_cast<int>(opened(name).size());
        if (content > limit)
            return count;
        int const q = search(closed(name), content);
        if (q < 0 || q >= m_length)
            return count;
        position = q;
        if (position > limit)
            return count;
        ++count;
    }
}

int ModelReader::getKey(char const* name, int from, int limit, bool closing) {
    std::string const tag = closing ? closed(name) : opened(name);
    int const hit = search(tag, from);
    if (hit < 0 || hit >= limit)
        return -1;
    return closing ? hit : hit + static_cast<int>(tag.size());
}

std::string ModelReader::selectedText() const {
    int const s = m_nodeStart[m_depth];
    int const e = m_nodeEnd[m_depth];
    return std::string(m_doc.data() + s, size(e - s));
}

template <class Number>
bool ModelReader::getNumber(char const* name, char const* format, Number* value) {
    if (!setNode(name))
        return false;
    std::string const text = selectedText();
    std::sscanf(text.c_str(), format, value);
    resetNode();
    return true;
}

bool ModelReader::getInt(char const* name, int* value) {
    return getNumber(name, "%i", value);
}

bool ModelReader::getLong(char const* name, long* value) {
    return getNumber(name, "%ld", value);
}

bool ModelReader::getFloat(char const* name, float* value) {
    return getNumber(name, "%f", value);
}

bool ModelReader::getString(char const* name, char** text) {
    *text = nullptr;
    if (!setNode(name))
        return false;
    std::string const content = selectedText();
    resetNode();
    *text = new char[content.size() + 1];
    std::memcpy(*text, content.c_str(), content.size() + 1);
    return true;
}

} // namespace support
