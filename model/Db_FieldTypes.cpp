// The table of field types with the default values of new columns and the
// text conversions behind DbFieldDescr::ValueFromString.

#include "model/Db_FieldTypes.h"

#include "model/Db_Base64.h"
#include "model/Db_DecimalSeparator.h"
#include "model/Db_FieldBinary.h"

#include <algorithm>
#include <string_view>

namespace korvan {
namespace {

constexpr VARTYPE kBinary = VT_ARRAY | VT_UI1;

// Defaults of new columns. An integer column holds 32-bit values, so its
// default, and thereby the type it reports, is VT_I4, deliberately.

void DefaultInteger(CComVariant& value) {
    value = 0;
}

void DefaultFloat(CComVariant& value) {
    value = 0.0f;
}

void DefaultDouble(CComVariant& value) {
    value = 0.0;
}

void DefaultText(CComVariant& value) {
    value = L"";
}

void DefaultBoolean(CComVariant& value) {
    value = false;
}

// One zero byte, lower bound 1.
void DefaultBinary(CComVariant& value) {
    const BYTE zero = 0;
    StoreBytes(value, &zero, 1, 1);
}

// Text conversions. Each stores the text and converts it in place; a text
// that does not convert stays text.

void StoreConverted(CComVariant& target, const wchar_t* text, VARTYPE type) {
    target = text;
    VariantChangeType(&target, &target, 0, type);
}

void FromInteger(CComVariant& target, const wchar_t* const& text) {
    StoreConverted(target, text, VT_I4);
}

void FromBoolean(CComVariant& target, const wchar_t* const& text) {
    StoreConverted(target, text, VT_BOOL);
}

void FromText(CComVariant& target, const wchar_t* const& text) {
    target = text;
}

// Texts from other machines may carry either separator: an empty text is 0,
// and "," or "." is read as the process's own separator.
void StoreReal(CComVariant& target, const wchar_t* text, VARTYPE type) {
    CString normal(text && *text ? text : L"0");
    const wchar_t separator = ProcessDecimalSeparator();
    if (separator == L'.') {
        normal.Replace(L',', L'.');
    } else {
        normal.Replace(L'.', separator);
    }
    StoreConverted(target, normal, type);
}

void FromFloat(CComVariant& target, const wchar_t* const& text) {
    StoreReal(target, text, VT_R4);
}

void FromDouble(CComVariant& target, const wchar_t* const& text) {
    StoreReal(target, text, VT_R8);
}

void FromBinary(CComVariant& target, const wchar_t* const& text) {
    StoreBase64(target, text ? std::wstring_view(text) : std::wstring_view());
}

// Text forms of values.

std::wstring_view BstrView(BSTR text) {
    return text ? std::wstring_view(text, SysStringLen(text)) : std::wstring_view();
}

void NumberToText(const CComVariant& value, CString& out) {
    CComVariant text;
    if (SUCCEEDED(VariantChangeType(&text, &value, 0, VT_BSTR))) {
        out = CString(BstrView(text.bstrVal));
    }
}

void TextToText(const CComVariant& value, CString& out) {
    out = CString(BstrView(value.bstrVal));
}

// Only exactly VARIANT_TRUE is true; any other non-zero pattern prints
// "false", deliberately.
void BooleanToText(const CComVariant& value, CString& out) {
    out = value.boolVal == VARIANT_TRUE ? L"true" : L"false";
}

void BinaryToText(const CComVariant& value, CString& out) {
    LONG lower = 0;
    LONG upper = -1;
    SafeArrayGetLBound(value.parray, 1, &lower);
    SafeArrayGetUBound(value.parray, 1, &upper);
    // The byte count is the upper bound plus one, never more than the array
    // holds.
    const LONG count = std::min(upper + 1, upper - lower + 1);
    void* bytes = nullptr;
    if (count > 0 && SUCCEEDED(SafeArrayAccessData(value.parray, &bytes))) {
        out = CString(Base64Encode(static_cast<const BYTE*>(bytes), static_cast<size_t>(count)));
        SafeArrayUnaccessData(value.parray);
    }
}

// The first entry of a field type is the one FieldTypeOf gives. DAO codes:
// dbInteger 3, dbLong 4, dbDouble 7, dbText 10; 0 for none.
constexpr FieldType kFieldTypes[] = {
    {DbFieldDescr::ftUnknown, VT_EMPTY, L"empty", false, 0, nullptr, nullptr, nullptr},
    {DbFieldDescr::ftBoolean, VT_BOOL, L"boolean", false, 0, DefaultBoolean, FromBoolean,
     BooleanToText},
    {DbFieldDescr::ftInteger, VT_I2, L"integer", true, 3, DefaultInteger, FromInteger,
     NumberToText},
    {DbFieldDescr::ftLong, VT_I4, L"long", true, 4, DefaultInteger, FromInteger, NumberToText},
    {DbFieldDescr::ftFloat, VT_R4, L"float", true, 0, DefaultFloat, FromFloat, NumberToText},
    {DbFieldDescr::ftDouble, VT_R8, L"double", true, 7, DefaultDouble, FromDouble, NumberToText},
    {DbFieldDescr::ftText, VT_BSTR, L"text", false, 10, DefaultText, FromText, TextToText},
    {DbFieldDescr::ftBinary, kBinary, L"binary", false, 0, DefaultBinary, FromBinary, BinaryToText},
    // Dates are read as text and have no text form of their own.
    {DbFieldDescr::ftUnknown, VT_DATE, L"unknown", false, 0, DefaultText, FromText, nullptr},
};

}  // namespace

const FieldType& FieldTypeOf(DbFieldDescr::eFieldType type) {
    for (const FieldType& entry : kFieldTypes) {
        if (entry.type == type) {
            return entry;
        }
    }
    return kFieldTypes[0];
}

const FieldType* FieldTypeOfVariant(VARTYPE vt) {
    for (const FieldType& entry : kFieldTypes) {
        if (entry.variant == vt) {
            return &entry;
        }
    }
    return nullptr;
}

const FieldType& FieldTypeOfDaoCode(short code) {
    for (const FieldType& entry : kFieldTypes) {
        if (code != 0 && entry.daoCode == code) {
            return entry;
        }
    }
    return kFieldTypes[0];
}

bool IsColumnVariantType(VARTYPE vt) {
    const FieldType* entry = FieldTypeOfVariant(vt);
    return entry != nullptr && entry->fromString != nullptr;
}

}  // namespace korvan
