// Table and query definitions, and recordsets opened through them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "recordset_tests.h"

namespace {

using recordsettest::RecordsetTest;
using recordsettest::TakeLog;
using recordsettest::ThrownBy;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using TableDefTest = RecordsetTest;
using QueryDefTest = RecordsetTest;

TEST_F(TableDefTest, CreatedTableBelongsToTheDatabaseOnlyAfterAppend) {
    DbTableDef def(&db);
    EXPECT_EQ(ThrownBy([&] { def.GetRecordCount(); }).source, "Db_TableDef");
    EXPECT_EQ(ThrownBy([&] { def.GetRecordCount(); }).message,
              "Did you forgot to call DbTableDef::Open() first ?");
    EXPECT_FALSE(def.CreateField(L"id", DbFieldDescr::ftLong));  // nothing created yet

    // A second Create discards the first table with its fields.
    ASSERT_TRUE(def.Create(L"Drafts"));
    ASSERT_TRUE(def.CreateField(L"scrap", DbFieldDescr::ftText));
    ASSERT_TRUE(def.Create(L"Parts"));
    EXPECT_EQ(def.GetFieldCount(), 0u);
    EXPECT_TRUE(def.CreateField(L"id", DbFieldDescr::ftLong));
    EXPECT_TRUE(def.CreateField(L"name", DbFieldDescr::ftText));
    EXPECT_FALSE(def.CreateField(L"NAME", DbFieldDescr::ftText));
    DbTableDescr::DbIndex byName(L"byname", L"name");
    DbTableDescr::DbIndex broken(L"broken", L"nothing");
    EXPECT_TRUE(def.CreateIndex(byName));
    EXPECT_FALSE(def.CreateIndex(broken));
    EXPECT_EQ(def.GetRecordCount(), 0);
    EXPECT_FALSE(def.IsOpen());
    EXPECT_FALSE(db.IsTable(L"parts"));
    DbRecordset pending(&db);
    EXPECT_FALSE(pending.Open(&def));

    ASSERT_TRUE(def.Append());
    EXPECT_TRUE(def.IsOpen());
    EXPECT_EQ(def.GetTableName(), CString(L"Parts"));
    DbTableDescr* descr = db.GetTableDescr(L"parts");
    ASSERT_EQ(descr, def.GetTableDescr());
    EXPECT_EQ(descr->GetFieldCount(), 2u);
    EXPECT_NE(descr->FindIndex(L"BYNAME"), nullptr);
    EXPECT_THAT(TakeLog(db),
                ElementsAre("Table 'Parts' created, index = 3, type = TABLE, sql = ''"));
    EXPECT_EQ(def.GetFieldInfo(1), &(*descr)[1]);
    EXPECT_EQ(def.GetFieldInfo(L"ID"), &(*descr)[0]);
    EXPECT_EQ(def.GetFieldInfo(2), nullptr);
    EXPECT_EQ(def.GetFieldInfo(-1), nullptr);
    EXPECT_EQ(def.GetFieldInfo(L"nothing"), nullptr);
    EXPECT_TRUE(def.DeleteField(L"name"));
    EXPECT_EQ(descr->GetFieldCount(), 1u);

    // Appending twice: nothing is pending any more.
    EXPECT_FALSE(def.Append());
    EXPECT_THAT(TakeLog(db),
                ElementsAre("Cannot append database... call DbTableDef::Create(...) first"));
}

TEST_F(TableDefTest, RefusedAppendLeavesTheDatabaseAsItWas) {
    DbTableDef def(&db);
    def.Create(L"t");  // the name of the fixture's table, in another case
    def.CreateField(L"other", DbFieldDescr::ftLong);
    EXPECT_FALSE(def.Append());
    EXPECT_THAT(TakeLog(db), ElementsAre("Table 't' already in database, cannot add another 't' "
                                         "table"));
    EXPECT_FALSE(def.IsOpen());
    EXPECT_EQ(def.GetTableDescr(), nullptr);
    EXPECT_EQ(db.GetTableDescr(L"T")->GetFieldCount(), 3u);
}

TEST_F(TableDefTest, OpensExistingTablesByBareOrBracketedName) {
    DbTableDef def(&db);
    EXPECT_FALSE(def.Open(L"nothing"));
    EXPECT_FALSE(def.IsOpen());
    for (const wchar_t* name : {L"T", L"[t]", L"[T", L"t]"}) {
        ASSERT_TRUE(def.Open(name)) << CString(name).ToUtf8();
        EXPECT_EQ(def.GetTableDescr(), table->descr);
        EXPECT_EQ(def.GetRecordCount(), 5);
        EXPECT_EQ(def.GetFieldCount(), 3u);
    }
    EXPECT_EQ(def.GetTableName(), CString(L"t"));
    EXPECT_TRUE(def.CanUpdate());

    DbRecordset rs;
    ASSERT_TRUE(rs.Open(&def));
    EXPECT_EQ(rs.GetDatabase(), &db);
    EXPECT_EQ(rs.GetTableData(), table->data);

    // Opening another table discards one that was created and not appended.
    def.Create(L"Scratch");
    ASSERT_TRUE(def.Open(L"T"));
    EXPECT_TRUE(def.IsOpen());
    def.Close();
    EXPECT_FALSE(def.IsOpen());
    EXPECT_EQ(def.GetTableName(), CString());
    EXPECT_EQ(ThrownBy([&] { rs.Open(static_cast<DbTableDef*>(nullptr)); }).message,
              "tableDef object not defined");
}

TEST_F(QueryDefTest, VerifiesItsTextWhenCreatedAndWhenAsked) {
    DbQueryDef def(&db);
    EXPECT_FALSE(def.IsOpen());  // no text yet
    def.Create(L"big", L"select a, b from t where a > 2 order by a");
    EXPECT_TRUE(def.IsOpen());
    EXPECT_EQ(def.GetSQL(), CString(L"select a, b from t where a > 2 order by a"));
    EXPECT_FALSE(db.IsTable(L"big"));  // not stored in the database

    DbQueryDef copy(def);
    DbRecordset rs;
    ASSERT_TRUE(rs.Open(&copy));
    EXPECT_EQ(rs.GetRecordCount(), 3);
    EXPECT_EQ(rs.GetFieldCount(), 2u);

    const auto thrown = ThrownBy([&] { def.Create(L"bad", L"select nothing from t"); });
    EXPECT_EQ(thrown.source, "Db_QueryDef");
    EXPECT_EQ(thrown.message, "Invalid 'select nothing from t' query");
    EXPECT_THAT(db.GetErrorLog().ToUtf8(), HasSubstr("no 'nothing' field found in 't' table"));
    EXPECT_EQ(def.GetSQL(), CString(L"select nothing from t"));  // kept all the same
    EXPECT_FALSE(def.IsOpen());
    EXPECT_FALSE(rs.Open(&def));

    copy.Close();
    EXPECT_FALSE(copy.IsOpen());
    EXPECT_EQ(copy.GetDatabase(), nullptr);
    EXPECT_EQ(copy.GetSQL(), CString());
    EXPECT_EQ(ThrownBy([&] { rs.Open(static_cast<DbQueryDef*>(nullptr)); }).message,
              "queryDef object not defined");
    DbQueryDef orphan(nullptr);
    EXPECT_EQ(ThrownBy([&] { orphan.Create(L"q", L"select * from t"); }).message,
              "Invalid 'select * from t' query");
}

}  // namespace
