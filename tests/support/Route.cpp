#include "tests/support/Route.h"

#include "tests/support/Namespace.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>

namespace support {

namespace fs = std::filesystem;

void removeRoute() {
    mountTmpfs(fs::canonical("/sbin"));
}

void installRoute(std::string const& script) {
    removeRoute();
    writeFile("/sbin/route", "#!/bin/sh\n" + script);
    fs::permissions("/sbin/route", fs::perms::owner_all);
}

void tellRoutes(std::string const& table) {
    installRoute("cat <<'END'\n" + table + "END\n");
}

} // namespace support
