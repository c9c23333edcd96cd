// VARIANT lifetime: initialising, clearing and deep copies.
#include <korvan/platform.h>

#include "platform/posix/bstr.h"
#include "platform/posix/variant_types.h"

namespace korvan {

bool IsSupportedVarType(VARTYPE vt) {
    switch (vt) {
        case VT_EMPTY:
        case VT_NULL:
        case VT_I2:
        case VT_I4:
        case VT_R4:
        case VT_R8:
        case VT_DATE:
        case VT_BSTR:
        case VT_ERROR:
        case VT_BOOL:
        case VT_I1:
        case VT_UI1:
        case VT_UI2:
        case VT_UI4:
        case VT_I8:
        case VT_UI8:
        case VT_INT:
        case VT_UINT:
        case kByteArray:
            return true;
        default:
            return false;
    }
}

bool IsValidVarType(VARTYPE vt) {
    const VARTYPE base = vt & VT_TYPEMASK;
    const VARTYPE extra = vt & ~VT_TYPEMASK;
    if (extra & (VT_VECTOR | VT_RESERVED)) {
        return false;
    }
    if ((extra & (VT_BYREF | VT_ARRAY)) && base <= VT_NULL) {
        return false;
    }
    return (base < VT_VOID && base != 15) || base == VT_RECORD || base == VT_CLSID;
}

}  // namespace korvan

void VariantInit(VARIANTARG* pvarg) {
    pvarg->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANTARG* pvarg) {
    if (!korvan::IsSupportedVarType(pvarg->vt)) {
        return DISP_E_BADVARTYPE;
    }
    if (pvarg->vt == korvan::kByteArray) {
        const HRESULT hr = SafeArrayDestroy(pvarg->parray);
        if (FAILED(hr)) {
            return hr;  // a locked array stays where it is
        }
    } else if (pvarg->vt == VT_BSTR) {
        SysFreeString(pvarg->bstrVal);
    }
    pvarg->vt = VT_EMPTY;
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) {
    if (!korvan::IsSupportedVarType(pvargSrc->vt)) {
        return DISP_E_BADVARTYPE;
    }
    if (pvargDest == pvargSrc) {
        return S_OK;
    }
    HRESULT hr = VariantClear(pvargDest);
    if (FAILED(hr)) {
        return hr;
    }
    VARIANT copy = *pvargSrc;
    if (copy.vt == VT_BSTR) {
        // A null BSTR is copied as an allocated empty one.
        copy.bstrVal =
            pvargSrc->bstrVal ? korvan::CopyBstr(pvargSrc->bstrVal) : SysAllocStringLen(nullptr, 0);
        hr = copy.bstrVal ? S_OK : E_OUTOFMEMORY;
    } else if (copy.vt == korvan::kByteArray) {
        hr = SafeArrayCopy(pvargSrc->parray, &copy.parray);
    }
    if (SUCCEEDED(hr)) {
        *pvargDest = copy;
    }
    return hr;
}
