#include "sdk/xml/Comments.h"

#include <cstring>
#include <string_view>
#include <vector>

namespace zel::xml {

namespace {

constexpr std::size_t closerLength = 3;

/// A comment from its "<!--" to just after the "-->" that closes it.
struct Comment {
    std::size_t begin;
    std::size_t end;
};

// Both tokens contain two hyphens, which are rare elsewhere: they are found by the first one.

bool opensAt(std::string_view text, std::size_t hyphen) noexcept {
    return hyphen >= 2 && hyphen + 1 < text.size() && text[hyphen - 2] == '<' &&
           text[hyphen - 1] == '!' && text[hyphen + 1] == '-';
}

bool closesAt(std::string_view text, std::size_t hyphen) noexcept {
    return hyphen + 2 < text.size() && text[hyphen + 1] == '-' && text[hyphen + 2] == '>';
}

/// @return Offset of the next hyphen, which often is the neighbour, or npos.
std::size_t nextHyphen(std::string_view text, std::size_t hyphen) noexcept {
    std::size_t const next = hyphen + 1;
    return next < text.size() && text[next] == '-' ? next : text.find('-', next);
}

/// Visits the tokens of a document in the order of their positions.
/// @param onStart Gets the offset of each "<!--".
/// @param onEnd   Gets the offset just after each "-->".
template <class OnStart, class OnEnd>
void forEachToken(std::string_view text, OnStart const& onStart, OnEnd const& onEnd) {
    std::size_t closersFrom = 0;
    for (auto hyphen = text.find('-'); hyphen != std::string_view::npos;
         hyphen = nextHyphen(text, hyphen)) {
        if (opensAt(text, hyphen))
            onStart(hyphen - 2);
        if (hyphen < closersFrom || !closesAt(text, hyphen))
            continue;
        std::size_t const end = hyphen + closerLength;
        onEnd(end);
        // Of two closers without a character between them the second does not count; descriptions
        // in the field load because of it.
        closersFrom = end + 1;
    }
}

/// @return The outermost comments in order, or nothing when openers and closers do not pair up.
std::optional<std::vector<Comment>> findComments(std::string_view text) {
    std::vector<Comment> comments;
    int nesting = 0;
    std::size_t begin = 0;
    bool paired = true;
    auto const open = [&](std::size_t position) {
        if (nesting == 0)
            begin = position;
        ++nesting;
    };
    auto const close = [&](std::size_t position) {
        --nesting;
        paired = paired && nesting >= 0;
        if (nesting == 0)
            comments.push_back({begin, position});
    };
    forEachToken(text, open, close);
    if (!paired || nesting != 0)
        return std::nullopt;
    return comments;
}

} // namespace

std::optional<std::size_t> removeComments(char* text, std::size_t length) {
    auto const comments = findComments({text, length});
    if (!comments)
        return std::nullopt;
    if (comments->empty())
        return length;

    std::size_t kept = comments->front().begin;
    for (std::size_t i = 0; i < comments->size(); ++i) {
        std::size_t const from = (*comments)[i].end;
        std::size_t const to = i + 1 < comments->size() ? (*comments)[i + 1].begin : length;
        std::memmove(text + kept, text + from, to - from);
        kept += to - from;
    }
    return kept;
}

} // namespace zel::xml
