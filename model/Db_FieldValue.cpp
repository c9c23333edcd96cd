// DbFieldValue: one cell of a row, with its text forms, and the storing of
// byte arrays for binary cells.
#include <korvan/model.h>

#include "model/Db_Base64.h"
#include "model/Db_FieldBinary.h"
#include "model/Db_FieldTypes.h"

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
    // Empty, null, date and every other variant type give "".
    const korvan::FieldType* entry = korvan::FieldTypeOfVariant(m_value.vt);
    if (entry != nullptr && entry->toString != nullptr) {
        entry->toString(m_value, out);
    }
}

void ConvertToMultibyte(CComVariant& target, const CString& text) {
    if (target.vt == VT_BSTR && target.bstrVal == text.GetString()) {
        return;
    }
    target = text;
}
