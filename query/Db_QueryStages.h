// Internal: the stages of DbDatabase::Query. The driver prepares the text,
// analyses it, answers from an earlier query or the table itself where it
// can, and otherwise computes the answer: the rows the WHERE clause selects
// (Db_Where.h), ordered, made distinct and registered as a QUERY entry.
#pragma once

#include <korvan/database.h>
#include <korvan/query.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "query/Db_Where.h"

namespace korvan {

// The analysis of one SELECT text for execution, with the guard over the
// filters it attaches to the first FROM table.
class QueryAnalysis {
  public:
    // REQUIRES: text is prepared (PrepareStatement).
    QueryAnalysis(DbDatabase& db, const CString& text) : m_db(db), m_text(text) {}

    // Analyses the text into a fresh record; the filters of an earlier run
    // go first. False when the statement is not usable.
    bool Run();
    parser::QueryAnalysisParams& Params() { return *m_params; }

  private:
    DbDatabase& m_db;
    CString m_text;
    std::unique_ptr<parser::QueryAnalysisParams> m_params;
    FilterScope m_filters;
};

// The first QUERY entry, in registry order, made from exactly sql (compared
// case-sensitively); null when there is none.
DbTableInfo* FindEarlierQuery(std::map<CString, DbTableInfo>& registry, const CString& sql);

// Brings the first FROM table up to date when it is a query that must be
// recomputed first: always when an earlier query of the same text is being
// recomputed, otherwise when it is stale. Recomputing it rebuilds its
// descriptor, which destroys the filters the analysis put there. True when
// it was recomputed (successfully or not): the text must then be analysed
// again.
bool RefreshSource(DbDatabase& db, DbTableInfo* first, const DbTableInfo* earlier);

// True when the answer is the first FROM table as it stands: one table, no
// conditions, no ORDER BY, no TOP, and the select list "*" or the table's
// fields in their order (DISTINCT is deliberately not looked at). name then
// holds the table's registry name.
bool AnswersWithTable(DbDatabase& db, const parser::QueryAnalysisParams& params, CString& name);

// The first FROM table of a statement to compute, and the positions in it of
// the selected fields ("*" selects all of them in order) and of the ORDER BY
// fields. Names that are no field of the table are passed over.
struct QuerySource {
    QuerySource(DbDatabase& db, const parser::QueryAnalysisParams& params);
    // False when the table's rows cannot be read.
    bool IsReadable() const { return rows != nullptr; }

    DbTableInfo* info;
    DbTableDescr* descr;
    DbTableData* data;
    DbRows* rows;
    bool allFields;
    std::vector<uint64_t> selected;
    std::vector<uint64_t> ordering;
};

// The selection in ORDER BY order: every row goes, in selection order, to the
// position the binary search of DbTableData::SpatialIndex finds among the
// rows placed so far, so ties land where that search puts them. Reversed
// when descending. Without fields the selection stays as it is.
std::vector<uint64_t> OrderRows(const DbRows& rows, const std::vector<uint64_t>& fields,
                                bool descending, const std::vector<uint64_t>& selection);

// Registers the answer under name, made from sql: a new QUERY entry computed
// from the source, or the existing entry cleared. With all fields selected
// the answer is bound to the source's rows in selection order; otherwise it
// holds copies of the selected cells. The answer counts as unchanged and in
// step with the source. False when name is the source itself.
bool RegisterAnswer(DbDatabase& db, const CString& name, const CString& sql,
                    const QuerySource& source, const std::vector<uint64_t>& selection);

}  // namespace korvan
