// Internal: which variant types this platform layer holds.
#pragma once

#include <korvan/platform.h>

namespace korvan {

constexpr VARTYPE kByteArray = VT_ARRAY | VT_UI1;

// EMPTY, NULL, the integer types (VT_INT and VT_UINT included), R4, R8, DATE,
// BSTR, ERROR, BOOL and one-dimensional byte arrays. Interfaces, records,
// currency, decimals and by-reference values have nothing behind them here,
// so every variant function refuses them as invalid types.
bool IsSupportedVarType(VARTYPE vt);

// Whether Windows takes vt for a type at all: a base type below VT_VOID
// (but 15) or a record or class id, by reference or as an array unless it is
// EMPTY or NULL, never a vector. A valid type this layer does not hold fails a
// conversion as a type mismatch, as a conversion Windows cannot make; an
// invalid one as a bad type.
bool IsValidVarType(VARTYPE vt);

}  // namespace korvan
