#include "tool/companion/Commands.h"

#include "sdk/manager/DefaultRoute.h"

#include <cerrno>

#include <unistd.h>

namespace companion {

namespace {

void addNoOptions(CLI::App& /*parser*/, Options& /*options*/) {}

Result runOnline(Options const& /*options*/, Terminal const& /*terminal*/) {
    constexpr char const* program = "/sbin/route";
    if (access(program, X_OK) != 0)
        throw systemFailure("Cannot run", program, errno, Hint{"The package net-tools brings it."});
    bool const yes = zel::hasOneDefaultRoute();
    Result result;
    result.members["online"] = yes;
    result.text = yes ? "yes\n" : "no\n";
    if (!yes)
        answerNo(result);
    return result;
}

} // namespace

Command const online{
    "online",      "Tell whether exactly one default route is configured",
    "0 yes, 1 no", "zentho-cali online",
    addNoOptions,  runOnline,
};

} // namespace companion
