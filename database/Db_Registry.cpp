// DbDatabase: the registry of tables and queries. Entries live in a map keyed
// by the lower-cased name; their positions index the descriptor and data
// vectors, in creation order and without gaps.
#include <korvan/database.h>

#include "model/Db_NameKey.h"

#include <algorithm>

using korvan::NameKey;

DbTableInfo* DbDatabase::Create(const CString& name, DbTableInfo::eType type, DbTableDescr* descr,
                                DbTableData* data, const CString& sql, DbTableInfo* related) {
    const CString key = NameKey(name);
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
    data->SetName(name);
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
    m_firstUnread = std::min<size_t>(m_firstUnread, index);
    for (auto& [key, entry] : m_registry) {
        if (entry.index > index) {
            --entry.index;
        }
        if (entry.related == info) {
            entry.related = nullptr;
        }
    }
    m_registry.erase(NameKey(info->name));
}

bool DbDatabase::RenameTable(CString from, CString to) {
    if (!IsTable(from)) {
        return false;
    }
    DbTableInfo* entry = Lookup(from);
    DbTableDescr* descr = GetTableDescr(from);
    DbTableData* data = GetTableData(from);
    const CString oldName = entry->name;
    const CString newKey = NameKey(to);
    if (newKey != NameKey(from) && m_registry.count(newKey) != 0) {
        Log(StringBuilder(L"Table '%s' not renamed: '%s' is already in database",
                          oldName.GetString(), to.GetString()));
        return false;
    }
    // Queries point at registry entries, so the entry itself moves to the new
    // key instead of being copied.
    auto node = m_registry.extract(NameKey(from));
    node.key() = newKey;
    node.mapped().name = to;
    m_registry.insert(std::move(node));
    m_descriptors[entry->index].first = to;
    m_data[entry->index].first = to;
    data->SetName(to);
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
    m_firstUnread = 0;
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

DbTableInfo* DbDatabase::Lookup(const CString& name) {
    const auto it = m_registry.find(NameKey(name));
    return it == m_registry.end() ? nullptr : &it->second;
}

std::vector<DbTableInfo*> DbDatabase::EntriesInOrder() {
    std::vector<DbTableInfo*> entries(m_descriptors.size());
    for (auto& [key, entry] : m_registry) {
        entries[entry.index] = &entry;
    }
    return entries;
}
