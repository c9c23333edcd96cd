// The decimal separator of real numbers written as text.
#pragma once

namespace korvan {

// The separator of the process, taken once when the library is loaded: the
// character at index 1 of the double 1.1 converted to text. Texts read into
// real columns are normalised to it.
wchar_t ProcessDecimalSeparator();

// The separator the current locale gives now, computed afresh on each call
// the same way; "." when the conversion gives no such character.
wchar_t CurrentDecimalSeparator();

}  // namespace korvan
