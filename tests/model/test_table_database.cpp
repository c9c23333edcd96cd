// The table model inside a real database: field changes reach the rows, and
// table data parses its stored text on first access and logs through the
// database.
#include <korvan/database.h>

#include <gtest/gtest.h>

#include <string>

namespace {

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
    }
    void TearDown() override { db.Sync(); }

    std::wstring TakeLog() {
        const std::wstring log = db.GetErrorLog().str();
        std::vector<CString> drained;
        db.GetError(drained);
        return log;
    }

    DbDatabase db;
    DbTableDescr* descr = nullptr;
    DbTableData* data = nullptr;
};

TEST_F(InDatabase, FieldChangesReachEveryRow) {
    data->AddRows(3);
    data->GetRow(1)->SetValue(L"mass", CString(L"2.5"));

    ASSERT_TRUE(descr->CreateField(L"height", false, DbFieldDescr::ftLong));
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(data->GetRow(i)->GetFieldCount(), 3u);
        EXPECT_EQ(data->GetRow(i)->GetField(2).GetType(), VT_I4);
    }

    ASSERT_TRUE(descr->DeleteField(L"NAME"));
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(data->GetRow(i)->GetFieldCount(), 2u);
        EXPECT_EQ(data->GetRow(i)->GetField(0).GetType(), VT_R8);
    }
    EXPECT_EQ((*data->GetRow(1))[L"mass"].GetValue().dblVal, 2.5);
    EXPECT_EQ(descr->GetField(L"height").GetIndex(), 1);
}

TEST_F(InDatabase, PendingRowsAreParsedOnFirstAccess) {
    TakeLog();
    data->SetXmlSource(
        L"<table name='Beams'><row name='I 100' mass='8,1'/><row name='I 120'/></table>");
    EXPECT_TRUE(data->IsInitialized());
    EXPECT_EQ(TakeLog(), L"");  // nothing parsed yet

    ASSERT_EQ(data->size(), 2u);
    EXPECT_FALSE(data->IsChanged());  // freshly parsed rows are no change
    const std::wstring log = TakeLog();
    EXPECT_EQ(log.rfind(L"Table 'Beams' [2 rows] data parsed in: ", 0), 0u) << log;
    EXPECT_EQ(log.substr(log.size() - 4), L" [s]");
    EXPECT_EQ(data->GetRow(0)->GetField(1).GetValue().dblVal, 8.1);
    EXPECT_EQ(data->GetRow(1)->GetField(1).GetValue().dblVal, 0.0);  // missing: the default

    EXPECT_EQ(data->size(), 2u);  // parsed once only
    EXPECT_EQ(TakeLog(), L"");

    DbTableInfo* other = db.CreateTable(L"Single", DbTableInfo::TABLE);
    other->descr->CreateField(L"n", false, DbFieldDescr::ftLong);
    other->data->SetXmlSource(L"<table name='Single'><row n='4'/></table>");
    ASSERT_NE(other->data->GetRow(0), nullptr);
    EXPECT_EQ(other->data->GetRow(0)->GetField(0).GetValue().lVal, 4);
    EXPECT_NE(TakeLog().find(L"Table 'Single' [1 row] data parsed in: "), std::wstring::npos);
}

TEST_F(InDatabase, FailedParseLeavesTheRowsUnavailable) {
    TakeLog();
    data->SetXmlSource(L"<table name='Beams'><row bogus='1'/></table>");
    EXPECT_EQ(data->GetRows(), nullptr);
    EXPECT_EQ(data->GetRow(0), nullptr);
    EXPECT_EQ((*data)[0], nullptr);
    EXPECT_EQ(data->size(), 0u);
    EXPECT_NE(TakeLog(), L"");  // the reason is in the log

    pugi::xml_document doc;
    EXPECT_FALSE(data->Save(doc, doc.append_child("table")));
    const std::wstring log = TakeLog();
    const std::wstring last = L"\r\nError on DbTableData::Save(IDispatch* doc, IDispatch* element)";
    ASSERT_GE(log.size(), last.size());
    EXPECT_EQ(log.substr(log.size() - last.size()), last);  // after the retried parse's reason

    data->Clear();  // drops the pending text
    EXPECT_NE(data->GetRows(), nullptr);
}

}  // namespace
