/// @file
/// A second reader for the same documents, written for plainness only.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace support {

/// What zel::SimpleXML is compared with: the same operations, each a straight string search over
/// one terminated buffer, step by step. It shares no code with the product.
class ModelReader {
public:
    bool open(char const* filename, char const* rootname);
    bool setNode();
    bool setNode(char const* name);
    bool setNode(char const* name, int index);
    bool resetNode();
    bool getNode(char** text);
    unsigned int getNodeCount(char const* name);
    int getKey(char const* name, int from, int limit, bool closing);
    bool getInt(char const* name, int* value);
    bool getLong(char const* name, long* value);
    bool getFloat(char const* name, float* value);
    bool getString(char const* name, char** text);

    /// Level and text of what the last open() reported.
    std::vector<std::pair<int, std::string>> const& messages() const { return m_messages; }

    /// Characters before the terminator of the document.
    int textLength() const;

private:
    bool removeComments();
    int search(std::string const& text, int from) const;
    template <class Number>
    bool getNumber(char const* name, char const* format, Number* value);
    std::string selectedText() const;

    int m_length = 0;
    int m_nodeStart[256] = {};
    int m_nodeEnd[256] = {};
    unsigned short m_depth = 0;
    std::vector<char> m_doc{'\0'};
    std::vector<std::pair<int, std::string>> m_messages;
};

} // namespace support
