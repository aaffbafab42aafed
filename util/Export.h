/// @file
/// Marks what the shared library exports.
#pragma once

/// Everything else of the library is hidden: it is built with `-fvisibility=hidden`.
#define ZENTHO_API __attribute__((visibility("default")))
