// Internal: variants whose values own nothing (no text, no array), which
// cells and rows copy by their bits instead of through VariantCopy.
#pragma once

#include <korvan/platform.h>

#include <cstdint>

namespace korvan {

// The types whose values own nothing: a copy of the bits is a copy of the
// value, and clearing frees nothing.
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
