/// @file
/// Thin forwards to the C library's string routines, in narrow and wide pairs.
///
/// Code written against these names does not care which character type a build uses. Each function
/// does exactly what the routine it names does; where the members of a pair differ (the wide copies
/// ignore their capacity), callers depend on the difference. Capacities and lengths count
/// characters of the text's own type: bytes for `char`, elements for `wchar_t`. Null pointers are
/// not guarded, nothing here throws.
#pragma once

#include "util/Export.h"

/// Compares two texts. @return The sign of the comparison, as `strcmp(3)` gives it.
ZENTHO_API int tstrcmp(char const* left, char const* right) noexcept;
/// Compares two texts. @return The sign of the comparison, as `wcscmp(3)` gives it.
ZENTHO_API int tstrcmp(wchar_t const* left, wchar_t const* right) noexcept;

/// Copies at most @p size characters and fills the rest of the first @p size with zeros, as
/// `strncpy(3)`.
/// @param dst  Needs room for @p size characters. It is **not** terminated when @p src has @p size
///             or more characters.
/// @param size Capacity in bytes.
/// @param src  Text to copy; must not overlap @p dst.
/// @return @p dst
ZENTHO_API char* tstrcpy(char* dst, unsigned int size, char const* src) noexcept;
/// Copies the whole of @p src and its terminator, as `wcscpy(3)`.
/// @param dst  Needs room for all of @p src, whatever @p size says.
/// @param size Ignored.
/// @param src  Text to copy; must not overlap @p dst.
/// @return @p dst
ZENTHO_API wchar_t* tstrcpy(wchar_t* dst, unsigned int size, wchar_t const* src) noexcept;

/// Appends at most @p size characters and always a terminator, as `strncat(3)`.
/// @param dst  Terminated text; needs room for @p size + 1 characters after its end, since
///             @p size limits the appended piece and not the whole buffer.
/// @param size Most characters to append.
/// @param src  Text to append; must not overlap @p dst.
/// @return @p dst
ZENTHO_API char* tstrcat(char* dst, unsigned int size, char const* src) noexcept;
/// Appends the whole of @p src and its terminator, as `wcscat(3)`.
/// @param dst  Terminated text; needs room for all of @p src after its end.
/// @param size Ignored.
/// @param src  Text to append; must not overlap @p dst.
/// @return @p dst
ZENTHO_API wchar_t* tstrcat(wchar_t* dst, unsigned int size, wchar_t const* src) noexcept;

/// @return Characters in @p text before its terminator, as `strlen(3)`.
ZENTHO_API unsigned int tstrlen(char const* text) noexcept;
/// @return Characters in @p text before its terminator, as `wcslen(3)`.
ZENTHO_API unsigned int tstrlen(wchar_t const* text) noexcept;

/// Formats into a buffer, as `vsnprintf(3)`.
/// @param dst    Receives at most @p size - 1 characters and a terminator; untouched for size 0.
/// @param size   Capacity in bytes.
/// @param format A `printf(3)` format; the arguments follow.
/// @return Length the full result would have, or a negative value for a format error.
ZENTHO_API int tsnprintf(char* dst, unsigned int size, char const* format, ...) noexcept;
/// Formats into a buffer, as `vswprintf(3)`.
/// @param dst    Receives the text and a terminator.
/// @param size   Capacity in wide characters.
/// @param format A `wprintf(3)` format; the arguments follow.
/// @return Length of the result, negative when it does not fit.
ZENTHO_API int tsnprintf(wchar_t* dst, unsigned int size, wchar_t const* format, ...) noexcept;

/// Lower-cases @p text in place with `tolower(3)` in the current locale. @return @p text
ZENTHO_API char* tstrlwr(char* text) noexcept;
/// Lower-cases @p text in place with `towlower(3)` in the current locale. @return @p text
ZENTHO_API wchar_t* tstrlwr(wchar_t* text) noexcept;
/// Upper-cases @p text in place with `toupper(3)` in the current locale. @return @p text
ZENTHO_API char* tstrupr(char* text) noexcept;
/// Upper-cases @p text in place with `towupper(3)` in the current locale. @return @p text
ZENTHO_API wchar_t* tstrupr(wchar_t* text) noexcept;

/// @return First occurrence of @p needle in @p haystack, as `strstr(3)`; null when there is none.
ZENTHO_API char* tstrstr(char* haystack, char* needle) noexcept;
/// @return First occurrence of @p needle in @p haystack, as `wcsstr(3)`; null when there is none.
ZENTHO_API wchar_t* tstrstr(wchar_t* haystack, wchar_t* needle) noexcept;

/// Reads one number, as `sscanf(3)` with one target.
/// @param text   Terminated text.
/// @param format A format with one conversion that fits @p value.
/// @param value  Receives the number; untouched when none is read.
/// @return Fields converted (1 or 0), or -1 at the end of input.
ZENTHO_API int tscanf(char const* text, char const* format, int* value) noexcept;
/// @copydoc tscanf(char const*, char const*, int*)
ZENTHO_API int tscanf(char const* text, char const* format, long* value) noexcept;
/// @copydoc tscanf(char const*, char const*, int*)
ZENTHO_API int tscanf(char const* text, char const* format, float* value) noexcept;
/// Reads one number, as `swscanf(3)` with one target; otherwise like the narrow members.
/// @param text   Terminated text.
/// @param format A format with one conversion that fits @p value.
/// @param value  Receives the number; untouched when none is read.
/// @return Fields converted (1 or 0), or -1 at the end of input.
ZENTHO_API int tscanf(wchar_t const* text, wchar_t const* format, int* value) noexcept;
/// @copydoc tscanf(wchar_t const*, wchar_t const*, int*)
ZENTHO_API int tscanf(wchar_t const* text, wchar_t const* format, long* value) noexcept;
/// @copydoc tscanf(wchar_t const*, wchar_t const*, int*)
ZENTHO_API int tscanf(wchar_t const* text, wchar_t const* format, float* value) noexcept;

namespace zel {

/// Reads an integer with "%i": decimal, hexadecimal after 0x, octal after 0 (010 is 8). Binary
/// numbers are not supported, even if the C library supports them: 0b11 is 0.
/// @param text  Terminated text; leading white space is skipped.
/// @param value Receives the number; untouched when none is read.
/// @return 1 when a number was read, 0 when the text does not begin with one, -1 when it is empty.
ZENTHO_API int _tscanfi(char const* text, int* value) noexcept;
/// Reads a decimal integer with "%ld"; otherwise like _tscanfi().
/// @param text  Terminated text; leading white space is skipped.
/// @param value Receives the number; untouched when none is read.
/// @return 1 when a number was read, 0 when the text does not begin with one, -1 when it is empty.
ZENTHO_API int _tscanfld(char const* text, long* value) noexcept;
/// Reads a number with "%f" in the process's numeric locale; otherwise like _tscanfi().
/// @param text  Terminated text; leading white space is skipped.
/// @param value Receives the number; untouched when none is read.
/// @return 1 when a number was read, 0 when the text does not begin with one, -1 when it is empty.
ZENTHO_API int _tscanff(char const* text, float* value) noexcept;

} // namespace zel

namespace thalvo {

/// @return @p text itself, not a copy.
ZENTHO_API char const* W2C(char const* text) noexcept;
/// Converts to the current locale's multibyte encoding with `wcstombs(3)`, at most 1023 bytes.
/// @param text Terminated wide text. Conversion stops at a character the locale cannot represent.
/// @return One buffer of 1024 characters shared by the whole process, always terminated, valid
///         until the next call with a wide text. Not to be freed.
ZENTHO_API char const* W2C(wchar_t const* text) noexcept;

} // namespace thalvo
