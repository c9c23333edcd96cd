// Test helpers: in-memory databases with tables given as columns and rows,
// and cells as texts.
#pragma once

#include <korvan/database.h>

#include <string>
#include <vector>

#include "tests/model/tables.h"

namespace querytest {

using testtables::Null;
using testtables::TakeLog;
using testtables::Utf8;

// A table of the given columns holding the rows as given.
inline DbTableInfo* MakeTable(DbDatabase& db, const wchar_t* name,
                              const std::vector<testtables::Column>& columns,
                              const testtables::Rows& rows) {
    DbTableInfo* table = db.CreateTable(name, DbTableInfo::TABLE);
    testtables::Fill(*table->descr, *table->data, columns, rows);
    return table;
}

// The cells of a table as texts, row by row; a null cell reads "null".
inline std::vector<std::vector<std::string>> Cells(DbTableData* data) {
    std::vector<std::vector<std::string>> out;
    for (uint64_t r = 0; r < data->size(); ++r) {
        const DbTableRow& row = *data->GetRow(static_cast<int>(r));
        out.emplace_back();
        for (size_t i = 0; i < row.GetFieldCount(); ++i) {
            const bool null = row[i].GetVariant().vt == VT_NULL;
            out.back().push_back(null ? "null" : testtables::TextOf(row[i]).ToUtf8());
        }
    }
    return out;
}

}  // namespace querytest
