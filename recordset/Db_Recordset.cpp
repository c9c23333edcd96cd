// DbRecordset: opening and closing, the cursor and its moves, bookmarks,
// current indexes, and the transfer of rows to and from bound members.
#include <korvan/recordset.h>

#include "model/Db_Exception.h"

#include <algorithm>
#include <climits>
#include <numeric>

#include "query/Db_InsertionOrder.h"

uint64_t DbRecordset::bookmarkid = 0;

namespace {

LONG ClampPosition(int64_t position) {
    return static_cast<LONG>(std::clamp<int64_t>(position, INT32_MIN, INT32_MAX));
}

}  // namespace

DbRecordset::DbRecordset(DbDatabase* db)
    : m_database(db),
      m_ownsDatabase(false),
      m_tableData(nullptr),
      m_tableDescr(nullptr),
      m_cursor(0),
      m_lastModified(0),
      m_currentIndex(nullptr),
      m_editMode(0) {}

DbRecordset::DbRecordset(const DbRecordset& other) : DbRecordset(nullptr) {
    CopyState(other);
}

DbRecordset& DbRecordset::operator=(const DbRecordset& other) {
    if (this != &other) {
        CopyState(other);
    }
    return *this;
}

DbRecordset::~DbRecordset() = default;

void DbRecordset::CopyState(const DbRecordset& other) {
    // Bindings are addresses of the other object's members: never copied.
    m_database = other.m_database;
    m_ownsDatabase = other.m_ownsDatabase;
    m_ownedDatabase = other.m_ownedDatabase;
    m_tableName = other.m_tableName;
    m_tableData = other.m_tableData;
    m_tableDescr = other.m_tableDescr;
    m_cursor = other.m_cursor;
    m_lastModified = other.m_lastModified;
    m_currentIndex = other.m_currentIndex;
    m_currentIndexKey = other.m_currentIndexKey;
    m_bookmarks = other.m_bookmarks;
    m_pendingValues = other.m_pendingValues;
    m_editMode = other.m_editMode;
}

// ---------------------------------------------------------------------------
// Opening and closing.

bool DbRecordset::Open() {
    return Open(GetDefaultSQL());
}

bool DbRecordset::Open(CString sql) {
    if (m_database == nullptr) {
        m_ownedDatabase = std::make_shared<DbDatabase>();
        m_database = m_ownedDatabase.get();
        m_ownsDatabase = true;
        m_database->GetSource()->SetFile(GetDefaultDBName(), false);
    }
    CString name;
    if (!m_database->Query(sql, name)) {
        return false;
    }
    DbTableData* data = m_database->GetTableData(name);
    DbTableDescr* descr = m_database->GetTableDescr(name);
    if (data == nullptr || descr == nullptr) {
        return false;
    }
    m_tableName = name;
    m_tableData = data;
    m_tableDescr = descr;
    InitFieldExchange();
    m_cursor = 0;
    ReadTableRow(0);
    return true;
}

bool DbRecordset::Open(DbTableDef* def) {
    if (def == nullptr) {
        KORVAN_THROW("Db_Recordset", L"tableDef object not defined");
    }
    if (!def->IsOpen()) {
        return false;
    }
    m_database = def->GetDatabase();
    return Open(def->GetTableName());
}

bool DbRecordset::Open(DbQueryDef* def) {
    if (def == nullptr) {
        KORVAN_THROW("Db_Recordset", L"queryDef object not defined");
    }
    if (!def->IsOpen()) {
        return false;
    }
    m_database = def->GetDatabase();
    return Open(def->GetSQL());
}

void DbRecordset::Close() {
    m_currentIndex = nullptr;
    m_currentIndexKey.Empty();
    m_tableName.Empty();
    m_tableData = nullptr;
    m_tableDescr = nullptr;
    // The database Open created goes once no copy of this recordset holds it.
    m_ownedDatabase.reset();
    m_database = nullptr;
    m_bindings.clear();
    m_pendingValues.clear();
    m_bookmarks.clear();
}

void DbRecordset::SetDatabase(DbDatabase* db) {
    m_bindings.clear();
    m_bookmarks.clear();
    m_pendingValues.clear();
    m_database = db;
    m_tableName.Empty();
    m_tableData = nullptr;
    m_tableDescr = nullptr;
    m_cursor = 0;
    m_currentIndex = nullptr;
    m_currentIndexKey.Empty();
    m_editMode = 0;
}

bool DbRecordset::IsOpen() {
    return m_tableData != nullptr && m_tableDescr != nullptr;
}

bool DbRecordset::IsDeleted() {
    return false;
}

void DbRecordset::Requery() {}

CString DbRecordset::GetDefaultDBName() {
    return CString();
}

CString DbRecordset::GetDefaultSQL() {
    return CString();
}

void DbRecordset::InitFieldExchange() {}

// ---------------------------------------------------------------------------
// The cursor.

bool DbRecordset::IsBOF() {
    return m_cursor < 0;
}

bool DbRecordset::IsEOF() {
    return m_tableData == nullptr || m_cursor >= static_cast<int64_t>(m_tableData->size());
}

LONG DbRecordset::GetRecordCount() {
    return m_tableData != nullptr ? static_cast<LONG>(m_tableData->size()) : 0;
}

uint64_t DbRecordset::GetFieldCount() {
    return m_tableDescr != nullptr ? m_tableDescr->GetFieldCount() : 0;
}

LONG DbRecordset::GetAbsolutePosition() {
    return m_cursor;
}

bool DbRecordset::SetAbsolutePosition(LONG n) {
    m_cursor = n;
    return ReadTableRow(n);
}

DbTableRow* DbRecordset::GetCurrentRow() {
    return RowAt(m_cursor);
}

DbFieldDescr* DbRecordset::GetFieldInfo(uint64_t i) {
    if (m_tableDescr == nullptr || !m_tableDescr->IsField(i)) {
        return nullptr;
    }
    return &(*m_tableDescr)[i];
}

DbFieldDescr* DbRecordset::GetFieldInfo(CString name) {
    if (m_tableDescr == nullptr || !m_tableDescr->IsField(name)) {
        return nullptr;
    }
    return &m_tableDescr->GetField(name);
}

void DbRecordset::SetCursor(int64_t position) {
    m_cursor = ClampPosition(position);
}

bool DbRecordset::Move(long rows) {
    CancelUpdate();
    // A move of more rows than a cursor can count lands where the largest
    // such move would, and the sum cannot overflow.
    const int64_t limit = int64_t{1} << 32;
    SetCursor(static_cast<int64_t>(m_cursor) + std::clamp<int64_t>(rows, -limit, limit));
    return ReadTableRow(m_cursor);
}

bool DbRecordset::MoveFirst() {
    CancelUpdate();
    m_cursor = 0;
    return ReadTableRow(m_cursor);
}

bool DbRecordset::MoveNext() {
    CancelUpdate();
    SetCursor(static_cast<int64_t>(m_cursor) + 1);
    return ReadTableRow(m_cursor);
}

bool DbRecordset::MoveLast() {
    CancelUpdate();
    const LONG rows = GetRecordCount();
    if (rows == 0) {
        return false;
    }
    m_cursor = rows - 1;
    return ReadTableRow(m_cursor);
}

bool DbRecordset::MovePrev() {
    CancelUpdate();
    if (m_cursor < 0) {
        return false;
    }
    --m_cursor;
    if (m_cursor < 0) {
        return false;
    }
    return ReadTableRow(m_cursor);
}

// ---------------------------------------------------------------------------
// Bookmarks.

bool DbRecordset::IsBookmark(uint64_t id) {
    return m_bookmarks.count(id) != 0;
}

uint64_t DbRecordset::GetBookmark() {
    CancelUpdate();
    ++bookmarkid;
    // Deliberately one ahead of the counter: ids 0 and 1 never come from here.
    const uint64_t id = bookmarkid + 1;
    m_bookmarks[id] = m_cursor;
    return id;
}

bool DbRecordset::SetBookmark(uint64_t id) {
    CancelUpdate();
    const auto it = m_bookmarks.find(id);
    if (it == m_bookmarks.end()) {
        return false;
    }
    m_cursor = it->second;
    ReadTableRow(m_cursor);
    return true;
}

uint64_t DbRecordset::GetLastModifiedBookmark() {
    CancelUpdate();
    m_bookmarks[0] = m_lastModified;
    return 0;
}

// ---------------------------------------------------------------------------
// Current indexes.

const DbTableDescr::DbIndex* DbRecordset::ActiveIndex() {
    // An index of the table's descriptor dies with it (a query answer that
    // is computed again clears its descriptor); forget it then.
    if (m_currentIndex != nullptr && !m_currentIndexKey.IsEmpty() && m_tableDescr != nullptr) {
        const auto& indexes = m_tableDescr->GetIndexes();
        const auto it = indexes.find(m_currentIndexKey);
        if (it == indexes.end() || it->second != m_currentIndex) {
            m_currentIndex = nullptr;
            m_currentIndexKey.Empty();
        }
    }
    return m_currentIndex;
}

void DbRecordset::MakeCurrent(const DbTableDescr::DbIndex* index) {
    m_currentIndex = index;
    m_currentIndexKey.Empty();
    if (index != nullptr && m_tableDescr != nullptr) {
        for (const auto& [key, own] : m_tableDescr->GetIndexes()) {
            if (own == index) {
                m_currentIndexKey = key;
            }
        }
    }
}

bool DbRecordset::SetCurrentIndex(CString name) {
    if (m_tableDescr == nullptr) {
        return false;
    }
    const DbTableDescr::DbIndex* index = m_tableDescr->FindIndex(name);
    if (index != nullptr && index == ActiveIndex()) {
        return true;
    }
    // Made current first, so that the next call builds its row order.
    MakeCurrent(index);
    return SetCurrentIndex(index);
}

bool DbRecordset::SetCurrentIndex(const DbTableDescr::DbIndex* index) {
    if (!IsOpen()) {
        return false;
    }
    if (index != ActiveIndex()) {
        if (index == nullptr || !index->m_rowOrder.empty()) {
            MakeCurrent(index);
            return true;
        }
    }
    MakeCurrent(index);
    if (!m_tableDescr->CheckIndexFields(index) || !BuildRowOrder(index)) {
        MakeCurrent(nullptr);
        return false;
    }
    return true;
}

bool DbRecordset::BuildRowOrder(const DbTableDescr::DbIndex* index) {
    std::vector<uint64_t> fields;
    for (const CString& name : index->m_fieldNames) {
        fields.push_back(static_cast<uint64_t>(m_tableDescr->GetFieldIndex(name)));
    }
    DbRows* rows = m_tableData->GetRows();
    if (rows == nullptr) {
        return false;
    }
    std::vector<uint64_t> sequence(rows->GetRowsCount());
    std::iota(sequence.begin(), sequence.end(), 0);
    // A query answer whose source lost a field has rows without that cell.
    const uint64_t needed = fields.empty() ? 0 : *std::max_element(fields.begin(), fields.end());
    for (const uint64_t r : sequence) {
        if (!fields.empty() && rows->GetRow(static_cast<int>(r))->GetFieldCount() <= needed) {
            return false;
        }
    }
    // The index belongs to the descriptor, which hands it out for reading
    // only; its row order is what this call is for.
    const_cast<DbTableDescr::DbIndex*>(index)->m_rowOrder =
        korvan::InsertionOrder(*rows, fields, sequence);
    return true;
}

CString DbRecordset::GetCurrentIndex() {
    const DbTableDescr::DbIndex* index = ActiveIndex();
    return index != nullptr ? index->m_name : CString();
}

int64_t DbRecordset::RemapRowIndex(int64_t position) {
    return RemapRowIndex(position, ActiveIndex());
}

int64_t DbRecordset::RemapRowIndex(int64_t position, const DbTableDescr::DbIndex* index) {
    if (index == nullptr) {
        return position;
    }
    const std::vector<uint64_t>& order = index->m_rowOrder;
    if (position < 0 || static_cast<uint64_t>(position) >= order.size()) {
        return -1;
    }
    return static_cast<int64_t>(order[static_cast<size_t>(position)]);
}

// ---------------------------------------------------------------------------
// Rows.

DbTableRow* DbRecordset::RowAt(int64_t position) {
    return RowAt(position, ActiveIndex());
}

DbTableRow* DbRecordset::RowAt(int64_t position, const DbTableDescr::DbIndex* index) {
    if (m_tableData == nullptr) {
        return nullptr;
    }
    const int64_t row = RemapRowIndex(position, index);
    // An index built before rows were deleted may name rows that are gone.
    if (row < 0 || row >= static_cast<int64_t>(m_tableData->size())) {
        return nullptr;
    }
    return m_tableData->GetRow(static_cast<int>(row));
}

int DbRecordset::GetFieldIndex(const CString& name) {
    DbTableDescr* descr = m_database != nullptr ? m_database->GetTableDescr(m_tableName) : nullptr;
    return descr != nullptr ? descr->GetFieldIndex(name) : -1;
}

DbTableRow* DbRecordset::TransferRow(int64_t position) {
    return IsEOF() || IsBOF() ? nullptr : RowAt(position);
}

namespace {

// Runs a transfer between a row and the members; any failure on the way
// gives false, whatever was transferred before it stays.
template <typename Transfer>
bool Guarded(Transfer transfer) {
    try {
        return transfer();
    } catch (CException* e) {
        e->Delete();
        return false;
    } catch (...) {
        return false;
    }
}

}  // namespace

bool DbRecordset::ReadTableRow(int64_t position) {
    DbTableRow* row = TransferRow(position);
    return row != nullptr && Guarded([&] {
               for (const auto& [member, binding] : m_bindings) {
                   if (binding.field >= row->GetFieldCount()) {
                       return false;
                   }
                   binding.reader(row->GetField(binding.field).GetValue(), member);
               }
               return true;
           });
}

bool DbRecordset::WriteTableRow(int64_t position) {
    DbTableRow* row = TransferRow(position);
    return row != nullptr && Guarded([&] {
               for (const auto& [member, binding] : m_bindings) {
                   if (binding.field >= row->GetFieldCount()) {
                       return false;
                   }
                   DbFieldValue& cell = row->GetField(binding.field);
                   binding.writer(cell.GetVariant(), member);
                   cell.SetChanged();
               }
               // A plain copy: the value keeps its own type, whatever the
               // field's.
               for (const auto& [field, value] : m_pendingValues) {
                   if (field >= row->GetFieldCount()) {
                       return false;
                   }
                   DbFieldValue& cell = row->GetField(field);
                   cell.GetVariant() = value;
                   cell.SetChanged();
               }
               return true;
           });
}
