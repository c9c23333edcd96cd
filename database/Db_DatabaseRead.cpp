// DbDatabase: reading an XML database file in stages, as a whole document or
// element by element from the source's stream.
//
// Every table element is checked and loaded by TableXml, so that the table
// model never takes a malformed element on trust; here the document as a
// whole is checked: the sections stand where they belong, every data element
// has a structure and no table has two. A file that breaks any of this is
// refused with a DbException naming the file, never read halfway into wrong
// tables. A stage that ends by an exception, of any kind, leaves the database
// marked as not read whole (ReadGuard), so it never writes back over its file.
#include <korvan/database.h>

#include <cstring>
#include <string>
#include <string_view>

#include "model/Db_Exception.h"
#include "model/Db_ReadGuard.h"
#include "model/Db_TableXml.h"
#include "platform/files.h"
#include "platform/utf.h"

namespace {

constexpr char kSource[] = "Db_Database";

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
    {
        korvan::ReadGuard guard(this, [this] { Clear(); });
        if (m_source->IsXmlBased() && m_source->IsSequentialAccess()) {
            std::string text;
            if (!m_source->ExtractXmlText(L"\\database\\header\\structure", text,
                                          DbSource::Search::Section)) {
                KORVAN_THROW(kSource, L"Invalid pointer");
            }
            ParseStructureText(text);
            if (m_registry.empty()) {
                KORVAN_THROW(kSource, L"Invalid pointer");
            }
            for (int i = 0; i < 2; ++i) {
                if (m_source->ExtractXmlText(L"\\database\\header\\data\\table", text,
                                             DbSource::Search::Section)) {
                    ParseTableText(text);
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
    }
    Sync();
}

void DbDatabase::ReadStructure() {
    ReadHeader();
    if (!m_structurePending || !m_source->IsXmlBased()) {
        return;
    }
    m_structurePending = false;
    {
        korvan::ReadGuard guard(this, [this] { Clear(); });
        std::string text;
        if (m_source->ExtractXmlText(L"\\database\\body\\structure", text,
                                     DbSource::Search::Section)) {
            ParseStructureText(text);
        }
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
    // first table, in registry order, that has none yet.
    DbTableInfo* next = NextUnreadTable();
    const double start = korvan::MonotonicSeconds();
    std::string text;
    bool found;
    {
        korvan::ReadGuard guard(this, [this] { m_source->Release(); });
        found = m_source->ExtractXmlText(L"\\database\\body\\data\\table", text,
                                         DbSource::Search::Section);
        // Every table has its data: one more data element has no structure.
        if (next == nullptr && found) {
            KORVAN_THROW(kSource, StringBuilder(L"A data element in '%s' has no table structure",
                                                m_source->GetFile().GetString()));
        }
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

DbTableInfo* DbDatabase::NextUnreadTable() {
    // Data is never taken back from a table, and query answers never come
    // from the file, so an entry passed over here stays passed over.
    for (; m_firstUnread < m_data.size(); ++m_firstUnread) {
        DbTableInfo* entry = Lookup(m_data[m_firstUnread].first);
        if (entry->type == DbTableInfo::TABLE && !entry->data->IsInitialized()) {
            return entry;
        }
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// Parsing.

void DbDatabase::ParseXmlDatabase() {
    const CString& file = m_source->GetFile();
    std::string text;
    const korvan::FileStatus read = korvan::ReadWholeFile(file, text);
    if (!read) {
        KORVAN_THROW(kSource, StringBuilder(L"Cannot read '%s': %s", file.GetString(),
                                            read.Reason().GetString()));
    }
    if (!korvan::IsValidUtf8(text)) {
        KORVAN_THROW(kSource, StringBuilder(L"Invalid UTF-8 in '%s'", file.GetString()));
    }
    const korvan::TableXml xml(*this);
    // Parsed where it lies: the document's names and values point into text.
    pugi::xml_document doc;
    xml.CheckParsed(doc.load_buffer_inplace(text.data(), text.size(), pugi::parse_default,
                                            pugi::encoding_utf8));

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
        KORVAN_THROW(kSource, L"Invalid pointer");
    }
    const pugi::xml_node headerData = NextElement(headerStructure);
    const pugi::xml_node body = NextElement(header);
    const pugi::xml_node bodyStructure = FirstElement(body);
    pugi::xml_node bodyData = NextElement(bodyStructure);

    LoadStructureSection(xml, headerStructure);
    for (pugi::xml_node table = FirstElement(headerData); table; table = NextElement(table)) {
        LoadTableData(xml, table);
    }
    LoadStructureSection(xml, bodyStructure);
    // A table's elements are done with once its rows are made: removing them
    // hands their memory back for the rows of the tables that follow, so the
    // document and the rows are not both whole at the end.
    for (pugi::xml_node table = FirstElement(bodyData); table;) {
        LoadTableData(xml, table);
        const pugi::xml_node next = NextElement(table);
        bodyData.remove_child(table);
        table = next;
    }
}

void DbDatabase::ParseXmlStructure(const CString& xml) {
    ParseStructureText(xml.ToUtf8());
}

void DbDatabase::ParseXmlTableData(const CString& xml) {
    ParseTableText(xml.ToUtf8());
}

void DbDatabase::ParseStructureText(std::string_view utf8) {
    const korvan::TableXml xml(*this);
    pugi::xml_document doc;
    LoadStructureSection(xml, xml.Parse(utf8, doc));
}

void DbDatabase::ParseTableText(std::string_view utf8) {
    try {
        const korvan::TableXml xml(*this);
        pugi::xml_document doc;
        LoadTableData(xml, xml.Parse(utf8, doc));
    } catch (DbException* e) {
        // Table text is read as it is needed; the reason goes to the log as
        // well as to whoever catches the exception.
        Log(e->Message());
        throw;
    }
}

void DbDatabase::LoadStructureSection(const korvan::TableXml& xml, pugi::xml_node section) {
    for (pugi::xml_node table = FirstElement(section); table; table = NextElement(table)) {
        LoadTableStructure(xml, table);
    }
}

void DbDatabase::LoadTableStructure(const korvan::TableXml& xml, pugi::xml_node table) {
    const CString name = xml.CheckStructure(table);
    DbTableInfo* entry = Create(name, DbTableInfo::TABLE, CString(), nullptr);
    if (entry == nullptr) {
        KORVAN_THROW(kSource, StringBuilder(L"Table '%s' is defined twice in '%s'",
                                            name.GetString(), GetName().GetString()));
    }
    xml.LoadStructure(table, name, *entry->descr);
}

void DbDatabase::LoadTableData(const korvan::TableXml& xml, pugi::xml_node table) {
    const CString name = xml.Name(table);
    const DbTableInfo* entry = Lookup(name);
    if (entry == nullptr) {
        KORVAN_THROW(kSource, StringBuilder(L"Table '%s' in '%s' has data but no structure",
                                            name.GetString(), GetName().GetString()));
    }
    if (entry->data->IsInitialized()) {
        KORVAN_THROW(kSource, StringBuilder(L"Table '%s' has more than one data element in '%s'",
                                            name.GetString(), GetName().GetString()));
    }
    xml.LoadRows(table, *entry->data);
}
