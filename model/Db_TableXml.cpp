// TableXml: the checks that one table's structure or data element passes
// before the table model loads it, and the loading itself.
#include "model/Db_TableXml.h"

#include "model/Db_Exception.h"
#include "model/Db_FieldTypes.h"
#include "model/Db_NameKey.h"

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace korvan {

namespace {

constexpr char kSource[] = "Db_TableXml";

// A column's type is written as the number of its variant type.
bool IsKnownFieldType(const char* text) {
    if (*text == 0 || std::strspn(text, "0123456789") != std::strlen(text) ||
        std::strlen(text) > 5) {
        return false;
    }
    const int vt = std::atoi(text);
    return vt <= 0xFFFF && IsColumnVariantType(static_cast<VARTYPE>(vt));
}

}  // namespace

TableXml::TableXml(const DbTableOwner& owner) : m_file(owner.GetName()) {}

void TableXml::CheckParsed(const pugi::xml_parse_result& result) const {
    if (!result) {
        KORVAN_THROW(kSource,
                     StringBuilder(L"XML error in '%s': %S at offset %lld", m_file.GetString(),
                                   result.description(), static_cast<long long>(result.offset)));
    }
}

pugi::xml_node TableXml::Parse(std::string_view utf8, pugi::xml_document& doc) const {
    CheckParsed(
        doc.load_buffer(utf8.data(), utf8.size(), pugi::parse_default, pugi::encoding_utf8));
    return doc.document_element();
}

CString TableXml::Name(pugi::xml_node table) const {
    const CString name(table.first_attribute().value());
    if (name.IsEmpty()) {
        KORVAN_THROW(kSource,
                     StringBuilder(L"A table element in '%s' has no name", m_file.GetString()));
    }
    return name;
}

CString TableXml::CheckStructure(pugi::xml_node table) const {
    const CString name = Name(table);
    std::set<CString> seen;
    for (pugi::xml_node field = table.first_child(); field; field = field.next_sibling()) {
        if (field.type() != pugi::node_element || std::strcmp(field.name(), "field") != 0) {
            KORVAN_THROW(kSource,
                         StringBuilder(L"Unexpected content in the structure of table '%s' in '%s'",
                                       name.GetString(), m_file.GetString()));
        }
        const CString fieldName(field.attribute("name").value());
        if (fieldName.IsEmpty()) {
            KORVAN_THROW(kSource, StringBuilder(L"A field of table '%s' in '%s' has no name",
                                                name.GetString(), m_file.GetString()));
        }
        if (!IsKnownFieldType(field.attribute("type").value())) {
            KORVAN_THROW(kSource,
                         StringBuilder(L"Field '%s' of table '%s' in '%s' has an unknown type '%S'",
                                       fieldName.GetString(), name.GetString(), m_file.GetString(),
                                       field.attribute("type").value()));
        }
        if (!seen.insert(NameKey(fieldName)).second) {
            KORVAN_THROW(kSource,
                         StringBuilder(L"Field '%S' of table '%s' in '%s' is defined twice",
                                       field.attribute("name").value(), name.GetString(),
                                       m_file.GetString()));
        }
    }
    return name;
}

void TableXml::LoadStructure(pugi::xml_node table, const CString& name, DbTableDescr& descr) const {
    if (!descr.Load(table)) {
        KORVAN_THROW(kSource, StringBuilder(L"Cannot read the structure of table '%s' in '%s'",
                                            name.GetString(), m_file.GetString()));
    }
}

void TableXml::LoadRows(pugi::xml_node table, DbTableData& data) const {
    const CString& name = data.GetName();
    const DbTableDescr& descr = *data.GetTableDescr();
    std::set<std::string> fields;
    for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
        fields.insert(descr.GetField(static_cast<int>(f)).GetSafeName().ToUtf8());
    }
    for (pugi::xml_node row = table.first_child(); row; row = row.next_sibling()) {
        if (row.type() != pugi::node_element || std::strcmp(row.name(), "row") != 0) {
            KORVAN_THROW(kSource,
                         StringBuilder(L"Unexpected content in the data of table '%s' in '%s'",
                                       name.GetString(), m_file.GetString()));
        }
        for (pugi::xml_attribute value : row.attributes()) {
            if (fields.count(value.name()) == 0) {
                KORVAN_THROW(kSource,
                             StringBuilder(L"Attribute '%S' of table '%s' in '%s' is not a field",
                                           value.name(), name.GetString(), m_file.GetString()));
            }
        }
    }
    if (!data.Load(table)) {
        KORVAN_THROW(kSource, StringBuilder(L"Cannot read the rows of table '%s' in '%s'",
                                            name.GetString(), m_file.GetString()));
    }
}

void TableXml::LoadRows(std::string_view utf8, DbTableData& data) const {
    pugi::xml_document doc;
    LoadRows(Parse(utf8, doc), data);
}

}  // namespace korvan
