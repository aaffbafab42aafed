#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

/// A web server on port 80 of the loopback interface that serves a directory, and that ends with
/// the object. It needs Debian's python3. Only inside inPrivateNamespaces.
class HttpServer {
public:
    /// Returns when the server answers. Throws std::runtime_error when it does not.
    explicit HttpServer(std::string const& directory);
    ~HttpServer();
    HttpServer(HttpServer const&) = delete;
    HttpServer& operator=(HttpServer const&) = delete;

    /// The requests so far with the status of their answers, as in "GET /a%20b 404".
    std::vector<std::string> requests() const;

private:
    TemporaryDirectory m_directory;
    pid_t m_server = -1;
};

/// Makes a host name resolve to 127.0.0.1, and no other name resolve. Only inside
/// inPrivateNamespaces.
void resolveToLoopback(std::string const& host);

} // namespace support
