// The character type locale through setlocale, the name as UTF-8.
#include "platform/character_locale.h"

#include <korvan/platform.h>

#include <clocale>

bool korvan::SetCharacterTypeLocale(const wchar_t* name) {
    return std::setlocale(LC_CTYPE, EncodeUtf8(name != nullptr ? name : L"").c_str()) != nullptr;
}
