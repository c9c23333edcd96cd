// The answers a query gives without computing anything: an earlier query of
// the same text, or its table as it stands; and the refresh of a query that
// another query reads.

#include "query/Db_QueryStages.h"

namespace korvan {

DbTableInfo* FindEarlierQuery(std::map<CString, DbTableInfo>& registry, const CString& sql) {
    for (auto& [key, entry] : registry) {
        if (entry.type == DbTableInfo::QUERY && entry.sql == sql) {
            return &entry;
        }
    }
    return nullptr;
}

bool RefreshSource(DbDatabase& db, DbTableInfo* first, const DbTableInfo* earlier) {
    if (first == nullptr || first == earlier || first->type != DbTableInfo::QUERY ||
        (earlier == nullptr && first->IsQuerySync())) {
        return false;
    }
    CString name = first->name;
    db.Query(first->sql, name);
    return true;
}

bool AnswersWithTable(DbDatabase& db, const parser::QueryAnalysisParams& params, CString& name) {
    if (params.tables.size() != 1 || !params.conditions.empty() || !params.orderBy.empty() ||
        params.top >= 0) {
        return false;
    }
    const DbTableInfo* table = db.GetTableInfo(params.tables[0]);
    if (table == nullptr) {
        return false;
    }
    const std::vector<CString>& select = params.fields;
    bool same = select.size() == 1 && select[0] == L"*";
    if (!same && select.size() == table->descr->GetFieldCount()) {
        same = true;
        for (size_t i = 0; i < select.size() && same; ++i) {
            same =
                select[i].CompareNoCase(table->descr->GetField(static_cast<int>(i)).GetName()) == 0;
        }
    }
    if (same) {
        name = table->name;
    }
    return same;
}

}  // namespace korvan
