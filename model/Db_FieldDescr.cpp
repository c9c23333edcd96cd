// DbFieldDescr: a column's name, flags, type and default value, its safe
// name and its "field" element; the type knowledge comes from the field type
// table.
#include <korvan/model.h>

#include "model/Db_FieldTypes.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

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

DbFieldDescr& DbFieldDescr::operator=(const DbFieldDescr& other) {
    if (this != &other) {
        DbFieldValue::operator=(other);
        m_required = other.m_required;
        m_key = other.m_key;
        m_name = other.m_name;
        m_safeName = other.m_safeName;
        m_fromString = other.m_fromString;
    }
    return *this;
}

VARTYPE DbFieldDescr::FieldTypeToVariantType(eFieldType type) {
    return korvan::FieldTypeOf(type).variant;
}

DbFieldDescr::eFieldType DbFieldDescr::VariantTypeToFieldType(VARTYPE vt) {
    const korvan::FieldType* entry = korvan::FieldTypeOfVariant(vt);
    return entry != nullptr ? entry->type : ftUnknown;
}

bool DbFieldDescr::IsNumericType(eFieldType type) {
    return korvan::FieldTypeOf(type).numeric;
}

DbFieldDescr::eFieldType DbFieldDescr::DbTypeToFieldType(short dbType) {
    return korvan::FieldTypeOfDaoCode(dbType).type;
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
    // A variant type no column is made of leaves the value empty and the
    // conversion as it was.
    const korvan::FieldType* entry = korvan::FieldTypeOfVariant(vt);
    if (entry != nullptr && entry->fromString != nullptr) {
        entry->setDefault(value);
        m_fromString = entry->fromString;
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
    const korvan::FieldType* entry = korvan::FieldTypeOfVariant(GetType());
    return entry != nullptr ? entry->name : L"unknown";
}

uint64_t DbFieldDescr::GetSize() const {
    return DbFieldValue::GetSize() +
           2 * static_cast<uint64_t>(m_name.GetLength() + m_safeName.GetLength()) + 18;
}
