#include <korvan/platform.h>

#include <cwchar>

#include "platform/variant_order.h"

// CComVariant as ATL has it: a failed copy leaves VT_ERROR holding the
// failure and raises it; a text that cannot be allocated leaves VT_ERROR with
// E_OUTOFMEMORY and raises E_OUTOFMEMORY.

namespace {

// ATL's own VarCmp: VT_I1, VT_UI2, VT_UI4 and VT_UI8 on the left compare
// their fields directly (whatever the right operand's type, whose bytes are
// read the same way), because the system's VarCmp refuses those types.
HRESULT AtlVarCmp(const VARIANT& left, const VARIANT& right) {
    switch (left.vt) {
        case VT_I1:
            return korvan::OrderOf(static_cast<signed char>(left.cVal),
                                   static_cast<signed char>(right.cVal));
        case VT_UI2:
            return korvan::OrderOf(left.uiVal, right.uiVal);
        case VT_UI4:
            return korvan::OrderOf(left.uintVal, right.uintVal);
        case VT_UI8:
            return korvan::OrderOf(left.ullVal, right.ullVal);
        default:
            return VarCmp(&left, &right, LOCALE_USER_DEFAULT, 0);
    }
}

}  // namespace

CComVariant::CComVariant() noexcept {
    vt = VT_EMPTY;
}

CComVariant::~CComVariant() {
    Clear();
}

CComVariant::CComVariant(const CComVariant& src) : CComVariant() {
    InternalCopy(&src);
}

CComVariant::CComVariant(CComVariant&& src) noexcept : tagVARIANT(src) {
    src.vt = VT_EMPTY;
}

CComVariant::CComVariant(const VARIANT& src) : CComVariant() {
    InternalCopy(&src);
}

CComVariant::CComVariant(const wchar_t* text) : CComVariant() {
    SetText(text ? text : L"", text ? std::wcslen(text) : 0);
}

CComVariant::CComVariant(const CString& text) : CComVariant() {
    SetText(text.GetString(), static_cast<size_t>(text.GetLength()));
}

CComVariant::CComVariant(bool value) {
    vt = VT_BOOL;
    boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

CComVariant::CComVariant(char value) {
    vt = VT_I1;
    cVal = value;
}

CComVariant::CComVariant(BYTE value) {
    vt = VT_UI1;
    bVal = value;
}

CComVariant::CComVariant(short value) {
    vt = VT_I2;
    iVal = value;
}

CComVariant::CComVariant(unsigned short value) {
    vt = VT_UI2;
    uiVal = value;
}

CComVariant::CComVariant(int value, VARTYPE type) {
    if (type != VT_I4 && type != VT_INT) {
        AtlThrow(E_INVALIDARG);
    }
    vt = type;
    intVal = value;
}

CComVariant::CComVariant(unsigned int value, VARTYPE type) {
    if (type != VT_UI4 && type != VT_UINT) {
        AtlThrow(E_INVALIDARG);
    }
    vt = type;
    uintVal = value;
}

CComVariant::CComVariant(long value, VARTYPE type) {
    if (type == VT_ERROR) {
        vt = VT_ERROR;
        scode = static_cast<SCODE>(value);
    } else if (type == VT_I4) {
        vt = VT_I4;
        lVal = static_cast<LONG>(value);
    } else {
        AtlThrow(E_INVALIDARG);
    }
}

CComVariant::CComVariant(unsigned long value) {
    vt = VT_UI4;
    ulVal = static_cast<ULONG>(value);
}

CComVariant::CComVariant(long long value) {
    vt = VT_I8;
    llVal = value;
}

CComVariant::CComVariant(unsigned long long value) {
    vt = VT_UI8;
    ullVal = value;
}

CComVariant::CComVariant(float value) {
    vt = VT_R4;
    fltVal = value;
}

CComVariant::CComVariant(double value, VARTYPE type) {
    if (type != VT_R8 && type != VT_DATE) {
        AtlThrow(E_INVALIDARG);
    }
    vt = type;
    dblVal = value;
}

CComVariant& CComVariant::operator=(const CComVariant& src) {
    return operator=(static_cast<const VARIANT&>(src));
}

CComVariant& CComVariant::operator=(CComVariant&& src) noexcept {
    if (this != &src) {
        Clear();
        static_cast<tagVARIANT&>(*this) = src;
        src.vt = VT_EMPTY;
    }
    return *this;
}

CComVariant& CComVariant::operator=(const VARIANT& src) {
    if (static_cast<const VARIANT*>(this) != &src) {
        InternalCopy(&src);
    }
    return *this;
}

CComVariant& CComVariant::operator=(const wchar_t* text) {
    if (vt != VT_BSTR || bstrVal != text) {
        ClearThrow();
        SetText(text ? text : L"", text ? std::wcslen(text) : 0);
    }
    return *this;
}

CComVariant& CComVariant::operator=(const CString& text) {
    ClearThrow();
    SetText(text.GetString(), static_cast<size_t>(text.GetLength()));
    return *this;
}

CComVariant& CComVariant::operator=(bool value) {
    SetType(VT_BOOL);
    boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return *this;
}

CComVariant& CComVariant::operator=(short value) {
    SetType(VT_I2);
    iVal = value;
    return *this;
}

CComVariant& CComVariant::operator=(int value) {
    SetType(VT_I4);
    lVal = value;
    return *this;
}

CComVariant& CComVariant::operator=(long value) {
    SetType(VT_I4);
    lVal = static_cast<LONG>(value);
    return *this;
}

CComVariant& CComVariant::operator=(float value) {
    SetType(VT_R4);
    fltVal = value;
    return *this;
}

CComVariant& CComVariant::operator=(double value) {
    SetType(VT_R8);
    dblVal = value;
    return *this;
}

bool CComVariant::operator==(const VARIANT& other) const {
    if (vt == VT_NULL && other.vt == VT_NULL) {
        return true;
    }
    return vt == other.vt && AtlVarCmp(*this, other) == VARCMP_EQ;
}

bool CComVariant::operator<(const VARIANT& other) const {
    if (vt == VT_NULL && other.vt == VT_NULL) {
        return false;
    }
    return AtlVarCmp(*this, other) == VARCMP_LT;
}

bool CComVariant::operator>(const VARIANT& other) const {
    if (vt == VT_NULL && other.vt == VT_NULL) {
        return false;
    }
    return AtlVarCmp(*this, other) == VARCMP_GT;
}

HRESULT CComVariant::Copy(const VARIANT* src) {
    return VariantCopy(this, src);
}

HRESULT CComVariant::ChangeType(VARTYPE type, const VARIANT* src) {
    return VariantChangeType(this, src ? src : this, 0, type);
}

void CComVariant::InternalCopy(const VARIANT* src) {
    const HRESULT hr = Copy(src);
    if (FAILED(hr)) {
        Clear();  // VariantCopy may fail before clearing: keep nothing owned
        vt = VT_ERROR;
        scode = hr;
        AtlThrow(hr);
    }
}

void CComVariant::ClearThrow() {
    const HRESULT hr = Clear();
    if (FAILED(hr)) {
        AtlThrow(hr);
    }
}

void CComVariant::SetType(VARTYPE type) {
    if (vt != type) {
        ClearThrow();
        vt = type;
    }
}

void CComVariant::SetText(const wchar_t* text, size_t length) {
    vt = VT_BSTR;
    bstrVal = length <= UINT32_MAX ? SysAllocStringLen(text, static_cast<UINT>(length)) : nullptr;
    if (!bstrVal) {
        vt = VT_ERROR;
        scode = E_OUTOFMEMORY;
        AtlThrow(E_OUTOFMEMORY);
    }
}
