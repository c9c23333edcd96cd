// DbTableData: a table's rows with lazy parsing of their stored XML text,
// the rows element, and the binary search over an index.
//
// The database is reached only as the table's owner (DbTableOwner); its
// header is included for the constructor, whose database is this item's
// parent.
#include <korvan/database.h>
#include <korvan/model.h>

#include "model/Db_BinarySearch.h"
#include "model/Db_ReadGuard.h"
#include "model/Db_RowXml.h"
#include "model/Db_TableXml.h"

DbTableData::DbTableData(DbDatabase* db, DbTableDescr* descr)
    : DbItem(db),
      m_rows(nullptr),
      m_xmlPending(false),
      m_database(db),
      m_descr(descr),
      m_initialized(false) {
    m_rows = new DbRows(this, descr);
}

DbTableData::DbTableData(const DbTableData& other)
    : DbXmlSerializable(other),
      DbItem(other),
      m_rows(nullptr),
      m_xmlSource(other.m_xmlSource),
      m_xmlPending(other.m_xmlPending),
      m_database(other.m_database),
      m_descr(other.m_descr),
      m_initialized(other.m_initialized),
      m_name(other.m_name) {
    // The item copy listed other's row container; this copy's child is its
    // own.
    ReleaseChildren();
    m_rows = new DbRows(this, m_descr);
    try {
        *m_rows = *other.m_rows;
    } catch (...) {
        delete m_rows;
        throw;
    }
}

DbTableData& DbTableData::operator=(const DbTableData& other) {
    if (this != &other) {
        CopyStamps(*this, other);
        *m_rows = *other.m_rows;
        m_xmlSource = other.m_xmlSource;
        m_xmlPending = other.m_xmlPending;
        m_descr = other.m_descr;
        m_initialized = other.m_initialized;
    }
    return *this;
}

DbTableData::~DbTableData() {
    delete m_rows;
}

DbTableOwner* DbTableData::GetOwner() const {
    return m_database;
}

void DbTableData::Log(const CString& message) const {
    if (DbTableOwner* owner = GetOwner()) {
        owner->Log(message);
    }
}

bool DbTableData::Save(pugi::xml_document& /*doc*/, pugi::xml_node parent) {
    DbRows* rows = GetRows();
    bool saved = rows != nullptr;
    if (saved) {
        korvan::RowXml xml(m_descr);
        CString error;
        const uint64_t count = rows->GetRowsCount();
        for (uint64_t i = 0; i < count && saved; ++i) {
            saved = xml.Save(*rows->GetRow(static_cast<int>(i)), parent, error);
        }
        if (!error.IsEmpty()) {
            Log(error);
        }
    }
    if (!saved) {
        Log(L"Error on DbTableData::Save(IDispatch* doc, IDispatch* element)");
    }
    return saved;
}

bool DbTableData::Load(pugi::xml_node element) {
    const double start = korvan::MonotonicSeconds();
    uint64_t count = 0;
    for (const pugi::xml_node child : element.children()) {
        count += child.type() == pugi::node_element ? 1 : 0;
    }
    uint64_t next = m_rows->AddRows(count, false);
    m_initialized = true;
    korvan::RowXml xml(m_descr);
    for (const pugi::xml_node child : element.children()) {
        if (child.type() == pugi::node_element) {
            xml.Load(*m_rows->GetRow(static_cast<int>(next++)), child);
        }
    }
    Log(StringBuilder(L"Table '%s' [%d %s] data parsed in: %.4f [s]", m_name.GetString(),
                      static_cast<int>(count), count == 1 ? L"row" : L"rows",
                      korvan::MonotonicSeconds() - start));
    return true;
}

void DbTableData::Clear() {
    m_xmlPending = false;
    DropXmlText();
    delete m_rows;
    m_rows = new DbRows(this, m_descr);
    SetChanged();
}

void DbTableData::SetXmlSource(const CString& xml) {
    SetXmlText(xml.ToUtf8());
}

void DbTableData::SetXmlText(std::string utf8) {
    m_xmlSource = std::move(utf8);
    m_xmlPending = true;
    m_initialized = true;
}

void DbTableData::DropXmlText() {
    std::string().swap(m_xmlSource);
}

uint64_t DbTableData::GetSize() const {
    return DbItem::GetSize() + 26;
}

uint64_t DbTableData::AddRow() {
    return AddRows(1);
}

uint64_t DbTableData::AddRows(uint64_t count) {
    ParseXmlData();
    const uint64_t first = m_rows->AddRows(count, true);
    m_initialized = true;
    SetChanged();
    return first;
}

void DbTableData::DeleteRow(uint64_t i) {
    if (i < size()) {
        m_rows->DeleteRow(i);
        SetChanged();
    }
}

void DbTableData::Update(uint64_t field, bool insert) {
    m_rows->Update(field, insert);
}

void DbTableData::Bind(DbRows* source, std::vector<uint64_t>& order) {
    ParseXmlData();
    m_rows->Bind(source, order);
    m_initialized = true;
}

DbRows* DbTableData::GetRows() {
    return ParseXmlData() ? m_rows : nullptr;
}

DbTableRow* DbTableData::GetRow(int i) {
    return ParseXmlData() ? m_rows->GetRow(i) : nullptr;
}

DbTableRow* DbTableData::operator[](uint64_t i) {
    return GetRow(static_cast<int>(i));
}

uint64_t DbTableData::size() {
    return ParseXmlData() ? m_rows->GetRowsCount() : 0;
}

DbTableRow::eCmpResult DbTableData::SpatialIndex(DbTableDescr::DbIndex* index,
                                                 const CComVariant* keys, int count,
                                                 uint64_t& pos) {
    DbTableRow::eCmpResult result = DbTableRow::cmpEqual;
    const DbRows* rows = GetRows();
    if (!rows) {
        pos = 0;
        return result;
    }
    const std::vector<uint64_t>& fields = index->m_fieldPositions;
    const std::vector<uint64_t>& order = index->m_rowOrder;
    if (order.empty()) {
        pos = korvan::BinarySearch(
            rows->GetRowsCount(),
            [&](size_t i) {
                return DbTableRow::CompareEx(fields, keys, count,
                                             *rows->GetRow(static_cast<int>(i)));
            },
            result);
    } else {
        pos = korvan::BinarySearch(
            order.size(),
            [&](size_t i) {
                return DbTableRow::CompareEx(fields, keys, count,
                                             *rows->GetRow(static_cast<int>(order[i])));
            },
            result);
    }
    return result;
}

namespace {

// Where in sorted (row positions in rows) a row that compare weighs against
// each row belongs; 0 without rows.
template <class Compare>
uint64_t SearchSorted(const DbRows* rows, const std::vector<uint64_t>& sorted, Compare compare) {
    if (!rows) {
        return 0;
    }
    DbTableRow::eCmpResult result;
    return korvan::BinarySearch(
        sorted.size(),
        [&](size_t i) { return compare(*rows->GetRow(static_cast<int>(sorted[i]))); }, result);
}

}  // namespace

uint64_t DbTableData::SpatialIndex(const std::vector<uint64_t>& sorted,
                                   const std::vector<uint64_t>& fields, const DbTableRow& row) {
    return SearchSorted(GetRows(), sorted,
                        [&](const DbTableRow& other) { return row.CompareEx(fields, other); });
}

uint64_t DbTableData::SpatialIndex(const std::vector<uint64_t>& sorted,
                                   const std::vector<uint64_t>& fields,
                                   const std::vector<CComVariant>& keys) {
    return SearchSorted(GetRows(), sorted, [&](const DbTableRow& other) {
        return DbTableRow::CompareEx(fields, keys, other);
    });
}

bool DbTableData::ParseXmlData() {
    if (!m_xmlPending) {
        return true;
    }
    DbTableOwner* owner = GetOwner();
    if (owner == nullptr) {
        return false;
    }
    // Not pending while parsing: loading the rows may reach the accessors
    // again. A failure leaves the text pending and no row of it behind.
    m_xmlPending = false;
    const uint64_t before = m_rows->GetRowsCount();
    try {
        korvan::ReadGuard guard(owner, [&] {
            m_xmlPending = true;
            DropRowsFrom(before);
        });
        korvan::TableXml(*owner).LoadRows(m_xmlSource, *this);
    } catch (DbException* e) {
        // The accessors report a refused text only by giving no rows, so the
        // reason goes to the log.
        owner->Log(e->Message());
        e->Delete();
        return false;
    } catch (CException* e) {
        e->Delete();
        return false;
    }
    DropXmlText();
    Sync();
    return true;
}

// Runs while an exception passes, so it must not allocate: the rows go one
// by one (each removal walks the container, which only a load cut short by
// lack of memory ever pays).
void DbTableData::DropRowsFrom(uint64_t count) {
    for (uint64_t i = m_rows->GetRowsCount(); i > count; --i) {
        m_rows->DeleteRow(i - 1);
    }
}
