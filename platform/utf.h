// Internal text coding helpers beside the public ones of korvan/platform.h.
#pragma once

#include <string>
#include <string_view>

namespace korvan {

// Decodes UTF-8 replacing every invalid sequence by U+FFFD; for texts that
// come from the host program rather than from a file.
std::wstring DecodeUtf8Lenient(std::string_view bytes);

// Whether DecodeUtf8 would accept bytes, without decoding them: for text
// that is checked once and then kept, or handed on, as UTF-8.
bool IsValidUtf8(std::string_view bytes);

// Native UTF-16, as ODBC's wide functions take it (SQLWCHAR is 2 bytes on
// every system, wchar_t only on Windows): characters above U+FFFF become
// surrogate pairs, values that are no character U+FFFD.
std::u16string EncodeUtf16(std::wstring_view text);
// Appends count UTF-16 units to out, joining surrogate pairs; a lone
// surrogate is kept as it is.
void AppendUtf16(const char16_t* units, size_t count, std::wstring& out);

}  // namespace korvan
