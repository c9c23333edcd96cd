// Internal Unicode helpers: simple case mapping and case-insensitive text
// comparison, independent of the process locale and of the system. Every
// "without regard to case" of the library goes through these, so Cyrillic or
// Polish names match the way ASCII ones do.
#pragma once

#include <string>
#include <string_view>

namespace korvan {

// Unicode simple (one-to-one) case mappings of one wide character;
// characters that are not code points, and surrogate halves, are returned
// unchanged.
wchar_t ToLowerSimple(wchar_t ch);
wchar_t ToUpperSimple(wchar_t ch);
wchar_t FoldCaseSimple(wchar_t ch);

// The same for whole texts, characters beyond U+FFFF included.
void ToLowerInPlace(std::wstring& text);
void ToUpperInPlace(std::wstring& text);
std::wstring ToLower(std::wstring_view text);
std::wstring FoldCase(std::wstring_view text);

// Equality and ordering of the simple case foldings, by code point.
bool EqualNoCase(std::wstring_view a, std::wstring_view b);
int CompareNoCase(std::wstring_view a, std::wstring_view b);

// White space as CString::Trim understands it: ASCII blanks and every Unicode
// white-space character.
bool IsWhiteSpace(wchar_t ch);

}  // namespace korvan
