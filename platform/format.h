// Internal text assembly: the printf engine behind CString::FormatV (the
// Windows wide printf conventions on top of the C library's number
// formatting), and joining texts.
#pragma once

#include <korvan/platform.h>

#include <cstdarg>
#include <string>
#include <vector>

namespace korvan {

// Appends the formatted text to out. %s, %ls and %ws take a wide string, %S
// and %hs a narrow (UTF-8) one, %c a wide character, %hc and %C a narrow one;
// integer lengths are C's plus I64, I32 and I (pointer-sized); %n writes
// nothing. A null string argument prints "(null)".
void AppendFormatted(std::wstring& out, const wchar_t* format, va_list args);

// The parts one after the other with separator between each two.
CString Join(const std::vector<CString>& parts, const wchar_t* separator);

}  // namespace korvan
