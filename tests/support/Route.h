#pragma once

#include <string>

namespace support {

/// Replaces the directory of /sbin/route, on most systems a link, by one with nothing in it. Only
/// inside inPrivateNamespaces.
void removeRoute();

/// Replaces /sbin/route by a shell script. Only inside inPrivateNamespaces.
void installRoute(std::string const& script);

/// Replaces /sbin/route by one that prints this table. Only inside inPrivateNamespaces.
void tellRoutes(std::string const& table);

} // namespace support
