// DbTableInfo: one entry of a database's registry of tables and queries.
#include <korvan/database.h>

DbTableInfo::DbTableInfo(const CString& name, eType type, uint64_t index, const CString& sql,
                         DbTableDescr* descr, DbTableData* data, DbTableInfo* related)
    : type(type), index(index), sql(sql), name(name), descr(descr), data(data), related(related) {}

void DbTableInfo::Clear() {
    if (descr != nullptr) {
        descr->Clear();
    }
    if (data != nullptr) {
        data->Clear();
    }
}

bool DbTableInfo::IsQuerySync() const {
    if (type != QUERY) {
        return true;
    }
    // Only the query computed directly from the table holds a stamp that can
    // be compared; queries further up the chain follow it.
    const DbTableInfo* last = this;
    for (const DbTableInfo* entry = related; entry != nullptr; entry = entry->related) {
        if (entry->type == TABLE) {
            return entry->data != nullptr && last->syncId == entry->data->GetChangeId();
        }
        if (entry->type != QUERY) {
            break;
        }
        last = entry;
    }
    return true;
}

bool DbTableInfo::IsRelatedWith(const DbTableInfo* other) const {
    if (type != QUERY) {
        return false;
    }
    for (const DbTableInfo* entry = related; entry != nullptr; entry = entry->related) {
        if (entry == other) {
            return true;
        }
        if (entry->type != QUERY) {
            return false;
        }
    }
    return false;
}
