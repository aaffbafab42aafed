/// @file
/// Asks the product's reader and the model's the same questions, with answers that can be compared.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace support {

/// One question to a reader, or one step of its selection.
struct Operation {
    enum Kind {
        SetRoot,
        SetNode,
        SetIndexed,
        Reset,
        GetNode,
        Count,
        Key,
        Int,
        Long,
        Float,
        String
    };
    Kind kind;
    std::string name;
    int index = 0;
    int from = 0;
    int limit = 0;
    bool closing = false;
};

/// For messages of failures.
inline std::string describe(Operation const& operation) {
    static char const* const kinds[] = {"setNode()", "setNode",      "setNode",  "resetNode",
                                        "getNode",   "getNodeCount", "getKey",   "getInt",
                                        "getLong",   "getFloat",     "getString"};
    return std::string(kinds[operation.kind]) + " name=" + "'" + operation.name + "'" +
           " index=" + std::to_string(operation.index) + " from=" + std::to_string(operation.from) +
           " limit=" + std::to_string(operation.limit) +
           (operation.closing ? " closing" : " opening");
}

namespace detail {

/// The text of an array handed out by a reader, in quotes; when there was none, what became of the
/// caller's pointer, which was @p before.
inline std::string taken(char* text, char* before) {
    if (text == nullptr)
        return "null";
    if (text == before)
        return "untouched";
    std::unique_ptr<char[]> const owned(text);
    return "'" + std::string(text) + "'";
}

template <class Number>
std::string outcome(bool found, Number value) {
    char bytes[64];
    // Hexadecimal, since two floats may look the same in decimal.
    std::snprintf(bytes, sizeof bytes, "%d %a %La", found, static_cast<double>(value),
                  static_cast<long double>(value));
    return bytes;
}

} // namespace detail

/// Does one operation. @return All that a caller can see of it.
template <class Reader>
std::string perform(Reader& reader, Operation const& operation) {
    char const* const name = operation.name.c_str();
    char marker = '#';
    char* text = &marker;
    int integer = 12345;
    long longInteger = 12345;
    float number = 12345.0F;
    bool found = false;
    switch (operation.kind) {
    case Operation::SetRoot:
        return std::to_string(reader.setNode());
    case Operation::SetNode:
        return std::to_string(reader.setNode(name));
    case Operation::SetIndexed:
        return std::to_string(reader.setNode(name, operation.index));
    case Operation::Reset:
        return std::to_string(reader.resetNode());
    case Operation::GetNode:
        found = reader.getNode(&text);
        return std::to_string(found) + detail::taken(text, &marker);
    case Operation::Count:
        return std::to_string(reader.getNodeCount(name));
    case Operation::Key:
        return std::to_string(
            reader.getKey(name, operation.from, operation.limit, operation.closing));
    case Operation::Int:
        found = reader.getInt(name, &integer);
        return detail::outcome(found, integer);
    case Operation::Long:
        found = reader.getLong(name, &longInteger);
        return detail::outcome(found, longInteger);
    case Operation::Float:
        found = reader.getFloat(name, &number);
        return detail::outcome(found, number);
    case Operation::String:
        found = reader.getString(name, &text);
        return std::to_string(found) + detail::taken(text, &marker);
    }
    return "no such operation";
}

} // namespace support
