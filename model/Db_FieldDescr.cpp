#include <korvan/model.h>

#include "model/Db_DecimalSeparator.h"
#include "model/Db_FieldBinary.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr VARTYPE kBinary = VT_ARRAY | VT_UI1;

// The text conversions behind DbFieldDescr::m_fromString. Each stores the
// text and converts it in place; a text that does not convert stays text.

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
    const wchar_t separator = korvan::ProcessDecimalSeparator();
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
    korvan::StoreBase64(target, text ? std::wstring_view(text) : std::wstring_view());
}

// Windows' _wtoi: leading blanks, an optional sign, decimal digits; 0 when
// there are none, the int limits on overflow.
int TextToInt(const char* text) {
    errno = 0;
    const long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX || (errno == ERANGE && value > 0)) {
        return INT_MAX;
    }
    if (value < INT_MIN || (errno == ERANGE && value < 0)) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

}  // namespace

DbFieldDescr::DbFieldDescr() : DbFieldDescr(nullptr, -1) {}

DbFieldDescr::DbFieldDescr(DbItem* parent, int index)
    : DbFieldValue(parent, index), m_required(false), m_key(false), m_fromString(nullptr) {}

DbFieldDescr::DbFieldDescr(const DbFieldDescr& other)
    : DbFieldValue(other),
      m_required(other.m_required),
      m_key(other.m_key),
      m_name(other.m_name),
      m_safeName(other.m_safeName),
      m_fromString(other.m_fromString) {}

VARTYPE DbFieldDescr::FieldTypeToVariantType(eFieldType type) {
    switch (type) {
        case ftBoolean:
            return VT_BOOL;
        case ftInteger:
            return VT_I2;
        case ftLong:
            return VT_I4;
        case ftFloat:
            return VT_R4;
        case ftDouble:
            return VT_R8;
        case ftText:
            return VT_BSTR;
        case ftBinary:
            return kBinary;
        default:
            return VT_EMPTY;
    }
}

DbFieldDescr::eFieldType DbFieldDescr::VariantTypeToFieldType(VARTYPE vt) {
    switch (vt) {
        case VT_I2:
            return ftInteger;
        case VT_I4:
            return ftLong;
        case VT_R4:
            return ftFloat;
        case VT_R8:
            return ftDouble;
        case VT_BSTR:
            return ftText;
        case VT_BOOL:
            return ftBoolean;
        case kBinary:
            return ftBinary;
        default:
            return ftUnknown;
    }
}

DbFieldDescr::eFieldType DbFieldDescr::DbTypeToFieldType(short dbType) {
    switch (dbType) {
        case 3:
            return ftInteger;
        case 4:
            return ftLong;
        case 7:
            return ftDouble;
        case 10:
            return ftText;
        default:
            return ftUnknown;
    }
}

DbFieldDescr::eFieldType DbFieldDescr::GetDbType() const {
    return VariantTypeToFieldType(GetType());
}

void DbFieldDescr::SetDbType(eFieldType type) {
    SetDefaultValue(FieldTypeToVariantType(type), m_value);
}

void DbFieldDescr::SetType(VARTYPE vt) {
    SetDefaultValue(vt, m_value);
}

void DbFieldDescr::SetDefaultValue(VARTYPE vt, CComVariant& value) {
    value.Clear();
    switch (vt) {
        case VT_I2:
            // Deliberate: an integer column holds 32-bit values, so its
            // default (and thereby its type) is VT_I4.
        case VT_I4:
            value = 0;
            m_fromString = FromInteger;
            break;
        case VT_R4:
            value = 0.0f;
            m_fromString = FromFloat;
            break;
        case VT_R8:
            value = 0.0;
            m_fromString = FromDouble;
            break;
        case VT_DATE:  // dates are kept as text
        case VT_BSTR:
            value = L"";
            m_fromString = FromText;
            break;
        case VT_BOOL:
            value = false;
            m_fromString = FromBoolean;
            break;
        case kBinary: {
            const BYTE zero = 0;
            korvan::StoreBytes(value, &zero, 1, 1);
            m_fromString = FromBinary;
            break;
        }
        default:
            break;
    }
}

void DbFieldDescr::SetName(const CString& name) {
    m_name = name;
    m_safeName = name;
    m_safeName.Replace(L" ", L"_");
    m_safeName.Replace(L"/", L"_S_");
    m_safeName.Replace(L"\\", L"_BS_");
    m_safeName.Replace(L"<", L"_L_");
    m_safeName.Replace(L">", L"_G_");
    m_safeName.Replace(L"(", L"_LP_");
    m_safeName.Replace(L")", L"_RP_");
    m_safeName.Replace(L"*", L"_STAR_");
}

bool DbFieldDescr::Save(pugi::xml_document& /*doc*/, pugi::xml_node parent) {
    pugi::xml_node field = parent.append_child("field");
    if (!field) {
        return false;
    }
    const bool written =
        field.append_attribute("name").set_value(m_name.ToUtf8().c_str()) &&
        field.append_attribute("key").set_value(m_key ? "true" : "false") &&
        field.append_attribute("type").set_value(static_cast<unsigned int>(GetType())) &&
        field.append_attribute("required").set_value(m_required ? "-1" : "0");
    if (!written) {
        parent.remove_child(field);
    }
    return written;
}

bool DbFieldDescr::Load(pugi::xml_node element) {
    for (const pugi::xml_attribute attribute : element.attributes()) {
        const char* name = attribute.name();
        if (std::strcmp(name, "name") == 0) {
            SetName(CString(attribute.value()));
        } else if (std::strcmp(name, "type") == 0) {
            SetDefaultValue(static_cast<VARTYPE>(TextToInt(attribute.value())), m_value);
        } else if (std::strcmp(name, "key") == 0) {
            m_key = std::strcmp(attribute.value(), "true") == 0;
        }
        // Everything else is ignored; "required" is deliberately never read
        // back.
    }
    return true;
}

CString DbFieldDescr::GetTypeString() const {
    switch (GetType()) {
        case VT_EMPTY:
            return L"empty";
        case VT_I2:
            return L"integer";
        case VT_I4:
            return L"long";
        case VT_R4:
            return L"float";
        case VT_R8:
            return L"double";
        case VT_BSTR:
            return L"text";
        case VT_BOOL:
            return L"boolean";
        case kBinary:
            return L"binary";
        default:
            return L"unknown";
    }
}

uint64_t DbFieldDescr::GetSize() const {
    return DbFieldValue::GetSize() +
           2 * static_cast<uint64_t>(m_name.GetLength() + m_safeName.GetLength()) + 18;
}
