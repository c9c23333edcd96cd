#include <gtest/gtest.h>
#include <korvan/database.h>
#include <korvan/query.h>

#include <random>
#include <string>
#include <vector>

#include "platform/format.h"
#include "query_tables.h"

namespace {

using querytest::TakeLog;
using querytest::Utf8;
using Lines = std::vector<std::string>;

class AnalyzeTest : public ::testing::Test {
  protected:
    AnalyzeTest() {
        db.Create(L"");  // no file: nothing is ever written
        parts = querytest::MakeTable(db, L"Parts",
                                     {{L"id", DbFieldDescr::ftLong},
                                      {L"Name", DbFieldDescr::ftText},
                                      {L"weight", DbFieldDescr::ftDouble},
                                      {L"qty", DbFieldDescr::ftLong}},
                                     {});
        querytest::MakeTable(db, L"t2",
                             {{L"id", DbFieldDescr::ftLong}, {L"name", DbFieldDescr::ftText}}, {});
        TakeLog(db);
    }

    DbDatabase db;
    DbTableInfo* parts;
};

// Each statement's log: its text, one line per problem, then "ok" or, after
// any problem, "failed".
TEST_F(AnalyzeTest, WritesOneLinePerProblem) {
    const std::string no = "SQL Analyze - no ";
    const std::string check = "SQL Analyze - check 'SELECT' and/or 'FROM' statement";
    const struct {
        const wchar_t* sql;
        Lines problems;
    } cases[] = {
        // Unbalanced brackets are the clause's business, not the analysis'.
        {L"select * from parts where ((id > 2)", {}},
        {L"select id from parts where weight =", {"SQL Analyze - invalid condintion 'weight ='"}},
        {L"select id", {check}},
        // Text before "select" swallows the rest of the statement.
        {L"junk select id from parts", {check}},
        {L"select id from nothere where id = 1",
         {no + "table 'nothere' found", no + "table 'nothere' found"}},
        {L"select id where id = 1 from parts", {no + "tables defined, check 'FROM' statement"}},
        // Every FROM table must hold every selected field; a table's first
        // miss ends its check, and the line names the first table.
        {L"select weight, qty, nope from parts, t2",
         {no + "'nope' field found in 'parts' table",
          no + "'weight' field found in 'parts' table"}},
        {L"select id from parts where qty < abc or name = qty",
         {"SQL Analyze - invalid condition 'qty < abc'",
          "SQL Analyze - invalid condition 'name = qty'"}},
    };
    for (const auto& c : cases) {
        const std::string sql = CString(c.sql).ToUtf8();
        SCOPED_TRACE(sql);
        Lines expected{"SQL Analyze - query '" + sql + "'"};
        expected.insert(expected.end(), c.problems.begin(), c.problems.end());
        expected.push_back(c.problems.empty() ? "SQL Analyze - ok" : "SQL Analyze - failed");
        parser::QueryAnalysisParams params;
        EXPECT_EQ(db.AnalyzeSQL(c.sql, &params), c.problems.empty());
        EXPECT_EQ(TakeLog(db), expected);
    }

    // The text is logged in lower case, except quoted constants.
    parser::QueryAnalysisParams params;
    EXPECT_TRUE(
        db.AnalyzeSQL(L"SELECT ID FROM [Parts] WHERE NAME = 'Bolt M8' OR Name = "
                      L"\xFF91MiXeD\xFF91",
                      &params));
    EXPECT_EQ(TakeLog(db), (Lines{"SQL Analyze - query 'select id from [parts] where name = "
                                  "'Bolt M8' or name = \uFF91MiXeD\uFF91'",
                                  "SQL Analyze - ok"}));
}

// The record in one line: fields, tables, conditions, clause, ORDER BY,
// then "desc", "top n" and "distinct" when set.
std::string Summary(const parser::QueryAnalysisParams& p) {
    auto join = [](const std::vector<CString>& words) {
        return korvan::Join(words, L"|").ToUtf8();
    };
    std::string text = join(p.fields) + " / " + join(p.tables) + " / " + join(p.conditions) +
                       " / " + p.clause->GetClauseString() + " / " + join(p.orderBy);
    text += p.descending ? " desc" : "";
    text += p.top >= 0 ? " top " + std::to_string(p.top) : "";
    text += p.distinct ? " distinct" : "";
    return text;
}

TEST_F(AnalyzeTest, FillsTheAnalysisRecord) {
    const struct {
        const wchar_t* sql;
        std::string summary;
    } cases[] = {
        {L"select id, name from parts where weight = 5 and qty < 3 order by id desc",
         "id|name / parts / weight = 5|qty < 3 / exp AND exp / id desc"},
        {L"select distinct top 3x name from parts;", "name / parts /  /  /  top 3 distinct"},
        // Operators are spaced; two-character ones stay whole, quoted text
        // is left alone.
        {L"select id from parts where not(id>=5)or(qty<>2)and name=='A (b)=c'",
         "id / parts / id >= 5|qty <> 2|name == 'A (b)=c' / NOT ( exp ) OR ( exp ) AND exp / "},
        {L"select id from parts, [t2] order by [weight] asc, name desc, qty",
         "id / parts|t2 /  /  / weight|name|qty desc"},
        // "by" is a keyword only after "order"; anything between the two
        // words is lost with the ORDER BY list.
        {L"select id from parts order x by id", "id / parts /  /  / "},
        {L"select id from parts where name = 'abc", "id / parts / name = 'abc / exp / "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(CString(c.sql).ToUtf8());
        parser::QueryAnalysisParams params;
        db.AnalyzeSQL(c.sql, &params);
        EXPECT_EQ(Summary(params), c.summary);
        EXPECT_TRUE(params.pendingCondition.empty());
    }
}

TEST_F(AnalyzeTest, AttachesConditionsToTheFirstTable) {
    parser::QueryAnalysisParams params;
    ASSERT_TRUE(db.AnalyzeSQL(L"select id, name from parts, t2 where name = 'Bolt M8' and id > 2",
                              &params));
    EXPECT_EQ(Utf8(params.words), (Lines{"select", "id", "name", "from", "parts", "t2", "where",
                                         "name", "=", "'Bolt M8'", "and", "id", ">", "2"}));
    ASSERT_EQ(parts->descr->GetFilters().size(), 2u);
    EXPECT_TRUE(db.GetTableDescr(L"t2")->GetFilters().empty());
    EXPECT_EQ(CString(parts->descr->GetFilters()[0]->rightValue.bstrVal).ToUtf8(), "Bolt M8");

    // VerifySQL leaves its filters for the next ClearFilters too.
    EXPECT_TRUE(db.VerifySQL(L"SELECT ID FROM PARTS WHERE QTY < 7"));
    EXPECT_FALSE(db.VerifySQL(L"select id from parts where qty"));
    EXPECT_EQ(parts->descr->GetFilters().size(), 3u);
}

// Malformed text of any kind ends in false and log lines, never in a crash or
// a hang.
TEST_F(AnalyzeTest, SurvivesAnyText) {
    std::vector<CString> texts;
    for (const wchar_t* text : {L"", L"select (", L"select * from parts where ) ) id > 1",
                                L"select * from [parts", L"select top top top", L"<<<===>>>!!=="}) {
        texts.emplace_back(text);
    }
    std::wstring many = L"select * from parts where ";
    for (int i = 0; i < 20000; ++i) {
        many += L"( id > 1 or ";
    }
    texts.emplace_back(many);
    std::mt19937 random(11);
    for (int n = 0; n < 200; ++n) {
        std::wstring junk;
        const int length = static_cast<int>(random() % 200);
        for (int i = 0; i < length; ++i) {
            junk += static_cast<wchar_t>(random() % 2 ? random() % 0x80 : random() % 0x10000);
        }
        texts.emplace_back(junk);
    }
    for (const CString& text : texts) {
        parser::QueryAnalysisParams params;
        const bool ok = db.AnalyzeSQL(text, &params);
        const Lines log = TakeLog(db);
        ASSERT_GE(log.size(), 2u);
        EXPECT_EQ(log.back(), ok ? "SQL Analyze - ok" : "SQL Analyze - failed");
        parts->descr->ClearFilters();
    }
}

}  // namespace
