// The character type locale through the C runtime's own _wsetlocale.
#include "platform/character_locale.h"

#include <clocale>

bool korvan::SetCharacterTypeLocale(const wchar_t* name) {
    return _wsetlocale(LC_CTYPE, name != nullptr ? name : L"") != nullptr;
}
