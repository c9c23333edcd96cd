// Internal: text preparation shared by SQL analysis and query execution.
#pragma once

#include <korvan/platform.h>

namespace korvan {

// Lower-cases every character outside quotes. Any apostrophe, double quote
// or U+FF91 opens or closes a quoted stretch; square brackets protect
// nothing.
CString LowerOutsideQuotes(const CString& sql);

// The name less one enclosing pair of square brackets ("[a b]" gives "a b").
CString StripBrackets(const CString& name);

}  // namespace korvan
