#include "store/SetDescription.h"

#include "sdk/set/FileWalk.h"
#include "store/Layout.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

namespace zel::store {

namespace {

bool isControl(char c) noexcept {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// @return Whether the name is a valid file name without control characters.
bool isAcceptable(std::string_view name) noexcept {
    return isPlainName(name) && std::none_of(name.begin(), name.end(), isControl);
}

/// @return Why the description cannot be followed; empty when it can.
std::string whyNot(DescriptionOutcome const& outcome) {
    if (outcome.failure == DescriptionFailure::malformed)
        return "Its comments do not pair up.";
    if (outcome.failure)
        return "It is too large.";
    if (!outcome.isClosed)
        return "The closing tag of its root element is missing.";
    if (outcome.description->optics.size() == 0)
        return "It names no optic.";
    return "";
}

} // namespace

SetDescription readSetDescription(FileDescriptor const& file, std::string const& path,
                                  unsigned long serial) {
    SetDescription result;
    result.names.add(set::descriptionName(serial).view());
    auto outcome = ::readDescription(file, largestDescription);
    if (outcome.failure == DescriptionFailure::noMemory)
        throw std::bad_alloc();
    if (outcome.failure == DescriptionFailure::unreadable && outcome.error != EFBIG)
        stop("Cannot read", path, outcome.error);
    result.whyNot = whyNot(outcome);
    if (!result.whyNot.empty())
        return result;

    Names names;
    set::forEachFile(*outcome.description, static_cast<int>(serial),
                     [&](set::FileKind, set::FileName const& name) {
                         if (!isAcceptable(name.view()))
                             result.whyNot = "It asks for a file of a name that no file can have.";
                         names.add(name.view());
                     });
    if (!result.whyNot.empty())
        return result;
    result.names = std::move(names);
    result.description = std::move(outcome.description);
    return result;
}

} // namespace zel::store
