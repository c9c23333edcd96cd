// DbDatabase: reading an XML database file in stages, as a whole document or
// element by element from the source's stream.
//
// Before anything reaches the table model the reader checks what the model
// takes on trust: every table element has a name, every structure holds
// "field" elements with a name and a known type, every data section holds
// "row" elements whose attributes are fields of the table, and every data
// element has a structure. A file that breaks any of this is refused with a
// DbException naming the file, never read halfway into wrong tables.
#include <korvan/database.h>

#include <cstring>
#include <set>
#include <string>
#include <string_view>

#include "model/Db_FieldTypes.h"
#include "model/Db_NameKey.h"
#include "platform/files.h"
#include "platform/utf.h"

namespace {

[[noreturn]] void Fail(const CString& message) {
    throw new DbException("Db_Database", __LINE__, message);
}

pugi::xml_node FirstElement(pugi::xml_node node) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element) {
            return child;
        }
    }
    return pugi::xml_node();
}

pugi::xml_node NextElement(pugi::xml_node node) {
    for (pugi::xml_node next = node.next_sibling(); next; next = next.next_sibling()) {
        if (next.type() == pugi::node_element) {
            return next;
        }
    }
    return pugi::xml_node();
}

void CheckParsed(const pugi::xml_parse_result& result, const CString& file) {
    if (!result) {
        Fail(StringBuilder(L"XML error in '%s': %S at offset %lld", file.GetString(),
                           result.description(), static_cast<long long>(result.offset)));
    }
}

// The document gets a copy of utf8 to parse in, so the text stays as it was
// whatever the outcome.
void ParseXml(std::string_view utf8, pugi::xml_document& doc, const CString& file) {
    CheckParsed(doc.load_buffer(utf8.data(), utf8.size(), pugi::parse_default, pugi::encoding_utf8),
                file);
}

// The table name is the value of the element's first attribute, whatever
// that attribute is called.
CString TableName(pugi::xml_node table, const CString& file) {
    const CString name(table.first_attribute().value());
    if (name.IsEmpty()) {
        Fail(StringBuilder(L"A table element in '%s' has no name", file.GetString()));
    }
    return name;
}

bool IsKnownFieldType(const char* text) {
    if (*text == 0 || std::strspn(text, "0123456789") != std::strlen(text) ||
        std::strlen(text) > 5) {
        return false;
    }
    const int vt = std::atoi(text);
    return vt <= 0xFFFF && korvan::IsColumnVariantType(static_cast<VARTYPE>(vt));
}

void CheckStructure(pugi::xml_node table, const CString& name, const CString& file) {
    std::set<CString> seen;
    for (pugi::xml_node field = table.first_child(); field; field = field.next_sibling()) {
        if (field.type() != pugi::node_element || std::strcmp(field.name(), "field") != 0) {
            Fail(StringBuilder(L"Unexpected content in the structure of table '%s' in '%s'",
                               name.GetString(), file.GetString()));
        }
        CString fieldName(field.attribute("name").value());
        if (fieldName.IsEmpty()) {
            Fail(StringBuilder(L"A field of table '%s' in '%s' has no name", name.GetString(),
                               file.GetString()));
        }
        if (!IsKnownFieldType(field.attribute("type").value())) {
            Fail(StringBuilder(L"Field '%s' of table '%s' in '%s' has an unknown type '%S'",
                               fieldName.GetString(), name.GetString(), file.GetString(),
                               field.attribute("type").value()));
        }
        if (!seen.insert(korvan::NameKey(fieldName)).second) {
            Fail(StringBuilder(L"Field '%S' of table '%s' in '%s' is defined twice",
                               field.attribute("name").value(), name.GetString(),
                               file.GetString()));
        }
    }
}

void CheckRows(pugi::xml_node table, const DbTableDescr& descr, const CString& name,
               const CString& file) {
    std::set<std::string> fields;
    for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
        fields.insert(descr.GetField(static_cast<int>(f)).GetSafeName().ToUtf8());
    }
    for (pugi::xml_node row = table.first_child(); row; row = row.next_sibling()) {
        if (row.type() != pugi::node_element || std::strcmp(row.name(), "row") != 0) {
            Fail(StringBuilder(L"Unexpected content in the data of table '%s' in '%s'",
                               name.GetString(), file.GetString()));
        }
        for (pugi::xml_attribute value : row.attributes()) {
            if (fields.count(value.name()) == 0) {
                Fail(StringBuilder(L"Attribute '%S' of table '%s' in '%s' is not a field",
                                   value.name(), name.GetString(), file.GetString()));
            }
        }
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// Stages.

void DbDatabase::ReadHeader() {
    if (!m_headerPending) {
        return;
    }
    // The flags go first: the table model looks tables up while they are
    // being read, and that must not start the reading again.
    m_headerPending = false;
    try {
        if (m_source->IsXmlBased() && m_source->IsSequentialAccess()) {
            std::string text;
            if (!m_source->ExtractXmlText(L"\\database\\header\\structure", text)) {
                Fail(L"Invalid pointer");
            }
            ParseStructureText(text);
            if (m_registry.empty()) {
                Fail(L"Invalid pointer");
            }
            for (int i = 0; i < 2; ++i) {
                if (m_source->ExtractXmlText(L"\\database\\header\\data\\table", text)) {
                    ParseTableText(text, nullptr);
                }
            }
            // A header table without a data element has no rows; it must not
            // take the first body table's data element.
            pugi::xml_document empty;
            const pugi::xml_node noRows = empty.append_child("table");
            for (auto& [key, entry] : m_registry) {
                if (!entry.data->IsInitialized()) {
                    entry.data->Load(noRows);
                }
            }
        } else if (m_source->IsXmlBased()) {
            m_structurePending = false;
            ParseXmlDatabase();
        } else if (m_source->IsMdbBased()) {
            Log(StringBuilder(L"Importing mdb file '%s'", m_source->GetFile().GetString()));
            m_structurePending = false;
            ImportMdb();
        }
        CreateHeaderTables();
    } catch (...) {
        m_readFailed = true;
        Clear();
        throw;
    }
    Sync();
}

void DbDatabase::ReadStructure() {
    ReadHeader();
    if (!m_structurePending || !m_source->IsXmlBased()) {
        return;
    }
    m_structurePending = false;
    try {
        std::string text;
        if (m_source->ExtractXmlText(L"\\database\\body\\structure", text)) {
            ParseStructureText(text);
        }
    } catch (...) {
        m_readFailed = true;
        Clear();
        throw;
    }
    Sync();
}

void DbDatabase::LoadTables() {
    ReadStructure();
    if (m_source->IsSequentialAccess()) {
        while (ReadNextTable() != nullptr) {
        }
    }
}

DbTableData* DbDatabase::ReadNextTable() {
    ReadStructure();
    if (m_source->IsEof() || !m_source->IsSequentialAccess()) {
        return nullptr;
    }
    // Data elements are bound by position: the next element belongs to the
    // first table, in registry order, that has none yet. Query answers never
    // come from the file.
    DbTableInfo* next = nullptr;
    for (const auto& [name, data] : m_data) {
        DbTableInfo* entry = Lookup(name);
        if (!data->IsInitialized() && entry->type == DbTableInfo::TABLE) {
            next = entry;
            break;
        }
    }
    const double start = korvan::MonotonicSeconds();
    std::string text;
    bool found;
    try {
        found = m_source->ExtractXmlText(L"\\database\\body\\data\\table", text);
        // Every table has its data: one more data element has no structure.
        if (next == nullptr && found) {
            Fail(StringBuilder(L"A data element in '%s' has no table structure",
                               m_source->GetFile().GetString()));
        }
    } catch (...) {
        m_readFailed = true;
        m_source->Release();
        throw;
    }
    if (!found) {
        m_source->Release();
        return nullptr;
    }
    next->data->SetXmlText(std::move(text));
    Log(StringBuilder(L"Table '%s' xml source extracted in %.4f [s]", next->name.GetString(),
                      korvan::MonotonicSeconds() - start));
    return next->data;
}

// ---------------------------------------------------------------------------
// Parsing.

void DbDatabase::ParseXmlDatabase() {
    const CString& file = m_source->GetFile();
    std::string text;
    const korvan::FileStatus read = korvan::ReadWholeFile(file, text);
    if (!read) {
        Fail(StringBuilder(L"Cannot read '%s': %s", file.GetString(), read.Reason().GetString()));
    }
    if (!korvan::IsValidUtf8(text)) {
        Fail(StringBuilder(L"Invalid UTF-8 in '%s'", file.GetString()));
    }
    // Parsed where it lies: the document's names and values point into text.
    pugi::xml_document doc;
    CheckParsed(
        doc.load_buffer_inplace(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8),
        file);

    pugi::xml_node root;
    for (pugi::xml_node child : doc.children()) {
        if (child.type() == pugi::node_element &&
            CString(child.name()).CompareNoCase(L"database") == 0) {
            root = child;
            break;
        }
    }
    if (!root) {
        return;
    }
    // The walk is positional: element names below the root are not looked at.
    const pugi::xml_node header = FirstElement(root);
    const pugi::xml_node headerStructure = FirstElement(header);
    if (!header || !headerStructure || !FirstElement(headerStructure)) {
        Fail(L"Invalid pointer");
    }
    const pugi::xml_node headerData = NextElement(headerStructure);
    const pugi::xml_node body = NextElement(header);
    const pugi::xml_node bodyStructure = FirstElement(body);
    pugi::xml_node bodyData = NextElement(bodyStructure);

    LoadStructureSection(headerStructure);
    for (pugi::xml_node table = FirstElement(headerData); table; table = NextElement(table)) {
        LoadTableData(table, nullptr);
    }
    LoadStructureSection(bodyStructure);
    // A table's elements are done with once its rows are made: removing them
    // hands their memory back for the rows of the tables that follow, so the
    // document and the rows are not both whole at the end.
    for (pugi::xml_node table = FirstElement(bodyData); table;) {
        LoadTableData(table, nullptr);
        const pugi::xml_node next = NextElement(table);
        bodyData.remove_child(table);
        table = next;
    }
}

void DbDatabase::ParseXmlStructure(const CString& xml) {
    ParseStructureText(xml.ToUtf8());
}

void DbDatabase::ParseXmlTableData(const CString& xml, DbTableData* target) {
    ParseTableText(xml.ToUtf8(), target);
}

void DbDatabase::ParseStructureText(std::string_view utf8) {
    pugi::xml_document doc;
    ParseXml(utf8, doc, m_source->GetFile());
    LoadStructureSection(doc.document_element());
}

void DbDatabase::ParseTableText(std::string_view utf8, DbTableData* target) {
    try {
        pugi::xml_document doc;
        ParseXml(utf8, doc, m_source->GetFile());
        LoadTableData(doc.document_element(), target);
    } catch (DbException* e) {
        // Table data parsed on first access reports failure only as missing
        // rows; the reason goes to the log.
        m_readFailed = true;
        Log(e->Message());
        throw;
    }
}

void DbDatabase::LoadStructureSection(pugi::xml_node section) {
    for (pugi::xml_node table = FirstElement(section); table; table = NextElement(table)) {
        LoadTableStructure(table);
    }
}

void DbDatabase::LoadTableStructure(pugi::xml_node table) {
    const CString& file = m_source->GetFile();
    const CString name = TableName(table, file);
    CheckStructure(table, name, file);
    DbTableInfo* entry = Create(name, DbTableInfo::TABLE, CString(), nullptr);
    if (entry == nullptr) {
        Fail(StringBuilder(L"Table '%s' is defined twice in '%s'", name.GetString(),
                           file.GetString()));
    }
    if (!entry->descr->Load(table)) {
        Fail(StringBuilder(L"Cannot read the structure of table '%s' in '%s'", name.GetString(),
                           file.GetString()));
    }
}

void DbDatabase::LoadTableData(pugi::xml_node table, DbTableData* target) {
    const CString& file = m_source->GetFile();
    CString name;
    if (target == nullptr) {
        name = TableName(table, file);
        DbTableInfo* entry = Lookup(name);
        if (entry == nullptr) {
            Fail(StringBuilder(L"Table '%s' in '%s' has data but no structure", name.GetString(),
                               file.GetString()));
        }
        if (entry->data->IsInitialized()) {
            Fail(StringBuilder(L"Table '%s' has more than one data element in '%s'",
                               name.GetString(), file.GetString()));
        }
        target = entry->data;
    } else {
        const DbTableInfo* entry = FindTableInfo(target);
        name = entry != nullptr ? entry->name : CString(table.first_attribute().value());
    }
    CheckRows(table, *target->GetTableDescr(), name, file);
    if (!target->Load(table)) {
        Fail(StringBuilder(L"Cannot read the rows of table '%s' in '%s'", name.GetString(),
                           file.GetString()));
    }
}
