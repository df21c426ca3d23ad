// Texts of the user as they stand in the XML comments of a file.
#pragma once

#include <string>
#include <string_view>

namespace MDF {

/// True for well-formed UTF-8: no stray or missing bytes, no overlong forms, no surrogates, nothing above U+10FFFF.
[[nodiscard]] bool IsUtf8(std::string_view text);

/// The text without the bytes that aren't UTF-8.
[[nodiscard]] std::string Utf8Only(std::string_view text);

/// A UTF-8 text as it may stand in an XML element: markup escaped, characters that XML doesn't have left out.
[[nodiscard]] std::string EscapedForXml(std::string_view text);

}  // namespace MDF
