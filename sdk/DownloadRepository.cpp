#include "sdk/DownloadRepository.h"

#include "sdk/SimpleXML.h"

#include <cstdlib>
#include <memory>

namespace zel {

namespace {

bool run(std::string const& command) noexcept {
    return std::system(command.c_str()) != -1;
}

} // namespace

void fetchDownloadLinks() {
    run(std::string("wget " ZENTHO_DOWNLOAD_SERVER "/downloadlinks.xml -O ") + downloadLinksPath);
}

DownloadLinks readDownloadLinks() {
    SimpleXML xml;
    if (!xml.open(downloadLinksPath, "DownloadLinks"))
        return {LinksFailure::unreadable, {}};

    xml.setNode();
    bool const hasImager = xml.setNode("Imager");
    bool const hasCaliData = xml.setNode("CaliData");
    bool const hasLinks = xml.setNode("Links");
    if (!hasImager || !hasCaliData || !hasLinks)
        return {LinksFailure::malformed, {}};

    // Each pass goes on inside the element it found, so only the first link is ever read: the
    // repository has one address, and further ones in the file are for other programs.
    DownloadLinks links;
    char* text = nullptr;
    while (xml.getString("string", &text)) {
        std::unique_ptr<char[]> const owned(text);
        xml.setNode("string");
        links.urls.emplace_back(text);
    }
    return links;
}

std::string quotedUrl(std::string const& link, std::string const& serialText,
                      std::string const& name) {
    return "\"" + link + "/" + serialText.substr(0, 2) + "/" + serialText.substr(0, 4) +
           "/Califiles SN" + serialText + "/" + name + "\"";
}

bool fetch(std::string const& url, std::string const& targetPath) {
    return run("wget " + url + " -O " + targetPath);
}

} // namespace zel
