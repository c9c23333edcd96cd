// The table model inside a real database: field changes reach the rows, and
// table data parses its stored text on first access and logs through the
// database.
#include <korvan/database.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/model/tables.h"
#include "tests/patterns.h"

namespace {

using test_patterns::HasShape;
using ::testing::ElementsAre;
using ::testing::StartsWith;
using testtables::TakeLog;

// A new database that is never written: its file would lie in the test's
// temporary directory, and every test synchronises it before it ends.
class InDatabase : public ::testing::Test {
  protected:
    void SetUp() override {
        db.Create(CString((::testing::TempDir() + "korvan-model-unsaved.xml").c_str()));
        DbTableInfo* info = db.CreateTable(L"Beams", DbTableInfo::TABLE);
        ASSERT_NE(info, nullptr);
        descr = info->descr;
        data = info->data;
        descr->CreateField(L"name", true, DbFieldDescr::ftText);
        descr->CreateField(L"mass", false, DbFieldDescr::ftDouble);
        TakeLog(db);
    }
    void TearDown() override { db.Sync(); }

    DbDatabase db;
    DbTableDescr* descr = nullptr;
    DbTableData* data = nullptr;
};

TEST_F(InDatabase, FieldChangesReachEveryRow) {
    data->AddRows(3);
    data->GetRow(1)->SetValue(L"mass", CString(L"2.5"));
    ASSERT_TRUE(descr->CreateField(L"height", false, DbFieldDescr::ftLong));
    ASSERT_TRUE(descr->DeleteField(L"NAME"));
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(data->GetRow(i)->GetFieldCount(), 2u);
        EXPECT_EQ(data->GetRow(i)->GetField(0).GetType(), VT_R8);
        // A cell added to an existing row is empty and not null; it does
        // not take the column's default.
        EXPECT_EQ(data->GetRow(i)->GetField(1).GetType(), VT_EMPTY);
        EXPECT_FALSE(data->GetRow(i)->GetField(1).IsNull());
    }
    EXPECT_EQ((*data->GetRow(1))[L"mass"].GetValue().dblVal, 2.5);
    EXPECT_EQ(descr->GetField(L"height").GetIndex(), 1);
    data->AddRow();  // a new row does
    EXPECT_EQ(data->GetRow(3)->GetField(1).GetType(), VT_I4);

    // The empty cell is written as an empty text, which a long column reads
    // back as that text (it does not convert), so writing again gives the
    // same element.
    pugi::xml_document doc;
    pugi::xml_node written = doc.append_child("table");
    ASSERT_TRUE(data->Save(doc, written));
    EXPECT_STREQ(written.first_child().attribute("height").value(), "");
    EXPECT_STREQ(written.last_child().attribute("height").value(), "0");
    DbTableData reread(&db, descr);
    ASSERT_TRUE(reread.Load(written));
    EXPECT_EQ(reread.GetRow(0)->GetField(1).GetType(), VT_BSTR);
    EXPECT_EQ(testtables::TextOf(reread.GetRow(0)->GetField(1)), CString(L""));
    pugi::xml_document again;
    ASSERT_TRUE(reread.Save(again, again.append_child("table")));
    std::ostringstream first, second;
    doc.save(first);
    again.save(second);
    EXPECT_EQ(second.str(), first.str());
}

TEST_F(InDatabase, PendingRowsAreParsedOnFirstAccess) {
    data->SetXmlSource(L"<table name='Beams'><row name='I 100'/><row name='I 120'/></table>");
    EXPECT_TRUE(data->IsInitialized());
    EXPECT_TRUE(TakeLog(db).empty());  // nothing parsed yet

    ASSERT_EQ(data->size(), 2u);
    EXPECT_FALSE(data->IsChanged());  // freshly parsed rows are no change
    EXPECT_THAT(TakeLog(db),
                ElementsAre(HasShape("Table 'Beams' [2 rows] data parsed in: +.#### [s]")));
    EXPECT_EQ(data->size(), 2u);  // parsed once only
    EXPECT_TRUE(TakeLog(db).empty());

    // The data is named by the registry, also after a rename, whatever the
    // element says.
    DbTableData* single = db.CreateTable(L"Single", DbTableInfo::TABLE)->data;
    single->SetXmlSource(L"<table name='Other'><row/></table>");
    ASSERT_TRUE(db.RenameTable(L"single", L"One"));
    EXPECT_NE(single->GetRow(0), nullptr);
    EXPECT_THAT(TakeLog(db), ElementsAre(StartsWith("Table 'Single' created"),
                                         StartsWith("Table 'Single' renamed to 'One'"),
                                         StartsWith("Table 'One' [1 row] data parsed in: ")));
}

TEST_F(InDatabase, FailedParseLeavesTheRowsUnavailable) {
    data->SetXmlSource(L"<table name='Beams'><row bogus='1'/></table>");
    EXPECT_EQ(data->GetRows(), nullptr);
    EXPECT_EQ(data->GetRow(0), nullptr);
    EXPECT_EQ(data->size(), 0u);
    EXPECT_FALSE(TakeLog(db).empty());  // the reason is in the log

    pugi::xml_document doc;
    EXPECT_FALSE(data->Save(doc, doc.append_child("table")));
    const std::vector<std::string> log = TakeLog(db);
    ASSERT_GE(log.size(), 2u);  // the retried parse's reason comes first
    EXPECT_EQ(log.back(), "Error on DbTableData::Save(IDispatch* doc, IDispatch* element)");

    data->Clear();  // drops the pending text
    EXPECT_NE(data->GetRows(), nullptr);
}

}  // namespace
