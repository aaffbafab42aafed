/// @file
/// The default routes of the machine.
#pragma once

namespace zel {

/// Asks `route(8)` for the kernel's routing table; contacts no server.
/// @return Whether it shows exactly one default route; false also when it cannot be asked.
bool hasOneDefaultRoute() noexcept;

} // namespace zel
