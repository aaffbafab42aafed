#include "tests/support/DownloadWorld.h"

#include "tests/support/HttpServer.h"
#include "tests/support/Namespace.h"

#include <cstdlib>
#include <filesystem>

namespace support {

namespace fs = std::filesystem;

std::string linksAround(std::string const& strings) {
    return "<?xml version=\"1.0\"?>\n<DownloadLinks>\n<Imager>\n<CaliData>\n<Links>\n" + strings +
           "</Links>\n</CaliData>\n</Imager>\n</DownloadLinks>\n";
}

std::string linkTo(std::string const& url) {
    return "<string>" + url + "</string>\n";
}

void DownloadWorld::serveLinks(std::string const& content) const {
    writeFile(served("/downloadlinks.xml"), content);
}

void DownloadWorld::serveLink() const {
    serveLinks(linksAround(linkTo(std::string(downloadServer) + "/cali")));
}

void inDownloadWorld(std::function<void(DownloadWorld const&)> const& body) {
    inPrivateNamespaces([&] {
        mountTmpfs("/tmp");
        unsetenv("TMPDIR");
        for (auto const* name : {"http_proxy", "HTTP_PROXY", "WGETRC", "SYSTEM_WGETRC"}) {
            unsetenv(name);
        }
        setenv("no_proxy", "*", 1);
        resolveToLoopback("download.zentho.example");
        DownloadWorld const world;
        fs::create_directories(world.served(""));
        fs::create_directories(world.target());
        setenv("HOME", world.target().c_str(), 1);
        body(world);
    });
}

} // namespace support
