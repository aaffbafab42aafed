#include "store/LinksFile.h"

#include <algorithm>
#include <string_view>

namespace zel::store {

namespace {

/// @return What stands before a server's name; empty when the address begins otherwise.
std::string_view schemeOf(std::string_view url) noexcept {
    for (std::string_view const scheme : {"http://", "https://"}) {
        if (url.substr(0, scheme.size()) == scheme)
            return scheme;
    }
    return {};
}

/// The library puts the address between double quotes in a shell command, and adds a path; its
/// reader takes the text of an element as it stands.
bool isAllowedInLink(char c) noexcept {
    constexpr std::string_view others = "\"'`$\\<>&?#{}|^";
    return c > ' ' && c < '\x7F' && others.find(c) == std::string_view::npos;
}

} // namespace

std::string whyNotLinked(std::string const& url) {
    auto const scheme = schemeOf(url);
    if (scheme.empty())
        return "must begin with http:// or https://";
    if (url.size() == scheme.size() || url[scheme.size()] == '/')
        return "must name a server";
    if (!std::all_of(url.begin(), url.end(), isAllowedInLink))
        return "must not have blanks, quotes or any of $ \\ < > & ? # { } | ^";
    return "";
}

std::string linksText(std::string url) {
    while (!url.empty() && url.back() == '/')
        url.pop_back();
    return "<DownloadLinks>\n"
           "  <Imager>\n"
           "    <CaliData>\n"
           "      <Links>\n"
           "        <string>" +
           url +
           "</string>\n"
           "      </Links>\n"
           "    </CaliData>\n"
           "  </Imager>\n"
           "</DownloadLinks>\n";
}

} // namespace zel::store
