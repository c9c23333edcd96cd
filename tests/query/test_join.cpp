// Joins of two tables through a recordset, an index "LABEL" and Seek.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvan/recordset.h>

#include <string>
#include <vector>

#include "query_tables.h"

namespace {

using querytest::Cells;
using querytest::TakeLog;
using ::testing::Contains;
using ::testing::HasSubstr;
using Rows = std::vector<std::vector<std::string>>;

class JoinTest : public ::testing::Test {
  protected:
    JoinTest() {
        db.Create(L"");
        querytest::MakeTable(db, L"parts",
                             {{L"id", DbFieldDescr::ftLong}, {L"name", DbFieldDescr::ftText}},
                             {{CComVariant(1), CComVariant(L"bolt")},
                              {CComVariant(2), CComVariant(L"nut")},
                              {CComVariant(3), CComVariant(L"washer")}});
        querytest::MakeTable(db, L"orders",
                             {{L"id", DbFieldDescr::ftLong},
                              {L"part", DbFieldDescr::ftLong},
                              {L"qty", DbFieldDescr::ftLong}},
                             {{CComVariant(10), CComVariant(2), CComVariant(5)},
                              {CComVariant(11), CComVariant(1), CComVariant(3)},
                              {CComVariant(12), CComVariant(2), CComVariant(1)},
                              {CComVariant(13), CComVariant(9), CComVariant(4)}});
        TakeLog(db);
    }

    std::vector<std::string> FieldNames(const CString& table) {
        std::vector<std::string> names;
        DbTableDescr* descr = db.GetTableDescr(table);
        for (size_t f = 0; f < descr->GetFieldCount(); ++f) {
            names.push_back((*descr)[f].GetName().ToUtf8());
        }
        return names;
    }

    DbDatabase db;
};

TEST_F(JoinTest, InnerJoinScansTheLargerTableAndKeepsHitsOnly) {
    // Equal or fewer rows in table1: table2 is scanned, table1 sought.
    const CString name = db.inner_join(L"parts", L"orders", L"id", L"=", L"part");
    EXPECT_EQ(name, CString(L"parts INNER JOIN orders ON id = part"));
    EXPECT_EQ(db.GetTableInfo(name)->type, DbTableInfo::QUERY);
    EXPECT_EQ(FieldNames(name), (std::vector<std::string>{"parts.id", "parts.name", "orders.id",
                                                          "orders.part", "orders.qty"}));
    EXPECT_EQ(Cells(db.GetTableData(name)), (Rows{{"2", "nut", "10", "2", "5"},
                                                  {"1", "bolt", "11", "1", "3"},
                                                  {"2", "nut", "12", "2", "1"}}));
    EXPECT_NE(db.GetTableDescr(L"parts")->FindIndex(L"LABEL"), nullptr);

    // More rows in table1: table1 is scanned, in its own order.
    const CString swapped = db.inner_join(L"orders", L"parts", L"part", L"=", L"id");
    EXPECT_EQ(FieldNames(swapped)[0], "orders.id");
    EXPECT_EQ(Cells(db.GetTableData(swapped)), (Rows{{"10", "2", "5", "2", "nut"},
                                                     {"11", "1", "3", "1", "bolt"},
                                                     {"12", "2", "1", "2", "nut"}}));

    // Another operator seeks with a condition: the first sought row in index
    // order with parts.id < the order's part.
    const CString less = db.inner_join(L"parts", L"orders", L"id", L"<", L"part");
    EXPECT_EQ(Cells(db.GetTableData(less)), (Rows{{"1", "bolt", "10", "2", "5"},
                                                  {"1", "bolt", "12", "2", "1"},
                                                  {"1", "bolt", "13", "9", "4"}}));
    EXPECT_THAT(TakeLog(db), Contains(HasSubstr("FindRow 'id < 9' processed in")));

    // The same join again is computed into its entry afresh.
    const int count = db.GetTablesCount();
    db.GetTableData(L"orders")->GetRow(3)->GetField(1).GetVariant() = CComVariant(3);
    db.inner_join(L"parts", L"orders", L"id", L"=", L"part");
    EXPECT_EQ(db.GetTablesCount(), count);
    EXPECT_EQ(Cells(db.GetTableData(name)).back(),
              (std::vector<std::string>{"3", "washer", "13", "3", "4"}));
}

TEST_F(JoinTest, RightJoinKeepsEveryRowOfTable2) {
    const CString name = db.right_join(L"parts", L"orders", L"id", L"=", L"part");
    EXPECT_EQ(name, CString(L"parts RIGHT JOIN orders ON id = part"));
    EXPECT_EQ(Cells(db.GetTableData(name)), (Rows{{"2", "nut", "10", "2", "5"},
                                                  {"1", "bolt", "11", "1", "3"},
                                                  {"2", "nut", "12", "2", "1"},
                                                  {"0", "", "13", "9", "4"}}));
    EXPECT_EQ(db.left_join(L"parts", L"orders", L"id", L"=", L"part"), CString());
    EXPECT_FALSE(db.IsTable(L"parts LEFT JOIN orders ON id = part"));
}

TEST_F(JoinTest, QueriesJoinWithoutPrefixAndMissingTablesGiveAnEmptyJoin) {
    db.Sync();  // join tables, like query answers, are never a change to save
    CString query;
    ASSERT_TRUE(db.Query(L"select id, name from parts where id > 1", query));
    const CString name = db.inner_join(query, L"orders", L"id", L"=", L"part");
    EXPECT_EQ(FieldNames(name),
              (std::vector<std::string>{"id", "name", "orders.id", "orders.part", "orders.qty"}));
    EXPECT_EQ(Cells(db.GetTableData(name)),
              (Rows{{"2", "nut", "10", "2", "5"}, {"2", "nut", "12", "2", "1"}}));

    const CString missing = db.right_join(L"parts", L"nothing", L"id", L"=", L"id");
    EXPECT_EQ(FieldNames(missing), (std::vector<std::string>{"parts.id", "parts.name"}));
    EXPECT_EQ(db.GetTableData(missing)->size(), 0u);
    // A join field that is nowhere: nothing is ever found.
    const CString nowhere = db.inner_join(L"parts", L"orders", L"nothing", L"=", L"part");
    EXPECT_EQ(db.GetTableData(nowhere)->size(), 0u);
    EXPECT_FALSE(db.IsChanged());

    // A table whose name holds "select" is sought all the same.
    ASSERT_TRUE(db.RenameTable(L"parts", L"selected"));
    EXPECT_EQ(db.GetTableData(db.inner_join(L"selected", L"orders", L"id", L"=", L"part"))->size(),
              3u);
}

}  // namespace
