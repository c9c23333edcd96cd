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

}  // namespace korvan
