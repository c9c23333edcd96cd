// DbDatabase::Query: runs a SELECT against its first FROM table and registers
// the answer as a QUERY entry "Query_%d", or answers with an existing table
// or an up-to-date earlier query. The stages are in Db_QueryStages.h.

#include <korvan/database.h>
#include <korvan/query.h>

#include <vector>

#include "query/Db_Analyze.h"
#include "query/Db_Distinct.h"
#include "query/Db_QueryStages.h"

bool DbDatabase::Query(CString sql, CString& name) {
    name.Format(L"Query_%d", m_queriesCount);
    ++m_queriesCount;

    const CString text = korvan::PrepareStatement(sql);
    if (text.Find(L"select") < 0) {
        // A plain table name answers with that table.
        name = korvan::StripBrackets(text);
        const DbTableInfo* table = GetTableInfo(name);
        if (table == nullptr) {
            Log(StringBuilder(L"SQL Analyze - table '%s' not found", name.GetString()));
            return false;
        }
        name = table->name;
        return true;
    }

    const double start = korvan::MonotonicSeconds();
    // The filters the analysis attaches go when the query ends, however it
    // ends.
    korvan::QueryAnalysis analysis(*this, text);
    if (!analysis.Run()) {
        return false;
    }
    DbTableInfo* earlier = korvan::FindEarlierQuery(m_registry, sql);
    bool answered = false;
    if (earlier != nullptr) {
        name = earlier->name;
        answered = analysis.Params().tables.size() == 1 && earlier->IsQuerySync();
    }
    DbTableInfo* first = GetTableInfo(analysis.Params().tables[0]);
    if (!answered && korvan::RefreshSource(*this, first, earlier) && !analysis.Run()) {
        return false;
    }
    if (!answered && !korvan::AnswersWithTable(*this, analysis.Params(), name)) {
        parser::QueryAnalysisParams& params = analysis.Params();
        if (!params.clause->IsValid()) {
            return false;
        }
        const korvan::QuerySource source(*this, params);
        if (!source.IsReadable()) {
            return false;
        }
        // TOP counts matching rows in table order, before ordering and
        // DISTINCT.
        std::vector<uint64_t> selection =
            korvan::WhereClause(*source.descr, *params.clause)
                .Select(*source.rows, 0, source.rows->GetRowsCount(), params.top);
        selection = korvan::OrderRows(*source.rows, source.ordering, params.descending, selection);
        if (params.distinct) {
            selection = korvan::DistinctRows(*source.rows, source.selected, selection);
        }
        if (!korvan::RegisterAnswer(*this, name, sql, source, selection)) {
            return false;
        }
    }
    Log(StringBuilder(L"Query '%s' processed in %.4f [s]", name.GetString(),
                      korvan::MonotonicSeconds() - start));
    return true;
}
