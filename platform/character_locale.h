// Internal: the character type locale of the process, which language
// mappings switch while they convert catalogue texts.
#pragma once

namespace korvan {

// Sets the character type locale (LC_CTYPE) by a locale name, as the C
// runtime's _wsetlocale does; a name the system does not know leaves the
// locale as it is. False then.
bool SetCharacterTypeLocale(const wchar_t* name);

}  // namespace korvan
