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

// Removes node with everything in it, leaves first: the parser's own removal
// follows the nesting depth down the call stack, which a file of deeply
// nested elements would overflow. Each element is reached and removed once.
void RemoveSubtree(pugi::xml_node node) {
    pugi::xml_node leaf = node;
    for (;;) {
        while (pugi::xml_node child = leaf.first_child()) {
            leaf = child;
        }
        pugi::xml_node parent = leaf.parent();
        parent.remove_child(leaf);
        if (leaf == node) {
            return;
        }
        leaf = parent;
    }
}

// The offset of the first "<" that stands inside an attribute value of a
// start tag, which XML forbids and the parser lets through; npos when there
// is none. Comments, CDATA sections, processing instructions and the document
// type declaration (whose internal subset holds markup of its own) are passed
// over whole.
size_t FindLessThanInAttribute(std::string_view text) {
    const auto skipPast = [&](size_t from, std::string_view terminator) {
        const size_t end = text.find(terminator, from);
        return end == std::string_view::npos ? text.size() : end + terminator.size();
    };
    size_t at = text.find('<');
    while (at != std::string_view::npos && at + 1 < text.size()) {
        const std::string_view rest = text.substr(at);
        size_t next;
        if (rest.starts_with("<!--")) {
            next = skipPast(at + 4, "-->");
        } else if (rest.starts_with("<![CDATA[")) {
            next = skipPast(at + 9, "]]>");
        } else if (rest.starts_with("<?")) {
            next = skipPast(at + 2, "?>");
        } else if (rest.starts_with("</")) {
            next = skipPast(at + 2, ">");
        } else {
            // A start tag, or a declaration such as <!DOCTYPE ...>, whose
            // brackets may hold whole tags of their own.
            const bool declaration = rest.starts_with("<!");
            char quote = 0;
            int brackets = 0;
            for (next = at + 1; next < text.size(); ++next) {
                const char c = text[next];
                if (quote != 0) {
                    if (c == quote) {
                        quote = 0;
                    } else if (c == '<' && !declaration) {
                        return next;
                    }
                } else if (c == '"' || c == '\'') {
                    quote = c;
                } else if (c == '[' || c == ']') {
                    brackets += c == '[' ? 1 : -1;
                } else if (c == '>' && (!declaration || brackets <= 0)) {
                    break;
                }
            }
        }
        at = text.find('<', next);
    }
    return std::string_view::npos;
}

[[noreturn]] void ThrowMalformed(const CString& file, size_t offset, const wchar_t* fault) {
    KORVAN_THROW(kSource, StringBuilder(L"Malformed XML in '%s' near byte %lld: %s",
                                        file.GetString(), static_cast<long long>(offset), fault));
}

// Refuses what the parser lets through but XML does not, and the streamed
// reading refuses too, so that a file gets one verdict either way: a "<" in
// an attribute value (looked for in text before it is parsed in place), and,
// once doc is parsed as a fragment, a second root element, text outside the
// root, or no root at all.
void CheckBeforeParsing(const CString& file, std::string_view text) {
    const size_t lessThan = FindLessThanInAttribute(text);
    if (lessThan != std::string_view::npos) {
        ThrowMalformed(file, lessThan, L"\"<\" in an attribute value");
    }
}

void CheckAfterParsing(const CString& file, const pugi::xml_document& doc, size_t size) {
    bool rootSeen = false;
    for (const pugi::xml_node node : doc.children()) {
        const auto offset = static_cast<size_t>(node.offset_debug());
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
            ThrowMalformed(file, offset, L"text outside the root element");
        }
        if (node.type() == pugi::node_element) {
            if (rootSeen) {
                ThrowMalformed(file, offset, L"a second root element");
            }
            rootSeen = true;
        }
    }
    if (!rootSeen) {
        ThrowMalformed(file, size, L"no root element");
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
            // Every data element of the section is read, as the whole document
            // is: one that belongs to no header table, or to one that has its
            // data already, refuses the file either way.
            while (m_source->ExtractXmlText(L"\\database\\header\\data\\table", text,
                                            DbSource::Search::Section)) {
                ParseTableText(text);
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
        if (m_source->IsSequentialAccess() && NextUnreadTable() == nullptr) {
            ReadRestOfStream();
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
            ThrowDataWithoutStructure();
        }
        if (found) {
            next->data->SetXmlText(std::move(text));
            Log(StringBuilder(L"Table '%s' xml source extracted in %.4f [s]",
                              next->name.GetString(), korvan::MonotonicSeconds() - start));
            if (NextUnreadTable() == nullptr) {
                ReadRestOfStream();
            }
        }
    }
    if (!found) {
        m_source->Release();
        return nullptr;
    }
    return next->data;
}

void DbDatabase::ReadRestOfStream() {
    std::string text;
    if (m_source->ExtractXmlText(L"\\database\\body\\data\\table", text,
                                 DbSource::Search::Section)) {
        ThrowDataWithoutStructure();
    }
    // No element has an empty path: the search checks the rest of the file
    // and ends the stream at its end.
    m_source->ExtractXmlText(CString(), text, DbSource::Search::WholeFile);
}

void DbDatabase::ThrowDataWithoutStructure() const {
    KORVAN_THROW(kSource, StringBuilder(L"A data element in '%s' has no table structure",
                                        m_source->GetFile().GetString()));
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
    CheckBeforeParsing(file, text);
    const korvan::TableXml xml(*this);
    // Parsed where it lies: the document's names and values point into text.
    pugi::xml_document doc;
    // As a fragment, so that the document keeps the text around its root,
    // which the parser would otherwise drop unseen.
    xml.CheckParsed(doc.load_buffer_inplace(
        text.data(), text.size(), pugi::parse_default | pugi::parse_fragment, pugi::encoding_utf8));
    CheckAfterParsing(file, doc, text.size());

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
    const pugi::xml_node bodyData = NextElement(bodyStructure);

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
        RemoveSubtree(table);
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
