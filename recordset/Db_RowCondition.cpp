// A WHERE condition text analysed against one table and asked row by row.
#include "recordset/Db_RowCondition.h"

#include "query/Db_Analyze.h"

namespace korvan {
namespace {

// The analysis state of a WHERE part: conditions are read from the first
// word on.
constexpr uint32_t kWhereSection = 5;

}  // namespace

RowCondition::RowCondition(DbDatabase& db, const CString& table) : m_db(db), m_table(table) {}

bool RowCondition::Analyse(const CString& criteria) {
    m_params = std::make_unique<parser::QueryAnalysisParams>();
    m_params->fields.push_back(L"*");
    m_params->tables.push_back(m_table);
    m_params->section = kWhereSection;
    m_descr = m_db.GetTableDescr(m_table);
    return m_db.AnalyzeSQL(LowerOutsideQuotes(criteria), m_params.get()) && m_descr != nullptr;
}

bool RowCondition::Matches(const DbTableRow& row) {
    // The filters live on the table's own descriptor, also for rows a query
    // answer shares with its source table.
    m_descr->Evaluate(row);
    return m_params->clause->evaluate();
}

void RowCondition::Release() {
    if (m_descr != nullptr) {
        m_descr->ClearFilters();
    }
}

}  // namespace korvan
