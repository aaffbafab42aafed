/// @file
/// The file by which a download finds a repository.
#pragma once

#include <string>

namespace zel::store {

/// Its name.
constexpr char const* linksName = "downloadlinks.xml";

/// @param url Base address of a repository.
/// @return Why no links file can hold it, as in "must begin with http:// or https://"; empty when
///         one can. @throws std::bad_alloc
std::string whyNotLinked(std::string const& url);

/// @param url Base address of a repository; slashes at its end are left out.
/// @return The text of the links file. @throws std::bad_alloc
std::string linksText(std::string url);

} // namespace zel::store
