// Internal: BSTRs made from bytes, as a byte array turned into text makes
// them.
#pragma once

#include <korvan/platform.h>

#include <cstddef>
#include <vector>

namespace korvan {

// A BSTR of the characters that UTF-16LE bytes spell. An odd last byte is no
// character: it is kept beside the text (SysStringLen leaves it out), so that
// the bytes come back whole.
BSTR AllocBstrFromBytes(const BYTE* bytes, size_t count);
// The UTF-16LE bytes of a BSTR, an odd last byte included.
std::vector<BYTE> BytesOfBstr(BSTR text);
// A copy, an odd last byte included; null for a null BSTR.
BSTR CopyBstr(BSTR text);

}  // namespace korvan
