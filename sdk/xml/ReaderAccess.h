/// @file
/// The way from the public reader to its implementation.
#pragma once

#include "sdk/SimpleXML.h"
#include "sdk/xml/Reader.h"

namespace zel::xml {

/// Gives the rest of the library what the public reader lacks: texts without a copy, and loops in
/// linear time.
struct ReaderAccess {
    /// @param xml A reader of which a call of open() succeeded.
    /// @return Its implementation, which it still owns.
    static Reader& of(SimpleXML& xml) noexcept { return *xml.m_reader; }
};

} // namespace zel::xml
