// Internal: what the variant layer takes from the process's C locale, which
// stands for LOCALE_USER_DEFAULT.
#pragma once

namespace korvan {

// True for "C", "POSIX" and "C.<codeset>": the locales that behave as en-US.
bool IsClassicLocaleName(const char* name);

// The characters that separate the parts of a number in text. In the classic
// locales they are en-US's; otherwise LC_NUMERIC's decimal point and
// thousands separator take the place of '.' and ','.
struct NumberSymbols {
    wchar_t decimalPoint = L'.';
    wchar_t thousandsSeparator = L',';  // 0 when the locale has none
};

NumberSymbols CurrentNumberSymbols();

}  // namespace korvan
