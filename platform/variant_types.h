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

// The supported types whose values own nothing (no text, no array): a copy of
// the bits is a copy of the value, and clearing frees nothing.
constexpr bool IsPlainVarType(VARTYPE vt) {
    constexpr uint32_t plain = 0xFF0CBF;  // 0-5, 7, 10, 11, 16-23
    return vt < 24 && ((plain >> vt) & 1) != 0;
}

// VariantCopy, in line between two values that own nothing.
inline HRESULT CopyVariant(VARIANT& to, const VARIANT& from) {
    if (IsPlainVarType(to.vt) && IsPlainVarType(from.vt)) {
        to = from;
        return S_OK;
    }
    return VariantCopy(&to, &from);
}

}  // namespace korvan
