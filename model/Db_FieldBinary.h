// Byte-array values of binary cells.
#pragma once

#include <korvan/platform.h>

#include <string_view>

namespace korvan {

// Stores count bytes into target as a one-dimensional VT_UI1 array with the
// given lower bound. When the array cannot be made, target becomes VT_ERROR
// with E_OUTOFMEMORY and CAtlException is thrown.
void StoreBytes(CComVariant& target, const BYTE* data, size_t count, LONG lowerBound);

// Stores the bytes of base64 text into target as a zero-based byte array.
void StoreBase64(CComVariant& target, std::wstring_view text);

}  // namespace korvan
