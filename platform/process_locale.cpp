#include "platform/process_locale.h"

#include <korvan/platform.h>

#include <clocale>
#include <cstring>
#include <string>

namespace korvan {
namespace {

// The first character of a localeconv() text: UTF-8 in the usual locales, a
// single byte of a legacy character set otherwise; 0 for an empty text.
wchar_t FirstCharacter(const char* text) {
    if (!text || !*text) {
        return L'\0';
    }
    std::wstring decoded;
    if (DecodeUtf8(text, decoded) && !decoded.empty()) {
        return decoded[0];
    }
    return static_cast<wchar_t>(static_cast<unsigned char>(text[0]));
}

}  // namespace

bool IsClassicLocaleName(const char* name) {
    return !name || std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0 ||
           std::strncmp(name, "C.", 2) == 0;
}

NumberSymbols CurrentNumberSymbols() {
    NumberSymbols symbols;
    if (IsClassicLocaleName(std::setlocale(LC_NUMERIC, nullptr))) {
        return symbols;
    }
    const std::lconv* conv = std::localeconv();
    const wchar_t point = FirstCharacter(conv->decimal_point);
    if (point) {
        symbols.decimalPoint = point;
    }
    symbols.thousandsSeparator = FirstCharacter(conv->thousands_sep);
    return symbols;
}

}  // namespace korvan
