// Recordset cursors: opening, moves, bookmarks, searches, current indexes
// and seeks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "recordset_tests.h"
#include "tests/patterns.h"

namespace {

using recordsettest::RecordsetTest;
using recordsettest::TakeLog;
using recordsettest::ThrownBy;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using NavigationTest = RecordsetTest;

// The row numbers an index's positions stand for.
std::vector<uint64_t> Order(DbRecordset& rs, const wchar_t* index) {
    return rs.GetTableDescr()->FindIndex(index)->m_rowOrder;
}

TEST_F(NavigationTest, MovesLeaveTheCursorWhereTheyPutIt) {
    DbRecordset rs(&db);
    ASSERT_TRUE(rs.Open(L"[t]"));
    EXPECT_EQ(rs.GetAbsolutePosition(), 0);
    EXPECT_EQ(rs.GetRecordCount(), 5);
    const struct {
        const char* what;
        std::function<bool(DbRecordset&)> move;
        bool result;
        LONG cursor;
        bool bof, eof;
    } steps[] = {
        {"MoveNext", [](DbRecordset& r) { return r.MoveNext(); }, true, 1, false, false},
        {"MoveLast", [](DbRecordset& r) { return r.MoveLast(); }, true, 4, false, false},
        {"MoveNext past the end", [](DbRecordset& r) { return r.MoveNext(); }, false, 5, false,
         true},
        {"MovePrev back", [](DbRecordset& r) { return r.MovePrev(); }, true, 4, false, false},
        {"MoveFirst", [](DbRecordset& r) { return r.MoveFirst(); }, true, 0, false, false},
        {"MovePrev before", [](DbRecordset& r) { return r.MovePrev(); }, false, -1, true, false},
        {"MovePrev again", [](DbRecordset& r) { return r.MovePrev(); }, false, -1, true, false},
        {"Move(3)", [](DbRecordset& r) { return r.Move(3); }, true, 2, false, false},
        {"Move(-10)", [](DbRecordset& r) { return r.Move(-10); }, false, -8, true, false},
        {"MovePrev far before", [](DbRecordset& r) { return r.MovePrev(); }, false, -8, true,
         false},
        {"SetAbsolutePosition(3)", [](DbRecordset& r) { return r.SetAbsolutePosition(3); }, true, 3,
         false, false},
        {"Move(LONG_MAX)", [](DbRecordset& r) { return r.Move(std::numeric_limits<long>::max()); },
         false, INT32_MAX, false, true},
    };
    const char* const a[] = {"3", "1", "2", "5", "4"};
    for (const auto& step : steps) {
        EXPECT_EQ(step.move(rs), step.result) << step.what;
        EXPECT_EQ(rs.GetAbsolutePosition(), step.cursor) << step.what;
        EXPECT_EQ(rs.IsBOF(), step.bof) << step.what;
        EXPECT_EQ(rs.IsEOF(), step.eof) << step.what;
        if (step.result) {
            EXPECT_EQ(Field(rs, 0), a[step.cursor]) << step.what;
            EXPECT_EQ(rs.GetCurrentRow(), table->data->GetRow(step.cursor)) << step.what;
        } else {
            EXPECT_EQ(rs.GetCurrentRow(), nullptr) << step.what;
        }
    }
}

TEST_F(NavigationTest, EmptyAndClosedRecordsetsRefuseCalmly) {
    db.CreateTable(L"E", DbTableInfo::TABLE)->descr->CreateField(L"v", false, DbFieldDescr::ftLong);
    DbRecordset empty(&db);
    ASSERT_TRUE(empty.Open(L"select * from e"));
    EXPECT_TRUE(empty.IsEOF());
    EXPECT_FALSE(empty.MoveLast());
    EXPECT_EQ(empty.GetAbsolutePosition(), 0);
    EXPECT_FALSE(empty.FindLast(L"v = 1"));
    CComVariant key(1);
    ASSERT_TRUE(empty.GetTableDescr()->CreateIndex(L"byv", L"v"));
    ASSERT_TRUE(empty.SetCurrentIndex(L"byv"));
    EXPECT_FALSE(empty.Seek(L"=", &key));

    // Whatever is asked of a closed recordset, it answers or throws a
    // DbException, and never touches memory it does not have.
    DbRecordset closed;
    CComVariant value(7);
    int member = 0;
    EXPECT_FALSE(closed.IsOpen());
    EXPECT_TRUE(closed.IsEOF());
    EXPECT_FALSE(closed.MoveNext());
    EXPECT_FALSE(closed.MoveLast());
    EXPECT_FALSE(closed.FindFirst(L"a = 1"));
    EXPECT_FALSE(closed.Seek(L"=", &value));
    EXPECT_FALSE(closed.SetCurrentIndex(L"byv"));
    EXPECT_EQ(closed.GetCurrentRow(), nullptr);
    EXPECT_EQ(closed.GetFieldInfo(0), nullptr);
    EXPECT_EQ(closed.GetFieldCount(), 0u);
    EXPECT_FALSE(closed.CanUpdate());
    EXPECT_EQ(ThrownBy([&] { closed.GetFieldValue(0, value); }).message, "Out of recordset range");
    EXPECT_EQ(ThrownBy([&] { closed.GetFieldValue(L"a"); }).message,
              "Column 'a' not found in table ''");
    EXPECT_EQ(ThrownBy([&] { closed.IsFieldNull(&member); }).message, "Out of recordset range");
    EXPECT_EQ(ThrownBy([&] { closed.SetFieldValue(0, value); }).message,
              "SetFieldValue(...) without proper update operation");
    closed.AddNew();
    closed.SetFieldValue(0, value);
    const auto update = ThrownBy([&] { closed.Update(); });
    EXPECT_EQ(update.source, "Db_Recordset");
    EXPECT_EQ(update.message,
              "Read only recordset (or database), cannot be modified (Update operation)");
    EXPECT_EQ(ThrownBy([&] { closed.Delete(); }).message,
              "Read only recordset (or database), cannot be modified (Delete operation)");

    // Without a database Open makes one on GetDefaultDBName(): none here, so
    // the query fails, and Close releases that database.
    EXPECT_FALSE(closed.Open(L"select * from t"));
    EXPECT_NE(closed.GetDatabase(), nullptr);
    closed.Close();
    EXPECT_EQ(closed.GetDatabase(), nullptr);
}

TEST_F(NavigationTest, BookmarksCountFromTwoAndFollowTheLastUpdate) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    DbRecordset::bookmarkid = 0;
    rs.Move(2);
    EXPECT_EQ(rs.GetBookmark(), 2u);
    EXPECT_EQ(DbRecordset::bookmarkid, 1u);
    rs.MoveLast();
    EXPECT_EQ(rs.GetBookmark(), 3u);
    EXPECT_TRUE(rs.IsBookmark(2));
    EXPECT_FALSE(rs.IsBookmark(1));
    EXPECT_TRUE(rs.SetBookmark(2));
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);
    EXPECT_FALSE(rs.SetBookmark(99));
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);

    // Bookmark 0 stands for the row the last Update wrote.
    rs.Edit();
    CComVariant v(30);
    rs.SetFieldValue(L"a", v);
    rs.Update();
    rs.MoveFirst();
    EXPECT_EQ(rs.GetLastModifiedBookmark(), 0u);
    EXPECT_TRUE(rs.SetBookmark(0));
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);
    EXPECT_EQ(Field(rs, 0), "30");

    // Taking a bookmark drops a pending edit; a bookmark outside the rows
    // still moves there.
    rs.Edit();
    rs.GetBookmark();
    EXPECT_EQ(ThrownBy([&] { rs.SetFieldValue(0, v); }).message,
              "SetFieldValue(...) without proper update operation");
    rs.MoveLast();
    rs.MoveNext();
    const uint64_t past = rs.GetBookmark();
    rs.MoveFirst();
    EXPECT_TRUE(rs.SetBookmark(past));
    EXPECT_TRUE(rs.IsEOF());

    // Bookmarks belong to the recordset; a copy takes them along.
    DbRecordset copy(rs);
    EXPECT_TRUE(copy.IsBookmark(past));
    rs.Close();
    EXPECT_FALSE(rs.IsBookmark(past));
    EXPECT_TRUE(copy.SetBookmark(2));
    EXPECT_EQ(Field(copy, 0), "30");
}

TEST_F(NavigationTest, FindsWalkConditionsBothWays) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    const struct {
        const char* what;
        std::function<bool(DbRecordset&)> find;
        bool result;
        LONG cursor;
    } steps[] = {
        {"first a > 2", [](DbRecordset& r) { return r.FindFirst(L"a > 2"); }, true, 0},
        {"next", [](DbRecordset& r) { return r.FindNext(L"a > 2"); }, true, 3},
        {"next", [](DbRecordset& r) { return r.FindNext(L"a > 2"); }, true, 4},
        {"no next", [](DbRecordset& r) { return r.FindNext(L"a > 2"); }, false, 4},
        {"prev", [](DbRecordset& r) { return r.FindPrev(L"A > 2"); }, true, 3},
        {"last, case ignored", [](DbRecordset& r) { return r.FindLast(L"b = 'Y'"); }, true, 4},
        {"prev y", [](DbRecordset& r) { return r.FindPrev(L"b = 'y'"); }, true, 1},
        {"unspaced", [](DbRecordset& r) { return r.FindFirst(L"a >=5"); }, true, 3},
        {"and/or", [](DbRecordset& r) { return r.FindFirst(L"c < 1 and (b = 'x' or b = 'z')"); },
         true, 2},
        {"Find first", [](DbRecordset& r) { return r.Find(DbRecordset::foFirst, L"c = 3"); }, true,
         4},
        {"Find prev", [](DbRecordset& r) { return r.Find(DbRecordset::foPrev, L"a < 3"); }, true,
         2},
        {"Find 4", [](DbRecordset& r) { return r.Find(DbRecordset::eFindOperation(4), L"a = 1"); },
         false, 2},
        {"no such field", [](DbRecordset& r) { return r.FindFirst(L"nothing = 1"); }, false, 2},
        {"Move(-3)", [](DbRecordset& r) { return r.Move(-3); }, false, -1},
        {"next from -1", [](DbRecordset& r) { return r.FindNext(L"a = 3"); }, true, 0},
        {"Move(-2)", [](DbRecordset& r) { return r.Move(-2); }, false, -2},
        {"next from -2 finds nothing", [](DbRecordset& r) { return r.FindNext(L"a = 3"); }, false,
         -2},
        {"Move(100)", [](DbRecordset& r) { return r.Move(100); }, false, 98},
        {"prev from past the end", [](DbRecordset& r) { return r.FindPrev(L"a = 4"); }, true, 4},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(step.find(rs), step.result) << step.what;
        EXPECT_EQ(rs.GetAbsolutePosition(), step.cursor) << step.what;
        EXPECT_THAT(rs.GetTableDescr()->GetFilters(), IsEmpty()) << step.what;
    }

    TakeLog(db);
    rs.FindFirst(L"a > 2");
    EXPECT_THAT(TakeLog(db),
                ElementsAre("SQL Analyze - query 'a > 2'", "SQL Analyze - ok",
                            test_patterns::HasShape("FindRow 'a > 2' processed in +.#### [s]")));
    rs.FindFirst(L"a >");
    EXPECT_THAT(TakeLog(db),
                ElementsAre("SQL Analyze - query 'a >'", "SQL Analyze - invalid condintion 'a >'",
                            "SQL Analyze - failed"));
    rs.MoveFirst();
    EXPECT_FALSE(rs.FindPrev(L"a > 2"));  // at 0: not even analysed
    EXPECT_THAT(TakeLog(db), IsEmpty());
}

TEST_F(NavigationTest, IndexOrderIsThatOfBinaryInsertion) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    ASSERT_TRUE(table->descr->CreateIndex(L"byB", L"b"));
    ASSERT_TRUE(rs.SetCurrentIndex(L"BYB"));
    EXPECT_EQ(rs.GetCurrentIndex(), CString(L"byB"));
    // x, y, X, z, y: X meets x at once and goes before it; the second y meets
    // the first y and goes before it.
    EXPECT_EQ(Order(rs, L"byb"), (std::vector<uint64_t>{2, 0, 4, 1, 3}));
    EXPECT_TRUE(rs.MoveFirst());
    EXPECT_EQ(Field(rs, 1), "X");
    EXPECT_EQ(rs.GetCurrentRow(), table->data->GetRow(2));
    EXPECT_TRUE(rs.FindNext(L"b = 'y'"));
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);
    EXPECT_EQ(Field(rs, 0), "4");

    // The same index by name again is taken as it is; by pointer it is
    // built again.
    DbTableDescr::DbIndex* index = table->descr->FindIndex(L"byb");
    index->m_rowOrder = {4, 3, 2, 1, 0};
    EXPECT_TRUE(rs.SetCurrentIndex(L"byb"));
    EXPECT_EQ(index->m_rowOrder, (std::vector<uint64_t>{4, 3, 2, 1, 0}));
    EXPECT_TRUE(rs.SetCurrentIndex(index));
    EXPECT_EQ(index->m_rowOrder, (std::vector<uint64_t>{2, 0, 4, 1, 3}));

    // Another index with an order already built is taken as it is.
    ASSERT_TRUE(table->descr->CreateIndex(L"byA", L"a"));
    DbTableDescr::DbIndex* byA = table->descr->FindIndex(L"bya");
    byA->m_rowOrder = {0, 1, 2, 3, 4};
    EXPECT_TRUE(rs.SetCurrentIndex(byA));
    EXPECT_EQ(byA->m_rowOrder, (std::vector<uint64_t>{0, 1, 2, 3, 4}));
    EXPECT_TRUE(rs.SetCurrentIndex(L"bya"));
    EXPECT_EQ(byA->m_rowOrder, (std::vector<uint64_t>{0, 1, 2, 3, 4}));

    EXPECT_TRUE(rs.SetCurrentIndex(static_cast<const DbTableDescr::DbIndex*>(nullptr)));
    EXPECT_EQ(rs.GetCurrentIndex(), CString());
    EXPECT_FALSE(rs.SetCurrentIndex(static_cast<const DbTableDescr::DbIndex*>(nullptr)));
    EXPECT_FALSE(rs.SetCurrentIndex(L"nothing"));
    DbTableDescr::DbIndex stray(L"stray", L"nothing");
    EXPECT_FALSE(rs.SetCurrentIndex(&stray));
    EXPECT_EQ(rs.GetCurrentIndex(), CString());
}

TEST_F(NavigationTest, SeekFindsKeysThroughTheCurrentIndex) {
    DbRecordset rs(&db);
    rs.Open(L"t");
    CComVariant four(4);
    EXPECT_FALSE(rs.Seek(L"==", &four));  // no index current
    table->descr->CreateIndex(L"bya", L"a");
    table->descr->CreateIndex(L"byab", std::vector<CString>{L"a", L"b"});
    table->descr->CreateIndex(L"byb", L"b");
    ASSERT_TRUE(rs.SetCurrentIndex(L"bya"));  // a: 1 2 3 4 5 = rows 1 2 0 4 3

    EXPECT_TRUE(rs.Seek(L"=", &four));
    EXPECT_EQ(rs.GetAbsolutePosition(), 3);
    EXPECT_EQ(Field(rs, 0), "4");
    CComVariant seven(7);
    EXPECT_FALSE(rs.Seek(L"==", &seven));
    EXPECT_EQ(rs.GetAbsolutePosition(), 3);

    // Other operators search a condition in index order.
    TakeLog(db);
    CComVariant three(3);
    EXPECT_TRUE(rs.Seek(L">=", &three));
    EXPECT_EQ(rs.GetAbsolutePosition(), 2);
    EXPECT_EQ(Field(rs, 0), "3");
    const struct {
        const wchar_t* index;
        std::vector<CComVariant> keys;
        const char* criteria;
    } texts[] = {
        {L"byab", {CComVariant(1), CComVariant(L"x")}, "a >= 1 and b >= 'x'"},
        {L"byb", {CComVariant(L"'[x]'")}, "b >= 'x'"},
        {L"byb", {CComVariant(L"\"y")}, "b >= 'y'"},
        {L"bya", {CComVariant(2.5)}, "a >= 2.5"},
    };
    for (const auto& text : texts) {
        rs.SetCurrentIndex(text.index);
        TakeLog(db);
        std::vector<CComVariant> keys = text.keys;
        rs.Seek(L">=", keys.data(), keys.size());
        const std::vector<std::string> log = TakeLog(db);
        ASSERT_FALSE(log.empty());
        EXPECT_THAT(log.back(), HasSubstr("FindRow '" + std::string(text.criteria) + "'"));
    }
}

TEST_F(NavigationTest, IndexesThatWentStaleAreNeverFollowedOutOfTheRows) {
    DbRecordset reader(&db);
    reader.Open(L"t");
    table->descr->CreateIndex(L"bya", L"a");
    reader.SetCurrentIndex(L"bya");
    DbRecordset writer(&db);
    writer.Open(L"t");
    writer.MoveLast();
    writer.Delete();  // the index of the other recordset still lists 5 rows
    CComVariant one(1);
    EXPECT_FALSE(reader.Seek(L"=", &one));
    reader.MoveLast();  // position 3: row 4, which is gone
    EXPECT_EQ(reader.GetCurrentRow(), nullptr);
    EXPECT_EQ(ThrownBy([&] { reader.GetFieldValue(0, one); }).message, "Out of recordset range");

    // A query answer computed again drops its indexes with its descriptor.
    DbRecordset answer(&db);
    ASSERT_TRUE(answer.Open(L"select * from t where a > 1"));
    answer.GetTableDescr()->CreateIndex(L"bya", L"a");
    ASSERT_TRUE(answer.SetCurrentIndex(L"bya"));
    table->data->GetRow(0)->GetField(0).SetChanged();
    db.GetTableData(L"t");
    CString name;
    db.Query(L"select * from t where a > 1", name);
    EXPECT_EQ(answer.GetCurrentIndex(), CString());
    EXPECT_TRUE(answer.MoveFirst());
}

// A recordset that names its own file and query.
class Catalogue : public DbRecordset {
  public:
    explicit Catalogue(std::string file) : m_file(std::move(file)) {}
    CString GetDefaultDBName() override { return CString(m_file.c_str()); }
    CString GetDefaultSQL() override { return L"select a, b from t where a > 2"; }

  private:
    std::string m_file;
};

TEST_F(NavigationTest, OpenWithoutDatabaseUsesTheDefaults) {
    const std::string file =
        (std::filesystem::temp_directory_path() / "korvan_recordset_defaults.xml").string();
    ASSERT_TRUE(db.Save(CString(file.c_str())));
    Catalogue catalogue(file);
    ASSERT_TRUE(catalogue.Open());
    EXPECT_EQ(catalogue.GetRecordCount(), 3);
    EXPECT_EQ(catalogue.GetFieldCount(), 2u);
    DbRecordset copy(catalogue);
    catalogue.Close();  // the copy keeps the database alive
    EXPECT_TRUE(copy.MoveLast());
    EXPECT_EQ(Field(copy, 1), "y");
    std::remove(file.c_str());

    Catalogue missing(file);
    EXPECT_THAT(ThrownBy([&] { missing.Open(); }).message, HasSubstr("Invalid source file"));
}

}  // namespace
