#pragma once

#include <functional>
#include <string>

namespace support {

/// Runs the body in a child process with a mount table of its own (what it mounts is seen by nobody
/// else) and a network of its own, in which the loopback interface is up. An ordinary user is root
/// there. A failure, an exception or a crash inside fails the calling test, a skip inside skips it;
/// where the kernel refuses the namespaces, the calling test is skipped with the reason. What
/// the body changes in memory is not seen outside.
void inPrivateNamespaces(std::function<void()> const& body);

/// Mounts an empty file system in memory, of mode 0755, over the directory. Only inside
/// inPrivateNamespaces. Throws std::system_error.
void mountTmpfs(std::string const& where);

/// Gives up every privilege over files, also for the commands started later, so that permissions
/// hold for root as for anybody. Only inside inPrivateNamespaces. Throws std::system_error.
void giveUpPrivileges();

} // namespace support
