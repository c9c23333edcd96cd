// VariantChangeType: conversions between the variant types the library uses.
#include <korvan/platform.h>

#include <cstring>
#include <string>
#include <string_view>

#include "platform/posix/bstr.h"
#include "platform/posix/date_format.h"
#include "platform/posix/number_format.h"
#include "platform/number_parse.h"
#include "platform/process_locale.h"
#include "platform/posix/variant_number.h"
#include "platform/posix/variant_types.h"
#include "platform/unicode.h"

namespace korvan {
namespace {

// Currency and decimal values, which Windows converts, have nothing behind
// them here: they stay refused as bad types.
bool HasNoValues(VARTYPE vt) {
    const VARTYPE base = vt & VT_TYPEMASK;
    return base == VT_CY || base == VT_DECIMAL;
}

// VT_INT and VT_UINT convert as VT_I4 and VT_UI4.
VARTYPE Canonical(VARTYPE vt) {
    if (vt == VT_INT) {
        return VT_I4;
    }
    return vt == VT_UINT ? static_cast<VARTYPE>(VT_UI4) : vt;
}

HRESULT MakeBstr(std::wstring_view text, BSTR& out) {
    out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return out ? S_OK : E_OUTOFMEMORY;
}

// A text becomes the bytes of its UTF-16LE form, as on Windows where they are
// the very bytes of the BSTR, and bytes become the text they spell.
HRESULT ArrayFromBstr(BSTR text, SAFEARRAY*& out) {
    const std::vector<BYTE> bytes = BytesOfBstr(text);
    out = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    if (!out) {
        return E_OUTOFMEMORY;
    }
    if (!bytes.empty()) {
        std::memcpy(out->pvData, bytes.data(), bytes.size());
    }
    return S_OK;
}

HRESULT BstrFromArray(SAFEARRAY* array, BSTR& out) {
    if (SafeArrayGetDim(array) != 1 || SafeArrayGetElemsize(array) != 1) {
        return E_INVALIDARG;
    }
    out =
        AllocBstrFromBytes(static_cast<const BYTE*>(array->pvData), array->rgsabound[0].cElements);
    return out ? S_OK : E_OUTOFMEMORY;
}

HRESULT CoerceArray(const VARIANT& src, VARTYPE vt, VARIANT& result) {
    if (vt == kByteArray && src.vt == VT_BSTR) {
        return ArrayFromBstr(src.bstrVal, result.parray);
    }
    if (vt == VT_BSTR && src.vt == kByteArray) {
        return BstrFromArray(src.parray, result.bstrVal);
    }
    if (vt == src.vt) {
        return SafeArrayCopy(src.parray, &result.parray);
    }
    return DISP_E_TYPEMISMATCH;
}

std::wstring IntegerText(const VariantNumber& number) {
    return number.kind == VariantNumber::Kind::kSigned ? std::to_wstring(number.signedValue)
                                                       : std::to_wstring(number.unsignedValue);
}

HRESULT TextFromValue(const VARIANT& src, USHORT flags, BSTR& out) {
    switch (src.vt) {
        case VT_EMPTY:
            return MakeBstr(std::wstring_view(), out);
        case VT_BOOL:
            if (flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL)) {
                return MakeBstr(src.boolVal ? L"True" : L"False", out);
            }
            return MakeBstr(std::to_wstring(src.boolVal), out);  // "-1" for VARIANT_TRUE
        case VT_R4:
            return MakeBstr(FormatReal(src.fltVal, 7, CurrentNumberSymbols().decimalPoint), out);
        case VT_R8:
            return MakeBstr(FormatReal(src.dblVal, 15, CurrentNumberSymbols().decimalPoint), out);
        case VT_DATE: {
            std::wstring text;
            const HRESULT hr = FormatDate(src.date, text);
            return FAILED(hr) ? hr : MakeBstr(text, out);
        }
        default: {
            VariantNumber number;
            ReadVariantNumber(src, number);
            return MakeBstr(IntegerText(number), out);
        }
    }
}

// "True" and "False" in any case, "#TRUE#" and "#FALSE#" exactly, else a
// number: nonzero is true.
HRESULT BoolFromText(BSTR text, VARIANT_BOOL& out) {
    if (!text) {
        return DISP_E_TYPEMISMATCH;
    }
    const std::wstring_view view(text);
    if (EqualNoCase(view, L"True") || view == L"#TRUE#") {
        out = VARIANT_TRUE;
        return S_OK;
    }
    if (EqualNoCase(view, L"False") || view == L"#FALSE#") {
        out = VARIANT_FALSE;
        return S_OK;
    }
    ParsedNumber number;
    double value = 0.0;
    HRESULT hr = number.Parse(text, CurrentNumberSymbols());
    if (SUCCEEDED(hr)) {
        hr = number.ToDouble(value);
    }
    if (SUCCEEDED(hr)) {
        out = value != 0.0 ? VARIANT_TRUE : VARIANT_FALSE;
    }
    return hr;
}

HRESULT ValueFromText(BSTR text, VARTYPE to, VARIANT& result) {
    if (to == VT_DATE) {
        return ParseDate(text, result.date);
    }
    if (to == VT_BOOL) {
        return BoolFromText(text, result.boolVal);
    }
    ParsedNumber number;
    HRESULT hr = number.Parse(text, CurrentNumberSymbols());
    if (FAILED(hr)) {
        return hr;
    }
    if (to == VT_R4) {
        return number.ToFloat(result.fltVal);
    }
    if (to == VT_R8) {
        return number.ToDouble(result.dblVal);
    }
    const IntegerType& type = *IntegerTypeOf(to);
    uint64_t bits = 0;
    hr = number.ToInteger(type.minimum, type.maximum, type.bits, bits);
    if (SUCCEEDED(hr)) {
        StoreInteger(result, to, bits);
    }
    return hr;
}

HRESULT IntegerFromValue(const VariantNumber& number, VARTYPE from, VARTYPE to, VARIANT& result) {
    const IntegerType& type = *IntegerTypeOf(to);
    const IntegerType* fromType = IntegerTypeOf(from);
    uint64_t bits = 0;
    if (from == VT_BOOL || (fromType && fromType->bits == type.bits)) {
        // A VARIANT_BOOL and the other half of a signed/unsigned pair of one
        // width pass their bits unchecked: VARIANT_TRUE is UI1 255, I2 -1 is
        // UI2 65535.
        bits = number.kind == VariantNumber::Kind::kSigned
                   ? static_cast<uint64_t>(number.signedValue)
                   : number.unsignedValue;
    } else {
        const HRESULT hr = IntegerFromNumber(number, type, bits);
        if (FAILED(hr)) {
            return hr;
        }
    }
    StoreInteger(result, to, bits);
    return S_OK;
}

HRESULT ValueFromNumber(const VARIANT& src, VARTYPE from, VARTYPE to, VARIANT& result) {
    VariantNumber number;
    ReadVariantNumber(src, number);
    if (IntegerTypeOf(to)) {
        return IntegerFromValue(number, from, to, result);
    }
    const double value = DoubleFromNumber(number);
    switch (to) {
        case VT_R4:
            return FloatFromNumber(number, result.fltVal);
        case VT_R8:
            result.dblVal = value;
            return S_OK;
        case VT_DATE:
            // An R4 is taken as it is, as on Windows.
            if (from != VT_R4 && (value <= kDateMin - 1.0 || value >= kDateMax + 1.0)) {
                return DISP_E_OVERFLOW;
            }
            result.date = value;
            return S_OK;
        default:  // VT_BOOL
            result.boolVal = value != 0.0 ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
    }
}

HRESULT Coerce(const VARIANT& src, USHORT flags, VARTYPE vt, VARIANT& result) {
    const VARTYPE from = Canonical(src.vt);
    const VARTYPE to = Canonical(vt);
    if (from == to) {
        return VariantCopy(&result, &src);
    }
    if (to == VT_EMPTY || to == VT_NULL) {
        // Any value but NULL and ERROR can be dropped.
        return from == VT_NULL || from == VT_ERROR ? DISP_E_TYPEMISMATCH : S_OK;
    }
    if (from == VT_NULL || from == VT_ERROR || to == VT_ERROR) {
        return DISP_E_TYPEMISMATCH;
    }
    if (to == VT_BSTR) {
        return TextFromValue(src, flags, result.bstrVal);
    }
    if (from == VT_BSTR) {
        return ValueFromText(src.bstrVal, to, result);
    }
    return ValueFromNumber(src, from, to, result);
}

}  // namespace
}  // namespace korvan

HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags,
                          VARTYPE vt) {
    return VariantChangeTypeEx(pvargDest, pvarSrc, LOCALE_USER_DEFAULT, wFlags, vt);
}

// Every locale identifier stands for the process's C locale here.
HRESULT VariantChangeTypeEx(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, LCID /*lcid*/,
                            USHORT wFlags, VARTYPE vt) {
    if (!korvan::IsValidVarType(pvarSrc->vt) || !korvan::IsValidVarType(vt)) {
        return DISP_E_BADVARTYPE;
    }
    if (!korvan::IsSupportedVarType(pvarSrc->vt) || !korvan::IsSupportedVarType(vt)) {
        return korvan::HasNoValues(pvarSrc->vt) || korvan::HasNoValues(vt) ? DISP_E_BADVARTYPE
                                                                           : DISP_E_TYPEMISMATCH;
    }
    // The result is made apart, so that a failure leaves the destination
    // alone and an in-place conversion reads the source to the end.
    VARIANT result;
    VariantInit(&result);
    HRESULT hr = ((pvarSrc->vt | vt) & VT_ARRAY) ? korvan::CoerceArray(*pvarSrc, vt, result)
                                                 : korvan::Coerce(*pvarSrc, wFlags, vt, result);
    if (FAILED(hr)) {
        return hr;
    }
    result.vt = vt;
    hr = VariantClear(pvargDest);
    if (FAILED(hr)) {
        VariantClear(&result);
        return hr;
    }
    *pvargDest = result;
    return S_OK;
}
