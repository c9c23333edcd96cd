// Internal: WHERE conditions evaluated row by row. SQL analysis turns each
// condition of a WHERE part into a filter on the first FROM table's
// descriptor and combines them in a clause; these classes keep those filters
// for exactly as long as they are needed and evaluate the clause on rows.
// Query execution selects rows with them, and recordset searches (and the
// joins built on them) evaluate condition texts on single rows.
#pragma once

#include <korvan/database.h>
#include <korvan/query.h>

#include <cstdint>
#include <vector>

namespace korvan {

// Clears a descriptor's filters when the scope ends, however it ends: the
// filters an analysis attached never outlive the statement that needed them,
// and so are never evaluated again on the rows of later statements.
class FilterScope {
  public:
    FilterScope() = default;
    explicit FilterScope(DbTableDescr* descr) : m_descr(descr) {}
    ~FilterScope() { Release(); }
    FilterScope(const FilterScope&) = delete;
    FilterScope& operator=(const FilterScope&) = delete;

    // Guards descr from now on; a different descriptor guarded so far is
    // cleared first. Null guards nothing.
    void Watch(DbTableDescr* descr);
    // Clears the guarded descriptor's filters now; it stays guarded.
    void Release();

  private:
    DbTableDescr* m_descr = nullptr;
};

// A clause over the filters of one descriptor, evaluated on rows. The rows
// are evaluated through this descriptor, not through the one each row
// follows: rows a query answer shares with its source follow the source's
// descriptor while the answer's filters stand on the answer's.
class WhereClause {
  public:
    // REQUIRES: descr and clause outlive this object; the clause's operands
    // are filters of descr.
    WhereClause(DbTableDescr& descr, clv::clause& clause) : m_descr(descr), m_clause(clause) {}

    // Every filter of the descriptor computes its outcome for row, in order;
    // then the clause combines the outcomes (an empty clause gives true).
    bool Matches(const DbTableRow& row);
    // The positions, from begin up to (not including) end, of the rows of
    // rows that match, in order. Scanning stops once limit rows matched; a
    // negative limit sets none.
    std::vector<uint64_t> Select(const DbRows& rows, uint64_t begin, uint64_t end, int64_t limit);

  private:
    DbTableDescr& m_descr;
    clv::clause& m_clause;
};

// A condition text taken as the WHERE part of a statement over all fields of
// one table ("weight >= 5 and not name = 'x'"), analysed once and evaluated
// on any number of rows of that table. The filters the analysis attaches
// live exactly as long as this object.
class TableCondition {
  public:
    // Analyses the condition, with the analysis's lines in db's log.
    TableCondition(DbDatabase& db, const CString& table, const CString& condition);
    TableCondition(const TableCondition&) = delete;
    TableCondition& operator=(const TableCondition&) = delete;

    // False when the table is unknown or the analysis failed.
    bool IsUsable() const { return m_usable; }
    // REQUIRES: IsUsable(); row is a row of the table.
    bool Matches(const DbTableRow& row) {
        return WhereClause(*m_descr, *m_params.clause).Matches(row);
    }

  private:
    parser::QueryAnalysisParams m_params;
    DbTableDescr* m_descr;
    FilterScope m_filters;
    bool m_usable;
};

}  // namespace korvan
