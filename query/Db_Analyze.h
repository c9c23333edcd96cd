// Internal: text preparation shared by SQL analysis and query execution.
#pragma once

#include <korvan/platform.h>

#include <cstdint>

namespace korvan {

// The section of the analysis scan that takes WHERE conditions; a record set
// to it before the scan takes the whole text as a bare condition.
constexpr uint32_t kWhereSection = 5;

// The text of a statement as it is analysed and compared: line breaks become
// blanks, and the text is lower-cased outside quotes.
CString PrepareStatement(const CString& sql);

// Lower-cases every character outside quotes. Any apostrophe, double quote
// or U+FF91 opens or closes a quoted stretch; square brackets protect
// nothing.
CString LowerOutsideQuotes(const CString& sql);

// The name less one enclosing pair of square brackets ("[a b]" gives "a b").
CString StripBrackets(const CString& name);

}  // namespace korvan
