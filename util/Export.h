/// @file
/// Marks what the shared library exports.
#pragma once

/// Everything else of the library is hidden: it is built with `-fvisibility=hidden`.
#define ZENTHO_API __attribute__((visibility("default")))

/// Hides a member of a class that is exported, such as a template that its users instantiate.
#define ZENTHO_HIDDEN __attribute__((visibility("hidden")))
