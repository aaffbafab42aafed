#include "tests/tool/companion/Companion.h"

#include "tests/support/Namespace.h"
#include "tests/support/Route.h"

namespace {

using companiontest::said;
using support::exited;

using CompanionOnline = companiontest::Companion;

constexpr char const* route = "0.0.0.0  192.168.1.1  0.0.0.0  UG 100 0 0 eth0\n";

} // namespace

TEST_F(CompanionOnline, SaysYesToOneDefaultRoute) {
    support::inPrivateNamespaces([&] {
        support::tellRoutes(route);
        EXPECT_EQ(seenOf({"online"}), exited(0, "yes\n", ""));
    });
}

TEST_F(CompanionOnline, SaysNoWithoutADefaultRoute) {
    support::inPrivateNamespaces([&] {
        support::tellRoutes("");
        EXPECT_EQ(seenOf({"online"}), exited(1, "no\n", ""));
    });
}

TEST_F(CompanionOnline, SaysNoToTwoDefaultRoutes) {
    support::inPrivateNamespaces([&] {
        support::tellRoutes(std::string(route) + route);
        EXPECT_EQ(seenOf({"online"}), exited(1, "no\n", ""));
    });
}

TEST_F(CompanionOnline, NamesTheProgramThatIsMissing) {
    support::inPrivateNamespaces([&] {
        support::removeRoute();
        EXPECT_EQ(seenOf({"online"}),
                  exited(3, "",
                         said("Cannot run /sbin/route: No such file or directory") +
                             said("hint: The package net-tools brings it.")));
    });
}

TEST_F(CompanionOnline, AnswersYesInJson) {
    support::inPrivateNamespaces([&] {
        support::tellRoutes(route);
        EXPECT_EQ(jsonOf({"online"}), "{\n"
                                      "  \"command\": \"online\",\n"
                                      "  \"status\": 0,\n"
                                      "  \"online\": true\n"
                                      "}\n");
    });
}

TEST_F(CompanionOnline, AnswersNoInJson) {
    support::inPrivateNamespaces([&] {
        support::tellRoutes("");
        EXPECT_EQ(jsonOf({"online"}), "{\n"
                                      "  \"command\": \"online\",\n"
                                      "  \"status\": 1,\n"
                                      "  \"online\": false\n"
                                      "}\n");
    });
}
