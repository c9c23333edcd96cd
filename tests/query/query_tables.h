// Test helpers: in-memory databases with tables given as columns and rows,
// and cells as texts.
#pragma once

#include <gtest/gtest.h>
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

// The table T that the query tests share: ties, texts that differ only in
// case, and a null.
inline DbTableInfo* MakeSampleTable(DbDatabase& db) {
    return MakeTable(db, L"T",
                     {{L"a", DbFieldDescr::ftLong},
                      {L"b", DbFieldDescr::ftText},
                      {L"c", DbFieldDescr::ftDouble}},
                     {{CComVariant(3), CComVariant(L"x"), CComVariant(1.0)},
                      {CComVariant(1), CComVariant(L"X"), CComVariant(2.0)},
                      {CComVariant(2), CComVariant(L"y"), Null()},
                      {CComVariant(3), CComVariant(L"x"), CComVariant(4.0)},
                      {CComVariant(5), CComVariant(L"Y"), CComVariant(5.0)},
                      {CComVariant(1), CComVariant(L"x"), CComVariant(6.0)}});
}

// A database without a file (nothing is ever written) holding the sample
// table, with an empty log.
class SampleTableTest : public ::testing::Test {
  protected:
    SampleTableTest() {
        db.Create(L"");
        table = MakeSampleTable(db);
        TakeLog(db);
    }

    DbDatabase db;
    DbTableInfo* table;
};

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
