// WHERE conditions evaluated row by row: the guard over a descriptor's
// filters, the clause evaluated through one descriptor, and a condition text
// analysed on its own against one table.

#include "query/Db_Where.h"

#include "query/Db_Analyze.h"

namespace korvan {

void FilterScope::Watch(DbTableDescr* descr) {
    if (descr != m_descr) {
        Release();
        m_descr = descr;
    }
}

void FilterScope::Release() {
    if (m_descr != nullptr) {
        m_descr->ClearFilters();
    }
}

bool WhereClause::Matches(const DbTableRow& row) {
    m_descr.Evaluate(row);
    return m_clause.evaluate();
}

std::vector<uint64_t> WhereClause::Select(const DbRows& rows, uint64_t begin, uint64_t end,
                                          int64_t limit) {
    std::vector<uint64_t> selected;
    for (uint64_t i = begin; i < end; ++i) {
        if (limit >= 0 && selected.size() >= static_cast<uint64_t>(limit)) {
            break;
        }
        if (Matches(*rows.GetRow(static_cast<int>(i)))) {
            selected.push_back(i);
        }
    }
    return selected;
}

TableCondition::TableCondition(DbDatabase& db, const CString& table, const CString& condition)
    : m_descr(db.GetTableDescr(table)), m_filters(m_descr) {
    // A statement over all fields of the table whose scan starts in the
    // WHERE part.
    m_params.fields.push_back(L"*");
    m_params.tables.push_back(table);
    m_params.section = kWhereSection;
    m_usable = db.AnalyzeSQL(LowerOutsideQuotes(condition), &m_params) && m_descr != nullptr;
}

}  // namespace korvan
