#include "sdk/manager/Download.h"

#include "sdk/SimpleXML.h"
#include "sdk/manager/ShellSafety.h"
#include "sdk/set/ServerLayout.h"
#include "util/StandardStreams.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace zel {

namespace {

bool run(std::string const& command) noexcept {
    StandardStreams const streams; // else wget writes what it says into the file it fetches
    return streams.occupied() && std::system(command.c_str()) != -1;
}

/// @return The file's URL in quotation marks, which are part of it as its path holds a blank.
std::string quotedUrl(std::string const& link, std::string const& serialText,
                      std::string const& name) {
    return "\"" + link + "/" + set::folderOnServer(serialText) + "/" + name + "\"";
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

    // Each pass continues inside the element it found, so only the first link is ever read: the
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

std::vector<std::string> namesOfList(char const* fileList) {
    std::vector<std::string> names;
    std::istringstream list(fileList);
    for (std::string name; std::getline(list, name, ';');)
        names.push_back(name);
    return names;
}

FetchOutcome fetchFile(std::string const& name, std::string const& serialText,
                       std::string const& targetDir, std::vector<std::string> const& links) {
    FetchOutcome outcome{false, {}};
    for (std::string const& link : links) {
        outcome.lastUrl = quotedUrl(link, serialText, name);
        if (!isSafeBetweenQuotes(link) || !isSafeFileName(name))
            continue;
        outcome.started = run("wget " + outcome.lastUrl + " -O " + targetDir + "/" + name);
        if (outcome.started)
            break;
    }
    return outcome;
}

int probeWriting(std::string const& dir) {
    std::string const probe = dir + "/.zentho_access";
    std::FILE* const file = std::fopen(probe.c_str(), "w");
    if (file == nullptr)
        return errno;
    std::fclose(file);
    std::remove(probe.c_str());
    return 0;
}

} // namespace zel
