#include <korvan/model.h>

#include "model/Db_Base64.h"
#include "model/Db_FieldBinary.h"

#include <algorithm>
#include <cstring>

namespace korvan {

void StoreBytes(CComVariant& target, const BYTE* data, size_t count, LONG lowerBound) {
    target.Clear();
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, lowerBound, static_cast<ULONG>(count));
    if (!array) {
        target.vt = VT_ERROR;
        target.scode = E_OUTOFMEMORY;
        AtlThrow(E_OUTOFMEMORY);
    }
    if (count > 0) {
        void* bytes = nullptr;
        SafeArrayAccessData(array, &bytes);
        std::memcpy(bytes, data, count);
        SafeArrayUnaccessData(array);
    }
    target.vt = VT_ARRAY | VT_UI1;
    target.parray = array;
}

void StoreBase64(CComVariant& target, std::wstring_view text) {
    const std::vector<BYTE> bytes = Base64Decode(text);
    StoreBytes(target, bytes.data(), bytes.size(), 0);
}

}  // namespace korvan

namespace {

constexpr VARTYPE kBinary = VT_ARRAY | VT_UI1;

std::wstring_view BstrView(BSTR text) {
    return text ? std::wstring_view(text, SysStringLen(text)) : std::wstring_view();
}

}  // namespace

DbFieldValue::DbFieldValue(DbItem* parent, int index)
    : DbItem(parent), m_index(index), m_null(false) {}

DbFieldValue::DbFieldValue(const DbFieldValue& other)
    : DbItem(other), m_index(other.m_index), m_null(other.m_null), m_value(other.m_value) {}

DbFieldValue& DbFieldValue::operator=(const DbFieldValue& other) {
    if (this != &other) {
        m_null = other.m_null;
        m_value.Copy(&other.m_value);
    }
    return *this;
}

DbFieldValue::~DbFieldValue() = default;

uint64_t DbFieldValue::GetSize() const {
    if (m_value.vt == VT_BSTR) {
        return DbItem::GetSize() + 5 + 2 * static_cast<uint64_t>(SysStringLen(m_value.bstrVal));
    }
    return DbItem::GetSize() + 29;
}

void DbFieldValue::SetValue(const CComVariant& v) {
    const VARTYPE type = m_value.vt;
    if (&v != &m_value) {
        const HRESULT hr = VariantCopy(&m_value, &v);
        if (FAILED(hr)) {
            m_value.Clear();
            m_value.vt = VT_ERROR;
            m_value.scode = hr;
            AtlThrow(hr);
        }
    }
    // A value keeps the type of its field; a value that does not convert
    // keeps its own.
    VariantChangeType(&m_value, &m_value, 0, type);
    SetChanged();
}

const CComVariant& DbFieldValue::GetVariant() const {
    return m_value;
}

CComVariant& DbFieldValue::GetVariant() {
    return m_value;
}

int DbFieldValue::GetIndex() const {
    return m_index;
}

void DbFieldValue::ValueFromString(const DbFieldDescr& descr, const wchar_t* const& text) {
    if (descr.m_fromString) {
        descr.m_fromString(m_value, text);
    }
}

void DbFieldValue::ValueFromString(const DbFieldDescr& descr, const CString& text) {
    m_value.Clear();
    const VARTYPE type = descr.GetType();
    if (type == kBinary) {
        korvan::StoreBase64(m_value, text.str());
        return;
    }
    // Deliberately without the empty-to-zero and decimal separator rules of
    // the descriptor's own conversion.
    m_value = text;
    VariantChangeType(&m_value, &m_value, 0, type);
}

void DbFieldValue::ValueToString(CString& out) const {
    out.Empty();
    switch (m_value.vt) {
        case VT_I2:
        case VT_I4:
        case VT_R4:
        case VT_R8: {
            CComVariant text;
            if (SUCCEEDED(VariantChangeType(&text, &m_value, 0, VT_BSTR))) {
                out = CString(BstrView(text.bstrVal));
            }
            break;
        }
        case VT_BSTR:
            out = CString(BstrView(m_value.bstrVal));
            break;
        case VT_BOOL:
            // Only exactly VARIANT_TRUE is true; any other non-zero pattern
            // prints "false", deliberately.
            out = m_value.boolVal == VARIANT_TRUE ? L"true" : L"false";
            break;
        case kBinary: {
            LONG lower = 0;
            LONG upper = -1;
            SafeArrayGetLBound(m_value.parray, 1, &lower);
            SafeArrayGetUBound(m_value.parray, 1, &upper);
            // The byte count is the upper bound plus one, never more than the
            // array holds.
            const LONG count = std::min(upper + 1, upper - lower + 1);
            void* bytes = nullptr;
            if (count > 0 && SUCCEEDED(SafeArrayAccessData(m_value.parray, &bytes))) {
                out = CString(korvan::Base64Encode(static_cast<const BYTE*>(bytes),
                                                   static_cast<size_t>(count)));
                SafeArrayUnaccessData(m_value.parray);
            }
            break;
        }
        default:
            break;
    }
}

void ConvertToMultibyte(CComVariant& target, const CString& text) {
    if (target.vt == VT_BSTR && target.bstrVal == text.GetString()) {
        return;
    }
    target = text;
}
