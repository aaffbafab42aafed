/// @file
/// The part of a document between its root element's tags.
#pragma once

#include "sdk/xml/FileText.h"

#include <string_view>

namespace zel::xml {

/// Reduces a file to the lines between the line of the root's opening tag and that of its closing
/// tag, joined without a separator. Leading bytes before the first '<', such as a byte order mark,
/// are skipped. A null character ends the text of its line; a line of 4096 or more characters ends
/// the document. Without the root nothing is left. Carriage returns become line feeds.
/// @param text     The file's text, reduced in place.
/// @param rootname Name of the root element; its opening tag may have attributes.
/// @return Whether the line of the closing tag was found.
/// @throws std::bad_alloc
bool keepRootContent(FileText& text, std::string_view rootname);

} // namespace zel::xml
