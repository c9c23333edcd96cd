// What an XML 1.0 file can hold: the characters of attribute values and the
// names of attributes. The writer checks every text and name it is given
// before it writes them, so that no file it writes is refused when read back,
// by the library or by any conforming parser.
#pragma once

#include <korvan/platform.h>

#include <string_view>

namespace korvan {

// Empty when text can be an attribute value; otherwise the first character
// that cannot, and where ("U+0001 at character 3"). TAB, LF and CR can: the
// writer turns them into character references, which keep them exactly. A
// NUL, any other control character below U+0020, U+FFFE, U+FFFF, a lone
// surrogate and a value beyond U+10FFFF cannot.
CString XmlTextFault(std::wstring_view text);

// Empty when name can name an attribute; otherwise why not. Besides the
// rules for XML names this refuses the colon: parsers that know namespaces
// refuse a prefix nobody declared.
CString XmlNameFault(std::wstring_view name);

}  // namespace korvan
