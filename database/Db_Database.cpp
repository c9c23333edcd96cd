// DbDatabase: construction, copies, the header tables, the lookups and the
// message log.
#include <korvan/database.h>

#include "platform/format.h"
#include "platform/message_box.h"

#include <iterator>

LONG DbDatabase::m_openDbCount = 0;
LONG DbDatabase::m_queriesCount = 0;

namespace {

const wchar_t* const kHeaderFields[] = {L"category",     L"symbol",     L"title",
                                        L"catalog_type", L"units_type", L"version"};
const wchar_t* const kPropertiesFields[] = {L"units", L"unit_long", L"unit_sect", L"unit_weight",
                                            L"material"};

}  // namespace

DbDatabase::DbDatabase(const CString& file)
    : DbItem(nullptr),
      m_headerPending(true),
      m_structurePending(true),
      m_readFailed(false),
      m_firstUnread(0) {
    m_source = std::make_unique<DbSource>(this, file);
    ++m_openDbCount;
}

DbDatabase::DbDatabase()
    : DbItem(nullptr),
      m_headerPending(true),
      m_structurePending(true),
      m_readFailed(false),
      m_firstUnread(0) {
    m_source = std::make_unique<DbSource>(this);
    ++m_openDbCount;
}

DbDatabase::DbDatabase(const DbDatabase& other)
    : DbItem(nullptr),
      m_headerPending(false),
      m_structurePending(false),
      m_readFailed(false),
      m_firstUnread(0) {
    m_source = std::make_unique<DbSource>(this);
    try {
        Assign(other);
    } catch (...) {
        Clear();
        throw;
    }
    ++m_openDbCount;
}

DbDatabase& DbDatabase::operator=(const DbDatabase& other) {
    if (this != &other) {
        Assign(other);
    }
    return *this;
}

DbDatabase::~DbDatabase() {
    // Save itself refuses to write over a file whose reading failed.
    if (IsChanged() && (m_source->IsXmlBased() || m_source->IsMdbBased())) {
        // Nothing may leave a destructor: whatever the save throws ends here,
        // foreign exceptions too (the file stays as it was).
        try {
            Save(m_source->GetFile());
        } catch (CException* e) {
            e->Delete();
        } catch (...) {
        }
    }
    m_source.reset();
    Clear();
    --m_openDbCount;
}

void DbDatabase::Assign(const DbDatabase& other) {
    // Reading is not a change, so loading the original's tables leaves it
    // logically as it was.
    DbDatabase& original = const_cast<DbDatabase&>(other);
    original.LoadTables();
    const std::vector<DbTableInfo*> entries = original.EntriesInOrder();

    Clear();
    *m_source = *other.m_source;
    m_headerPending = false;
    m_structurePending = false;
    m_readFailed = other.m_readFailed;

    std::vector<DbTableInfo*> copies;
    for (const DbTableInfo* entry : entries) {
        auto* descr = new DbTableDescr(this);
        const DbTableDescr& fields = *entry->descr;
        for (size_t f = 0; f < fields.GetFieldCount(); ++f) {
            descr->CreateField(fields.GetField(static_cast<int>(f)));
        }
        auto* data = new DbTableData(this, descr);
        DbRows* rows = entry->data->GetRows();
        // A query answer bound to its source's rows is bound again below, to
        // the copied source.
        if (rows != nullptr && !(rows->IsBinded() && entry->related != nullptr)) {
            const uint64_t count = rows->GetRowsCount();
            const uint64_t first = count > 0 ? data->AddRows(count) : 0;
            for (uint64_t i = 0; i < count; ++i) {
                const DbTableRow& from = *rows->GetRow(static_cast<int>(i));
                DbTableRow& to = *data->GetRow(static_cast<int>(first + i));
                for (size_t f = 0; f < from.GetFieldCount() && f < to.GetFieldCount(); ++f) {
                    to[f] = from[f];
                }
            }
        }
        copies.push_back(Create(entry->name, entry->type, descr, data, entry->sql, nullptr));
    }
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i]->related != nullptr) {
            copies[i]->related = copies[entries[i]->related->index];
        }
        DbRows* rows = entries[i]->data->GetRows();
        if (rows != nullptr && rows->IsBinded() && copies[i]->related != nullptr) {
            std::vector<uint64_t> order = rows->GetOrder();
            copies[i]->data->Bind(copies[i]->related->data->GetRows(), order);
        }
    }
    m_errorLog = other.m_errorLog;
    m_importLog = other.m_importLog;

    if (!other.IsChanged()) {
        Sync();
    } else if (!IsChanged()) {
        SetChanged();
    }
    // A query stays in step with its copied source exactly when the original
    // was in step with the original source.
    for (size_t i = 0; i < entries.size(); ++i) {
        const DbTableInfo* related = entries[i]->related;
        if (related != nullptr) {
            const LONG now = copies[i]->related->data->GetChangeId();
            const bool inStep = entries[i]->syncId == related->data->GetChangeId();
            copies[i]->syncId = inStep ? now : now - 1;
        }
    }
}

uint64_t DbDatabase::GetSize() const {
    return DbItem::GetSize() + 8;
}

bool DbDatabase::Create(CString file) {
    m_source->Create(file);
    m_readFailed = false;
    CreateHeaderTables();
    m_headerPending = false;
    m_structurePending = false;
    return true;
}

void DbDatabase::CreateHeaderTables() {
    const struct {
        const wchar_t* name;
        const wchar_t* const* fields;
        size_t count;
    } tables[] = {{L"Header", kHeaderFields, std::size(kHeaderFields)},
                  {L"Properties", kPropertiesFields, std::size(kPropertiesFields)}};
    for (const auto& table : tables) {
        if (Lookup(table.name) != nullptr) {
            continue;
        }
        DbTableInfo* entry = Create(table.name, DbTableInfo::TABLE, CString(), nullptr);
        for (size_t f = 0; f < table.count; ++f) {
            entry->descr->CreateField(table.fields[f], false, DbFieldDescr::ftText);
        }
        entry->data->AddRow();
    }
}

// ---------------------------------------------------------------------------
// Lookups.

bool DbDatabase::IsTable(const CString& name) {
    return GetTableInfo(name) != nullptr;
}

DbTableInfo* DbDatabase::GetTableInfo(CString name) {
    ReadStructure();
    return Lookup(name);
}

bool DbDatabase::GetTableInfo(CString name, DbTableInfo& info) {
    const DbTableInfo* entry = GetTableInfo(name);
    if (entry == nullptr) {
        return false;
    }
    info = *entry;
    return true;
}

DbTableInfo* DbDatabase::FindTableInfo(const CString& name) {
    return GetTableInfo(name);
}

// Deliberately without reading: table data asks this while it is being read.
DbTableInfo* DbDatabase::FindTableInfo(const DbTableData* data) {
    for (auto& [key, entry] : m_registry) {
        if (entry.data == data) {
            return &entry;
        }
    }
    return nullptr;
}

DbTableData* DbDatabase::FindTableData(const CString& name) {
    const DbTableInfo* entry = GetTableInfo(name);
    return entry == nullptr ? nullptr : entry->data;
}

DbTableData* DbDatabase::GetTableData(const CString& name) {
    const DbTableInfo* entry = GetTableInfo(name);
    return entry == nullptr ? nullptr : GetTableData(entry->index);
}

DbTableData* DbDatabase::GetTableData(size_t index) {
    ReadStructure();
    if (index >= m_data.size()) {
        return nullptr;
    }
    while (!m_data[index].second->IsInitialized() && ReadNextTable() != nullptr) {
    }
    DbTableInfo* entry = Lookup(m_data[index].first);
    if (entry->type == DbTableInfo::QUERY && !entry->IsQuerySync()) {
        CString name = entry->name;
        Query(entry->sql, name);
    }
    return entry->data;
}

DbTableDescr* DbDatabase::GetTableDescr(const CString& name) {
    const DbTableInfo* entry = GetTableInfo(name);
    return entry == nullptr ? nullptr : entry->descr;
}

DbTableDescr* DbDatabase::GetTableDescr(size_t index) {
    ReadStructure();
    return index < m_descriptors.size() ? m_descriptors[index].second : nullptr;
}

CString DbDatabase::GetTableName(size_t index) {
    ReadStructure();
    return index < m_descriptors.size() ? m_descriptors[index].first : CString();
}

int DbDatabase::GetTablesCount() {
    ReadStructure();
    return static_cast<int>(m_descriptors.size());
}

DbTableDescr* DbDatabase::GetHeaderDescr() {
    return GetTableDescr(CString(L"Header"));
}

DbTableData* DbDatabase::GetHeaderData() {
    return GetTableData(CString(L"Header"));
}

CString DbDatabase::GetName() const {
    return m_source->GetFile();
}

bool DbDatabase::IsOpen() const {
    return m_source->IsValid();
}

bool DbDatabase::CanUpdate() const {
    return !m_source->IsReadOnly();
}

// ---------------------------------------------------------------------------
// The message log.

void DbDatabase::Log(const CString& message) {
    m_errorLog.push_back(message);
}

void DbDatabase::SetReadFailed() {
    m_readFailed = true;
}

CString DbDatabase::GetErrorLog() const {
    return korvan::Join(m_errorLog, L"\r\n");
}

void DbDatabase::GetError(std::vector<CString>& messages) {
    messages.insert(messages.end(), m_errorLog.begin(), m_errorLog.end());
    m_errorLog.clear();
}

void DbDatabase::ShowErrorLog() const {
    korvan::ShowMessageBox(L"Korvan", GetErrorLog().str());
}
