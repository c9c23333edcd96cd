// Internal: a WHERE condition text analysed against one table, asked row by
// row. Searches of recordsets reach the query engine through this one seam.
#pragma once

#include <korvan/database.h>
#include <korvan/query.h>

#include <memory>

namespace korvan {

// The analysis attaches one row filter per comparison to the table's
// descriptor; Release removes them again.
class RowCondition {
  public:
    RowCondition(DbDatabase& db, const CString& table);
    RowCondition(const RowCondition&) = delete;
    RowCondition& operator=(const RowCondition&) = delete;

    // Analyses criteria as a bare condition on the table (lower-cased
    // outside quotes, operators spaced, as a WHERE part is). False, with the
    // analysis lines in the database's log, when it is not usable.
    bool Analyse(const CString& criteria);
    // REQUIRES: Analyse succeeded.
    bool Matches(const DbTableRow& row);
    // Removes the filters of the analysis from the table's descriptor.
    void Release();

  private:
    DbDatabase& m_db;
    CString m_table;
    DbTableDescr* m_descr = nullptr;
    std::unique_ptr<parser::QueryAnalysisParams> m_params;
};

}  // namespace korvan
