#include "sdk/XmlComments.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

namespace zel {

namespace {

constexpr int startOfComment = 0;
constexpr int endOfComment = 1;
constexpr int closerLength = 3;

/// A comment from its "<!--" to just behind the "-->" that closes it.
struct Comment {
    int begin;
    int end;
};

int offset(std::size_t hit) noexcept {
    return hit == std::string::npos ? -1 : static_cast<int>(hit);
}

// Both look for a character that is rare in a document and test its neighbours in place; the text's
// own terminator stands behind the last of them.

int findOpener(std::string const& text, int from) noexcept {
    auto hit = text.find('!', static_cast<std::size_t>(from) + 1);
    while (hit != std::string::npos &&
           !(text[hit - 1] == '<' && text[hit + 1] == '-' && text[hit + 2] == '-'))
        hit = text.find('!', hit + 1);
    return hit == std::string::npos ? -1 : offset(hit - 1);
}

int findCloser(std::string const& text, int from) noexcept {
    auto hit = text.find('-', static_cast<std::size_t>(from));
    while (hit != std::string::npos && !(text[hit + 1] == '-' && text[hit + 2] == '>'))
        hit = text.find('-', hit + 1);
    return offset(hit);
}

/// The tokens of a document in order. At one position an end comes before a start, so "--><!--"
/// closes before it opens.
class CommentTokens {
public:
    explicit CommentTokens(std::string const& text) noexcept
        : m_text(text), m_start{startOfComment, findOpener(text, 0)}, m_end(endFrom(0)) {}

    /// @return The next token; one with a negative position behind the last.
    CommentToken next() noexcept {
        bool const startIsNext =
            m_start.position >= 0 && (m_end.position < 0 || compTokens(m_start, m_end));
        CommentToken const token = startIsNext ? m_start : m_end;
        if (startIsNext)
            advanceStart();
        else
            advanceEnd();
        return token;
    }

private:
    CommentToken endFrom(int from) const noexcept {
        int const hit = findCloser(m_text, from);
        return {endOfComment, hit < 0 ? hit : hit + closerLength};
    }

    void advanceStart() noexcept {
        bool const more = m_start.position < static_cast<int>(m_text.size()) - 4;
        m_start.position = more ? findOpener(m_text, m_start.position + 1) : -1;
    }

    // The search goes on one character behind the closer, so of two closers without a character
    // between them the second is not seen; descriptions in the field load because of it.
    void advanceEnd() noexcept {
        bool const more = m_end.position < static_cast<int>(m_text.size()) - 3;
        m_end = more ? endFrom(m_end.position + 1) : CommentToken{endOfComment, -1};
    }

    std::string const& m_text;
    CommentToken m_start;
    CommentToken m_end;
};

/// @return The outermost comments in order, or nothing when openers and closers do not pair up.
std::optional<std::vector<Comment>> findComments(std::string const& text) {
    std::vector<Comment> comments;
    int nesting = 0;
    int begin = 0;
    CommentTokens tokens(text);
    for (CommentToken token = tokens.next(); token.position >= 0; token = tokens.next()) {
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
