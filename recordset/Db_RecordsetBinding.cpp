// DbRecordset: binding program variables to fields, the converters between
// a field's variant and each member type, and the null flags of bound
// fields.
#include <korvan/recordset.h>

#include "model/Db_Exception.h"

#include <algorithm>
#include <cstring>

namespace {

// Numeric writers put value bits into the variant as it is. A variant that
// holds a pointer (text, array, object) is left alone: bits written over the
// pointer would be freed as one later.
bool HoldsValueBits(const VARIANT& v) {
    if ((v.vt & (VT_ARRAY | VT_BYREF)) != 0) {
        return false;
    }
    switch (v.vt) {
        case VT_BSTR:
        case VT_DISPATCH:
        case VT_UNKNOWN:
        case VT_RECORD:
            return false;
        default:
            return true;
    }
}

template <typename T>
T& Member(void* member) {
    return *static_cast<T*>(member);
}

void ReadShort(const CComVariant& field, void* member) {
    Member<short>(member) = field.iVal;
}

void WriteShort(CComVariant& field, void* member) {
    if (HoldsValueBits(field)) {
        field.iVal = Member<short>(member);
    }
}

void ReadInt(const CComVariant& field, void* member) {
    switch (field.vt) {
        case VT_I2:
        case VT_I4:
            Member<int>(member) = field.lVal;
            break;
        case VT_BOOL:
            Member<int>(member) = field.boolVal == VARIANT_TRUE ? 1 : 0;
            break;
        default:
            break;
    }
}

void WriteInt(CComVariant& field, void* member) {
    if (!HoldsValueBits(field)) {
        return;
    }
    const int value = Member<int>(member);
    field.lVal = value;
    if (field.vt == VT_BOOL) {
        field.boolVal = value > 0 ? VARIANT_TRUE : VARIANT_FALSE;
    }
}

// A long member takes the field's 32 bits, whatever a long's width.
void ReadLong(const CComVariant& field, void* member) {
    Member<long>(member) = field.lVal;
}

void WriteLong(CComVariant& field, void* member) {
    if (HoldsValueBits(field)) {
        field.lVal = static_cast<LONG>(Member<long>(member));
    }
}

void ReadFloat(const CComVariant& field, void* member) {
    Member<float>(member) = field.fltVal;
}

void WriteFloat(CComVariant& field, void* member) {
    if (HoldsValueBits(field)) {
        field.fltVal = Member<float>(member);
    }
}

void ReadDouble(const CComVariant& field, void* member) {
    Member<double>(member) = field.dblVal;
}

void WriteDouble(CComVariant& field, void* member) {
    if (HoldsValueBits(field)) {
        field.dblVal = Member<double>(member);
    }
}

void ReadText(const CComVariant& field, void* member) {
    CString& text = Member<CString>(member);
    switch (field.vt) {
        case VT_I2:
            text.Format(L"%d", field.iVal);
            break;
        case VT_I4:
            text.Format(L"%d", field.lVal);
            break;
        case VT_R4:
            text.Format(L"%f", static_cast<double>(field.fltVal));
            break;
        case VT_R8:
            text.Format(L"%f", field.dblVal);
            break;
        case VT_BSTR:
            text = CString(field.bstrVal);
            break;
        default:
            break;
    }
}

void WriteText(CComVariant& field, void* member) {
    ConvertToMultibyte(field, Member<CString>(member));
}

constexpr VARTYPE kByteArray = VT_ARRAY | VT_UI1;

// The byte counts are what callers have always got: a text gives its length
// plus one bytes of its UTF-16 form and a 0 byte (bytes where characters are
// meant), an array as many bytes as its upper bound (one short of a
// zero-based array's size).
void ReadBytes(const CComVariant& field, void* member) {
    std::vector<unsigned char>& bytes = Member<std::vector<unsigned char>>(member);
    switch (field.vt) {
        case VT_BOOL:
            bytes.assign(1, field.boolVal == VARIANT_TRUE ? 1 : 0);
            break;
        case VT_BSTR: {
            std::vector<BYTE> utf16 = korvan::EncodeUtf16LE(
                field.bstrVal ? std::wstring_view(field.bstrVal, SysStringLen(field.bstrVal))
                              : std::wstring_view());
            const size_t length = utf16.size() / 2;
            utf16.resize(utf16.size() + 2, 0);  // the terminator of the buffer
            bytes.assign(utf16.begin(), utf16.begin() + static_cast<std::ptrdiff_t>(length + 1));
            bytes.push_back(0);
            break;
        }
        case kByteArray: {
            bytes.clear();
            LONG upper = 0;
            void* data = nullptr;
            if (field.parray == nullptr || FAILED(SafeArrayGetUBound(field.parray, 1, &upper)) ||
                upper <= 0 || FAILED(SafeArrayAccessData(field.parray, &data))) {
                break;
            }
            // Never past the array's end, whatever its lower bound.
            const size_t count =
                std::min<size_t>(static_cast<size_t>(upper), field.parray->rgsabound[0].cElements);
            const auto* first = static_cast<const unsigned char*>(data);
            bytes.assign(first, first + count);
            SafeArrayUnaccessData(field.parray);
            break;
        }
        default:
            break;
    }
}

void WriteBytes(CComVariant& field, void* member) {
    const std::vector<unsigned char>& bytes = Member<std::vector<unsigned char>>(member);
    switch (field.vt) {
        case VT_BOOL:
            field.boolVal = !bytes.empty() && bytes[0] > 0 ? VARIANT_TRUE : VARIANT_FALSE;
            break;
        case VT_BSTR: {
            // The bytes as a UTF-16LE text, up to its terminator.
            std::vector<BYTE> padded(bytes.begin(), bytes.end());
            padded.resize(padded.size() + padded.size() % 2, 0);
            std::wstring text = korvan::DecodeUtf16LE(padded.data(), padded.size());
            text.resize(std::min(text.size(), text.find(L'\0')));
            ConvertToMultibyte(field, CString(std::move(text)));
            break;
        }
        case kByteArray: {
            SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
            void* data = nullptr;
            if (array == nullptr || FAILED(SafeArrayAccessData(array, &data))) {
                SafeArrayDestroy(array);
                throw CAtlException(E_OUTOFMEMORY);
            }
            if (!bytes.empty()) {
                std::memcpy(data, bytes.data(), bytes.size());
            }
            SafeArrayUnaccessData(array);
            field.Clear();
            field.vt = kByteArray;
            field.parray = array;
            break;
        }
        default:
            break;
    }
}

void ReadBool(const CComVariant& field, void* member) {
    Member<bool>(member) = field.boolVal == VARIANT_TRUE;
}

void WriteBool(CComVariant& field, void* member) {
    if (HoldsValueBits(field)) {
        field.boolVal = Member<bool>(member) ? VARIANT_TRUE : VARIANT_FALSE;
    }
}

}  // namespace

void DbRecordset::MapClassMember(CString name, void* member, Reader reader, Writer writer) {
    const int field = GetFieldIndex(name);
    if (field < 0) {
        KORVAN_THROW("Db_Recordset", StringBuilder(L"Column '%s' not found in table '%s'",
                                                   name.GetString(), m_tableName.GetString()));
    }
    // The first binding of a member stays.
    if (member != nullptr) {
        m_bindings.emplace(member, Binding{static_cast<uint64_t>(field), reader, writer});
    }
}

void DbRecordset::MapClassMember(CString name, short* member) {
    MapClassMember(name, member, ReadShort, WriteShort);
}

void DbRecordset::MapClassMember(CString name, int* member) {
    MapClassMember(name, member, ReadInt, WriteInt);
}

void DbRecordset::MapClassMember(CString name, long* member) {
    MapClassMember(name, member, ReadLong, WriteLong);
}

void DbRecordset::MapClassMember(CString name, float* member) {
    MapClassMember(name, member, ReadFloat, WriteFloat);
}

void DbRecordset::MapClassMember(CString name, double* member) {
    MapClassMember(name, member, ReadDouble, WriteDouble);
}

void DbRecordset::MapClassMember(CString name, CString* member) {
    MapClassMember(name, member, ReadText, WriteText);
}

void DbRecordset::MapClassMember(CString name, std::vector<unsigned char>* member) {
    MapClassMember(name, member, ReadBytes, WriteBytes);
}

void DbRecordset::MapClassMember(CString name, bool* member) {
    MapClassMember(name, member, ReadBool, WriteBool);
}

bool DbRecordset::IsFieldNull(void* member) {
    if (IsEOF() || IsBOF()) {
        KORVAN_THROW("Db_Recordset", L"Out of recordset range");
    }
    DbFieldValue* cell = BoundCell(member);
    if (cell == nullptr) {
        KORVAN_THROW("Db_Recordset", L"IsFieldNull invalid field binding");
    }
    return cell->IsNull();
}

void DbRecordset::SetFieldNull(void* member) {
    if (IsEOF() || IsBOF()) {
        KORVAN_THROW("Db_Recordset", L"SetFieldNull out of recordset range");
    }
    DbFieldValue* cell = BoundCell(member);
    if (cell == nullptr) {
        KORVAN_THROW("Db_Recordset", L"SetFieldNull invalid field binding");
    }
    cell->SetNull(true);
}

DbFieldValue* DbRecordset::BoundCell(void* member) {
    const auto it = m_bindings.find(member);
    if (it == m_bindings.end()) {
        return nullptr;
    }
    // The row whose number is the cursor: no index applies here.
    DbTableRow* row = m_tableData->GetRow(m_cursor);
    return it->second.field < row->GetFieldCount() ? &row->GetField(it->second.field) : nullptr;
}
