#include "sdk/XmlComments.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

namespace zel {

namespace {

constexpr int startOfComment = 0;
constexpr int endOfComment = 1;
constexpr std::string_view opener = "<!--";
constexpr std::string_view closer = "-->";

/// A comment from its "<!--" to just behind the "-->" that closes it.
struct Comment {
    int begin;
    int end;
};

int offset(std::size_t hit) noexcept {
    return hit == std::string::npos ? -1 : static_cast<int>(hit);
}

// Searched from its second character: most brackets in a document begin no comment.
int findOpener(std::string const& text, int from) noexcept {
    auto hit = text.find(opener.substr(1), static_cast<std::size_t>(from) + 1);
    while (hit != std::string::npos && text[hit - 1] != opener.front()) {
        hit = text.find(opener.substr(1), hit + 1);
    }
    return hit == std::string::npos ? -1 : offset(hit - 1);
}

int findCloser(std::string const& text, int from) noexcept {
    return offset(text.find(closer, static_cast<std::size_t>(from)));
}

std::vector<CommentToken> startTokens(std::string const& text) {
    int const lastSearch = static_cast<int>(text.size()) - 4;
    std::vector<CommentToken> tokens;
    int hit = findOpener(text, 0);
    while (hit >= 0) {
        tokens.push_back({startOfComment, hit});
        hit = hit < lastSearch ? findOpener(text, hit + 1) : -1;
    }
    return tokens;
}

// The search goes on one character behind the closer, so of two closers without a character
// between them the second is not seen; descriptions in the field load because of it.
std::vector<CommentToken> endTokens(std::string const& text) {
    int const lastSearch = static_cast<int>(text.size()) - 3;
    std::vector<CommentToken> tokens;
    int hit = findCloser(text, 0);
    while (hit >= 0) {
        int const behind = hit + static_cast<int>(closer.size());
        tokens.push_back({endOfComment, behind});
        hit = behind < lastSearch ? findCloser(text, behind + 1) : -1;
    }
    return tokens;
}

// At one position an end comes before a start, so "--><!--" closes before it opens.
std::vector<CommentToken> tokensInOrder(std::string const& text) {
    auto const starts = startTokens(text);
    auto const ends = endTokens(text);
    std::vector<CommentToken> tokens;
    tokens.reserve(starts.size() + ends.size());
    std::merge(ends.begin(), ends.end(), starts.begin(), starts.end(), std::back_inserter(tokens),
               compTokens);
    return tokens;
}

/// @return The outermost comments in order, or nothing when openers and closers do not pair up.
std::optional<std::vector<Comment>> findComments(std::string const& text) {
    std::vector<Comment> comments;
    int nesting = 0;
    int begin = 0;
    for (CommentToken const token : tokensInOrder(text)) {
        if (token.type == startOfComment) {
            if (nesting == 0)
                begin = token.position;
            ++nesting;
            continue;
        }
        --nesting;
        if (nesting < 0)
            return std::nullopt;
        if (nesting == 0)
            comments.push_back({begin, token.position});
    }
    if (nesting != 0)
        return std::nullopt;
    return comments;
}

} // namespace

bool compTokens(CommentToken a, CommentToken b) noexcept {
    return a.position < b.position;
}

bool removeComments(std::string& text) {
    auto const comments = findComments(text);
    if (!comments)
        return false;
    if (comments->empty())
        return true;

    auto kept = text.begin() + comments->front().begin;
    for (std::size_t i = 0; i < comments->size(); ++i) {
        bool const last = i + 1 == comments->size();
        auto const from = text.begin() + (*comments)[i].end;
        auto const to = last ? text.end() : text.begin() + (*comments)[i + 1].begin;
        kept = std::copy(from, to, kept);
    }
    text.erase(kept, text.end());
    return true;
}

} // namespace zel
