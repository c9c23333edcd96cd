// WHERE conditions evaluated row by row: a condition text analysed on its own
// against one table, row selection over a range with a limit, and the guard
// that takes the filters off the descriptor.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvan/database.h>
#include <korvan/query.h>

#include <string>
#include <vector>

#include "query/Db_Where.h"
#include "query_tables.h"

namespace {

using korvan::FilterScope;
using korvan::TableCondition;
using korvan::WhereClause;
using querytest::TakeLog;
using Positions = std::vector<uint64_t>;

class WhereTest : public querytest::SampleTableTest {
  protected:
    // The rows of data that condition matches, by position.
    static Positions Matching(TableCondition& condition, DbTableData& data) {
        Positions matching;
        for (uint64_t i = 0; i < data.size(); ++i) {
            if (condition.Matches(*data.GetRow(static_cast<int>(i)))) {
                matching.push_back(i);
            }
        }
        return matching;
    }
};

TEST_F(WhereTest, ConditionTextsOnOneTable) {
    const struct {
        const wchar_t* condition;
        Positions matching;
    } cases[] = {
        {L"a = 3", {0, 3}},
        // Lower-cased and spaced like a statement; NOT covers what follows.
        {L"NOT b = 'X' AND c>=2", {0, 2, 4}},
        {L"c > 1 and (a < 2 or a > 4)", {1, 4, 5}},
        {L"b <> 'x'", {2, 4}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(CString(c.condition).ToUtf8());
        TableCondition condition(db, L"t", c.condition);
        ASSERT_TRUE(condition.IsUsable());
        EXPECT_FALSE(table->descr->GetFilters().empty());
        EXPECT_EQ(Matching(condition, *table->data), c.matching);
        EXPECT_EQ(Matching(condition, *table->data), c.matching) << "evaluated again";
    }
    EXPECT_TRUE(table->descr->GetFilters().empty());
    EXPECT_THAT(TakeLog(db), ::testing::Contains("SQL Analyze - query 'not b = 'X' and c>=2'"));

    for (const auto& [name, text] : {std::pair{L"t", L"zz = 1"}, std::pair{L"t", L"a = 1 and b ="},
                                     std::pair{L"nope", L"a = 1"}}) {
        TableCondition condition(db, name, text);
        EXPECT_FALSE(condition.IsUsable()) << CString(text).ToUtf8();
    }
    EXPECT_TRUE(table->descr->GetFilters().empty());
    EXPECT_THAT(TakeLog(db), ::testing::Contains("SQL Analyze - no table 'nope' found"));
}

// A query answer shares its source's rows, which follow the source's
// descriptor; a condition on the answer is evaluated by the answer's filters.
TEST_F(WhereTest, ConditionOnAnAnswerThatSharesItsRows) {
    CString name;
    ASSERT_TRUE(db.Query(L"select * from t where a >= 2 order by a desc", name));
    DbTableData* answer = db.GetTableData(name);
    ASSERT_TRUE(answer->GetRows()->IsBinded());
    TableCondition condition(db, name, L"a = 3");
    ASSERT_TRUE(condition.IsUsable());
    EXPECT_TRUE(table->descr->GetFilters().empty());
    // The answer's rows: a = 5, 3, 3, 2.
    EXPECT_EQ(Matching(condition, *answer), (Positions{1, 2}));
}

TEST_F(WhereTest, SelectionOverARangeWithALimit) {
    parser::QueryAnalysisParams params;
    FilterScope filters(table->descr);
    ASSERT_TRUE(db.AnalyzeSQL(L"select a from t where a >= 2", &params));
    WhereClause where(*table->descr, *params.clause);
    const DbRows& rows = *table->data->GetRows();
    EXPECT_EQ(where.Select(rows, 0, 6, -1), (Positions{0, 2, 3, 4}));
    EXPECT_EQ(where.Select(rows, 1, 4, -1), (Positions{2, 3}));
    EXPECT_EQ(where.Select(rows, 0, 6, 2), (Positions{0, 2}));
    EXPECT_EQ(where.Select(rows, 0, 6, 0), Positions{});
    EXPECT_EQ(where.Select(rows, 4, 4, -1), Positions{});

    // Release clears now; the guard still holds the descriptor and clears
    // what comes later too.
    filters.Release();
    EXPECT_TRUE(table->descr->GetFilters().empty());
    ASSERT_TRUE(db.VerifySQL(L"select a from t where a > 1"));
    DbTableDescr* other = db.CreateTable(L"u", DbTableInfo::TABLE)->descr;
    other->CreateField(L"x", false, DbFieldDescr::ftLong);
    ASSERT_NE(other->AddFilter(L"x", L"=", L"1"), nullptr);
    filters.Watch(other);  // a new descriptor: the old one is cleared first
    EXPECT_TRUE(table->descr->GetFilters().empty());
    EXPECT_EQ(other->GetFilters().size(), 1u);
}

}  // namespace
