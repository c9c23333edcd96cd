// Helpers for the variant tests: making variants of every type and writing
// a variant as a short text that tables can hold.
#pragma once

#include <korvan/platform.h>

#include <charconv>
#include <cmath>
#include <string>

#include "platform/wine.h"

namespace variant_test {

// The vectors where Wine's oleaut32 answers otherwise than Windows
// (platform/README.md names each with the Windows result) are checked
// everywhere but under Wine.
inline bool UnderWine() {
    return korvan::RunningUnderWine();
}

// "OV", "MM", "BAD" and "INVAL" stand for the failures in the tables.
inline std::string Outcome(HRESULT hr) {
    return hr == DISP_E_OVERFLOW       ? "OV"
           : hr == DISP_E_TYPEMISMATCH ? "MM"
           : hr == DISP_E_BADVARTYPE   ? "BAD"
           : hr == E_INVALIDARG        ? "INVAL"
                                       : "hr " + std::to_string(hr);
}

// Integral values as integers, other reals in their shortest round-trip form.
template <typename T>
std::string Shortest(T value) {
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 1e18) {
        return std::to_string(static_cast<long long>(value));
    }
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// Integers and booleans in decimal, reals as Shortest gives them, texts as
// UTF-8, byte arrays as hexadecimal bytes.
inline std::string Render(const VARIANT& v) {
    switch (v.vt) {
        case VT_EMPTY:
            return "EMPTY";
        case VT_NULL:
            return "NULL";
        case VT_UI1:
            return std::to_string(v.bVal);
        case VT_I2:
            return std::to_string(v.iVal);
        case VT_I4:
            return std::to_string(v.lVal);
        case VT_UI4:
            return std::to_string(v.ulVal);
        case VT_BOOL:
            return std::to_string(v.boolVal);
        case VT_ERROR:
            return "ERROR " + std::to_string(v.scode);
        case VT_R4:
            return Shortest(v.fltVal);
        case VT_R8:
        case VT_DATE:
            return Shortest(v.dblVal);
        case VT_BSTR:
            return v.bstrVal
                       ? korvan::EncodeUtf8(std::wstring_view(v.bstrVal, SysStringLen(v.bstrVal)))
                       : "<null BSTR>";
        case VT_ARRAY | VT_UI1: {
            static const char kHex[] = "0123456789abcdef";
            if (!v.parray) {
                return "<null array>";
            }
            std::string bytes = "[";
            const auto* data = static_cast<const BYTE*>(v.parray->pvData);
            for (ULONG i = 0; i < v.parray->rgsabound[0].cElements; ++i) {
                bytes += i ? " " : "";
                bytes += kHex[data[i] >> 4];
                bytes += kHex[data[i] & 15];
            }
            return bytes + "]";
        }
        default:
            return "vt " + std::to_string(v.vt);
    }
}

// The converted value, or the failure.
inline std::string Convert(const VARIANT& src, VARTYPE vt, USHORT flags = 0) {
    CComVariant out;
    const HRESULT hr = VariantChangeType(&out, &src, flags, vt);
    if (FAILED(hr)) {
        return Outcome(hr);
    }
    return out.vt == vt ? Render(out) : "wrong vt " + std::to_string(out.vt);
}

inline CComVariant Null() {
    CComVariant v;
    v.vt = VT_NULL;
    return v;
}

inline CComVariant Error() {
    return CComVariant(static_cast<long>(DISP_E_TYPEMISMATCH), VT_ERROR);
}

inline CComVariant Date(double value) {
    return CComVariant(value, VT_DATE);
}

inline CComVariant Bool(VARIANT_BOOL raw) {
    CComVariant v(true);
    v.boolVal = raw;
    return v;
}

// The UTF-16LE bytes of a text as a byte array.
inline CComVariant Bytes(const wchar_t* text) {
    CComVariant v(text);
    v.ChangeType(VT_ARRAY | VT_UI1);
    return v;
}

// A BSTR variant whose pointer is null.
inline CComVariant NullText() {
    CComVariant v;
    v.vt = VT_BSTR;
    v.bstrVal = nullptr;
    return v;
}

}  // namespace variant_test
