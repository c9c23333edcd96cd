// Query execution: a SELECT analysed into filters and a clause, run over the
// rows of its first FROM table and registered as a QUERY entry "Query_%d".

#include <korvan/database.h>
#include <korvan/query.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "query/Db_Analyze.h"
#include "query/Db_Distinct.h"
#include "query/Db_InsertionOrder.h"

bool DbDatabase::Query(CString sql, CString& name) {
    name.Format(L"Query_%d", m_queriesCount);
    ++m_queriesCount;

    CString text = sql;
    text.Replace(L'\r', L' ');
    text.Replace(L'\n', L' ');
    text = korvan::LowerOutsideQuotes(text);

    // A plain table name answers with that table.
    if (text.Find(L"select") < 0) {
        name = korvan::StripBrackets(text);
        DbTableInfo* table = IsTable(name) ? GetTableInfo(name) : nullptr;
        if (table == nullptr) {
            Log(StringBuilder(L"SQL Analyze - table '%s' not found", name.GetString()));
            return false;
        }
        name = table->name;
        return true;
    }

    const double start = korvan::MonotonicSeconds();
    auto params = std::make_unique<parser::QueryAnalysisParams>();
    if (!AnalyzeSQL(text, params.get())) {
        return false;
    }

    // An earlier query of the very same text is answered from, or recomputed
    // into, its own entry. The first match in registry order counts.
    DbTableInfo* earlier = nullptr;
    for (auto& entry : m_registry) {
        if (entry.second.type == DbTableInfo::QUERY && entry.second.sql == sql) {
            earlier = &entry.second;
            break;
        }
    }
    bool answered = false;
    if (earlier != nullptr) {
        name = earlier->name;
        answered = params->tables.size() == 1 && earlier->IsQuerySync();
    }

    // A query over a query first brings that query up to date. Recomputing it
    // rebuilds its descriptor, which destroys the filters this analysis put
    // there, so the text is analysed again afterwards.
    DbTableInfo* first = GetTableInfo(params->tables[0]);
    if (!answered && first != nullptr && first != earlier && first->type == DbTableInfo::QUERY &&
        (earlier != nullptr || !first->IsQuerySync())) {
        CString firstName = first->name;
        Query(first->sql, firstName);
        params = std::make_unique<parser::QueryAnalysisParams>();
        if (!AnalyzeSQL(text, params.get())) {
            return false;
        }
    }

    DbTableDescr* descr = GetTableDescr(params->tables[0]);
    const std::vector<CString>& select = params->fields;
    const bool wholeTable = params->tables.size() == 1 && IsTable(params->tables[0]) &&
                            params->conditions.empty() && params->orderBy.empty() &&
                            params->top < 0;
    if (!answered && wholeTable) {
        // Deliberately blind to DISTINCT: "select distinct * from t" is t.
        bool same = select.size() == 1 && select[0] == L"*";
        if (!same && select.size() == descr->GetFieldCount()) {
            same = true;
            for (size_t i = 0; i < select.size() && same; ++i) {
                same = select[i].CompareNoCase((*descr)[i].GetName()) == 0;
            }
        }
        if (same) {
            name = GetTableInfo(params->tables[0])->name;
            answered = true;
        }
    }

    if (!answered) {
        if (!params->clause->IsValid()) {
            return false;
        }
        DbTableData* data = GetTableData(params->tables[0]);
        DbRows* rows = data != nullptr ? data->GetRows() : nullptr;
        if (rows == nullptr) {
            return false;
        }

        const bool allFields = select[0] == L"*";
        std::vector<uint64_t> selectFields;
        if (allFields) {
            for (size_t i = 0; i < descr->GetFieldCount(); ++i) {
                selectFields.push_back(i);
            }
        } else {
            for (const CString& field : select) {
                const int i = descr->GetFieldIndex(field);
                if (i >= 0) {
                    selectFields.push_back(static_cast<uint64_t>(i));
                }
            }
        }

        // TOP counts matching rows in table order, before ordering and
        // DISTINCT. The filters are evaluated through the source descriptor,
        // which also holds for rows a query shares with its own source.
        std::vector<uint64_t> selection;
        const uint64_t count = rows->GetRowsCount();
        for (uint64_t i = 0; i < count; ++i) {
            if (params->top >= 0 && selection.size() >= static_cast<size_t>(params->top)) {
                break;
            }
            descr->Evaluate(*rows->GetRow(static_cast<int>(i)));
            if (params->clause->evaluate()) {
                selection.push_back(i);
            }
        }

        // ORDER BY names are not checked by the analysis: names that are no
        // field of the source are passed over, and with none left the rows
        // stay in table order.
        std::vector<uint64_t> orderFields;
        for (const CString& field : params->orderBy) {
            const int i = descr->GetFieldIndex(field);
            if (i >= 0) {
                orderFields.push_back(static_cast<uint64_t>(i));
            }
        }
        if (!orderFields.empty()) {
            selection = korvan::InsertionOrder(*rows, orderFields, selection);
            if (params->descending) {
                std::reverse(selection.begin(), selection.end());
            }
        }
        if (params->distinct) {
            selection = korvan::DistinctRows(*rows, selectFields, selection);
        }

        // Clearing the entry empties both its structure and its rows.
        DbTableInfo* result = GetTableInfo(name);
        if (result != nullptr && result == first) {
            return false;  // the answer would overwrite its own source
        }
        if (result == nullptr) {
            result = Create(name, DbTableInfo::QUERY, sql, FindTableInfo(params->tables[0]));
        } else {
            result->Clear();
        }
        if (result == nullptr) {
            return false;
        }
        DbTableDescr* resultDescr = result->descr;
        DbTableData* resultData = result->data;
        std::vector<uint64_t> sourceFields;
        for (const uint64_t field : selectFields) {
            // A field selected twice makes one column.
            if (resultDescr->CreateField((*descr)[field])) {
                sourceFields.push_back(field);
            }
        }
        if (allFields) {
            // The answer shares the source's rows; Bind takes store positions.
            std::vector<uint64_t> order;
            order.reserve(selection.size());
            for (const uint64_t r : selection) {
                order.push_back(rows->GetOrder()[r]);
            }
            resultData->Bind(rows, order);
        } else {
            resultData->AddRows(selection.size());
            DbRows* resultRows = resultData->GetRows();
            for (size_t i = 0; i < selection.size(); ++i) {
                DbTableRow& target = *resultRows->GetRow(static_cast<int>(i));
                const DbTableRow& source = *rows->GetRow(static_cast<int>(selection[i]));
                for (size_t j = 0; j < sourceFields.size(); ++j) {
                    target[j] = source[sourceFields[j]];
                }
            }
        }
        resultData->Sync();
        resultDescr->Sync();
        result->syncId = data->GetChangeId();
    }
    // Filters are done with in every case, also when an earlier answer is
    // reused and nothing was evaluated.
    descr->ClearFilters();

    Log(StringBuilder(L"Query '%s' processed in %.4f [s]", name.GetString(),
                      korvan::MonotonicSeconds() - start));
    return true;
}
