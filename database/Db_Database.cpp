// DbDatabase: construction, copies, the registry of tables and queries, the
// lookups and the message log.
#include <korvan/database.h>

#include <cstdio>
#include <iterator>

LONG DbDatabase::m_openDbCount = 0;
LONG DbDatabase::m_queriesCount = 0;

namespace {

// Registry keys: names are matched without regard to case.
CString KeyOf(const CString& name) {
    CString key(name);
    key.MakeLower();
    return key;
}

const wchar_t* const kHeaderFields[] = {L"category",     L"symbol",     L"title",
                                        L"catalog_type", L"units_type", L"version"};
const wchar_t* const kPropertiesFields[] = {L"units", L"unit_long", L"unit_sect", L"unit_weight",
                                            L"material"};

}  // namespace

DbDatabase::DbDatabase(const CString& file)
    : DbItem(nullptr), m_headerPending(true), m_structurePending(true), m_readFailed(false) {
    m_source = std::make_unique<DbSource>(this, file);
    ++m_openDbCount;
}

DbDatabase::DbDatabase()
    : DbItem(nullptr), m_headerPending(true), m_structurePending(true), m_readFailed(false) {
    m_source = std::make_unique<DbSource>(this);
    ++m_openDbCount;
}

DbDatabase::DbDatabase(const DbDatabase& other)
    : DbItem(nullptr), m_headerPending(false), m_structurePending(false), m_readFailed(false) {
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
    if (!m_readFailed && IsChanged() && (m_source->IsXmlBased() || m_source->IsMdbBased())) {
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
// Registry.

DbTableInfo* DbDatabase::Create(const CString& name, DbTableInfo::eType type, DbTableDescr* descr,
                                DbTableData* data, const CString& sql, DbTableInfo* related) {
    const CString key = KeyOf(name);
    if (m_registry.count(key) != 0) {
        Log(StringBuilder(L"Table '%s' already in database, cannot add another '%s' table",
                          name.GetString(), name.GetString()));
        return nullptr;
    }
    if (descr == nullptr) {
        descr = new DbTableDescr(this);
    }
    if (data == nullptr) {
        data = new DbTableData(this, descr);
    }
    const uint64_t index = m_descriptors.size();
    m_descriptors.emplace_back(name, descr);
    m_data.emplace_back(name, data);
    DbTableInfo& entry =
        m_registry.emplace(key, DbTableInfo(name, type, index, sql, descr, data, related))
            .first->second;
    Log(StringBuilder(L"Table '%s' created, index = %d, type = %s, sql = '%s'", name.GetString(),
                      static_cast<int>(index), type == DbTableInfo::TABLE ? L"TABLE" : L"QUERY",
                      sql.GetString()));
    return &entry;
}

DbTableInfo* DbDatabase::Create(const CString& name, DbTableInfo::eType type, const CString& sql,
                                DbTableInfo* related) {
    return Create(name, type, nullptr, nullptr, sql, related);
}

DbTableInfo* DbDatabase::CreateTable(CString name, DbTableInfo::eType type, const CString& sql,
                                     DbTableInfo* related) {
    ReadStructure();
    return Create(name, type, sql, related);
}

DbTableInfo* DbDatabase::CreateTable(DbTableInfo* info) {
    ReadStructure();
    if (info == nullptr) {
        return nullptr;
    }
    return Create(info->name, info->type, info->descr, info->data, info->sql, info->related);
}

void DbDatabase::DeleteTable(const CString& name) {
    DbTableInfo* doomed = GetTableInfo(name);
    if (doomed == nullptr) {
        return;
    }
    // A table of a sequential file that was never read still owns the next
    // data element of the file; read it so that the tables behind it keep
    // their own.
    if (doomed->type == DbTableInfo::TABLE && !doomed->data->IsInitialized()) {
        GetTableData(doomed->index);
    }
    // Every query computed from the entry, directly or through other queries,
    // goes with it. They are collected first and deleted from the last
    // position back: a query always stands behind the entry it was computed
    // from, so no remaining entry ever points at a deleted one.
    std::vector<DbTableInfo*> dependents;
    for (DbTableInfo* entry : EntriesInOrder()) {
        if (entry->IsRelatedWith(doomed)) {
            dependents.push_back(entry);
        }
    }
    for (auto it = dependents.rbegin(); it != dependents.rend(); ++it) {
        DeleteTableInfo(*it);
    }
    DeleteTableInfo(doomed);
}

void DbDatabase::DeleteTableInfo(DbTableInfo* info) {
    const uint64_t index = info->index;
    delete info->data;
    delete info->descr;
    m_descriptors.erase(m_descriptors.begin() + static_cast<ptrdiff_t>(index));
    m_data.erase(m_data.begin() + static_cast<ptrdiff_t>(index));
    for (auto& [key, entry] : m_registry) {
        if (entry.index > index) {
            --entry.index;
        }
        if (entry.related == info) {
            entry.related = nullptr;
        }
    }
    m_registry.erase(KeyOf(info->name));
}

bool DbDatabase::RenameTable(CString from, CString to) {
    if (!IsTable(from)) {
        return false;
    }
    DbTableInfo* entry = Lookup(from);
    DbTableDescr* descr = GetTableDescr(from);
    DbTableData* data = GetTableData(from);
    const CString oldName = entry->name;
    const CString newKey = KeyOf(to);
    if (newKey != KeyOf(from) && m_registry.count(newKey) != 0) {
        Log(StringBuilder(L"Table '%s' not renamed: '%s' is already in database",
                          oldName.GetString(), to.GetString()));
        return false;
    }
    // Queries point at registry entries, so the entry itself moves to the new
    // key instead of being copied.
    auto node = m_registry.extract(KeyOf(from));
    node.key() = newKey;
    node.mapped().name = to;
    m_registry.insert(std::move(node));
    m_descriptors[entry->index].first = to;
    m_data[entry->index].first = to;
    Log(StringBuilder(L"Table '%s' renamed to '%s'", oldName.GetString(), to.GetString()));
    descr->SetChanged();
    data->SetChanged();
    return true;
}

void DbDatabase::Clear() {
    // Every descriptor and data object goes, so the child list is dropped at
    // once; query answers (behind their sources) go before the rows they may
    // be bound to.
    ReleaseChildren();
    for (auto it = m_data.rbegin(); it != m_data.rend(); ++it) {
        delete it->second;
    }
    for (auto it = m_descriptors.rbegin(); it != m_descriptors.rend(); ++it) {
        delete it->second;
    }
    m_data.clear();
    m_descriptors.clear();
    m_registry.clear();
}

void DbDatabase::ClearTable(const CString& name) {
    DbTableInfo* entry = GetTableInfo(name);
    if (entry != nullptr) {
        entry->Clear();
    }
}

void DbDatabase::Update(const DbTableDescr* descr, size_t field, bool insert) {
    for (auto& [key, entry] : m_registry) {
        if (entry.descr == descr && entry.data != nullptr) {
            entry.data->Update(field, insert);
        }
    }
}

// ---------------------------------------------------------------------------
// Lookups.

DbTableInfo* DbDatabase::Lookup(const CString& name) {
    const auto it = m_registry.find(KeyOf(name));
    return it == m_registry.end() ? nullptr : &it->second;
}

std::vector<DbTableInfo*> DbDatabase::EntriesInOrder() {
    std::vector<DbTableInfo*> entries(m_descriptors.size());
    for (auto& [key, entry] : m_registry) {
        entries[entry.index] = &entry;
    }
    return entries;
}

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

CString DbDatabase::GetErrorLog() const {
    CString text;
    for (size_t i = 0; i < m_errorLog.size(); ++i) {
        if (i > 0) {
            text += L"\r\n";
        }
        text += m_errorLog[i];
    }
    return text;
}

void DbDatabase::GetError(std::vector<CString>& messages) {
    messages.insert(messages.end(), m_errorLog.begin(), m_errorLog.end());
    m_errorLog.clear();
}

void DbDatabase::ShowErrorLog() const {
    std::fprintf(stderr, "Korvan\n%s\n", GetErrorLog().ToUtf8().c_str());
    std::fflush(stderr);
}
