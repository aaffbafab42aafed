#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <functional>
#include <string>

namespace support {

/// The address of the download server, as compiled into the product.
constexpr char const* downloadServer = "http://download.zentho.example";

/// What stands in the download links file around its links.
std::string linksAround(std::string const& strings);

/// One link for linksAround().
std::string linkTo(std::string const& url);

/// A directory that a web server can serve, and one to download to.
class DownloadWorld {
public:
    std::string target() const { return m_directory.path() + "/target"; }
    std::string served(std::string const& path) const { return m_directory.path() + "/www" + path; }

    void serveLinks(std::string const& content) const;
    /// The links file names this server's directory "cali" as the repository.
    void serveLink() const;

private:
    TemporaryDirectory m_directory;
};

/// Runs the body in private namespaces of its own, in which the machine's settings for wget
/// have no effect and the download server's name means the loopback interface.
void inDownloadWorld(std::function<void(DownloadWorld const&)> const& body);

} // namespace support
