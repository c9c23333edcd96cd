// Query execution: answers with TOP, ORDER BY, DISTINCT and conditions,
// pass-through and reuse of earlier answers, bound and copied rows, and the
// filters a query leaves behind (none).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvan/database.h>
#include <korvan/query.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "query_tables.h"
#include "tests/patterns.h"

namespace {

using querytest::Cells;
using querytest::Null;
using querytest::TakeLog;
using Rows = std::vector<std::vector<std::string>>;

using QueryTest = querytest::SampleTableTest;

TEST_F(QueryTest, AnswersFollowTheRules) {
    const struct {
        const wchar_t* sql;
        Rows rows;
    } cases[] = {
        // TOP takes the first matching rows in table order, before ordering.
        {L"select top 2 a from t order by a desc", {{"3"}, {"1"}}},
        {L"select top 3 a, b from t where b = 'X'", {{"3", "x"}, {"1", "X"}, {"3", "x"}}},
        {L"select top 0 a from t", {}},
        // Insertion at the position the binary search finds: the later of two
        // equal rows (3, 4) lands before the earlier one (3, 1).
        {L"select a, c from t where a > 1 order by a",
         {{"2", "null"}, {"3", "4"}, {"3", "1"}, {"5", "5"}}},
        // A name that is no field does not order.
        {L"select a from t order by nope desc", {{"3"}, {"1"}, {"2"}, {"3"}, {"5"}, {"1"}}},
        {L"select a from t where a > 2 order by nope, a desc", {{"5"}, {"3"}, {"3"}}},
        // Text keys that differ only in case are equal, so x and X sit where
        // the search met them; otherwise the collation orders.
        {L"select b from t order by b", {{"X"}, {"x"}, {"x"}, {"x"}, {"Y"}, {"y"}}},
        // DISTINCT keeps the first of equal rows and does not fold case.
        {L"select distinct b from t", {{"x"}, {"X"}, {"y"}, {"Y"}}},
        {L"select distinct top 4 a from t order by a", {{"1"}, {"2"}, {"3"}}},
        {L"select distinct b, a from t where a < 5 order by a desc",
         {{"x", "3"}, {"y", "2"}, {"X", "1"}, {"x", "1"}}},
        // Conditions: case-insensitive text equality, NOT, brackets, nulls.
        {L"select b, a from t where b = 'X' and not a = 1", {{"x", "3"}, {"x", "3"}}},
        {L"select a from t where (a = 1 or a = 2) and c >= 2", {{"1"}, {"1"}}},
        // Operators group from the right: a = 2 and (c >= 2 or a = 1).
        {L"select a from t where a = 2 and c >= 2 or a = 1", {}},
        // A field selected twice makes one column.
        {L"select a, a from t where a = 5", {{"5"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(CString(c.sql).ToUtf8());
        CString name;
        ASSERT_TRUE(db.Query(c.sql, name));
        EXPECT_EQ(Cells(db.GetTableData(name)), c.rows);
        EXPECT_TRUE(table->descr->GetFilters().empty());
    }
}

// Whatever step a query fails at, the filters its analysis attached go with
// it: none is left to be evaluated on the rows of later queries, which would
// read cells by the positions of fields that may no longer exist.
TEST_F(QueryTest, FailedQueriesLeaveNoFilterBehind) {
    const wchar_t* failing[] = {
        L"select a from t where c > 1 and nope = 2",  // the analysis fails late
        L"select zz from t where c > 1",              // a field the table lacks
        L"select a from t where (c > 1 or b = 'x'",   // brackets out of balance
        L"select a from t where c > 1 and c <",       // an unfinished condition
    };
    for (const wchar_t* sql : failing) {
        SCOPED_TRACE(CString(sql).ToUtf8());
        CString name;
        EXPECT_FALSE(db.Query(sql, name));
        EXPECT_TRUE(table->descr->GetFilters().empty());
    }
    // Filters that an analysis without execution left stay until the next
    // query over the table has run, successful or not.
    ASSERT_TRUE(db.VerifySQL(L"select a from t where c > 1"));
    CString name;
    EXPECT_FALSE(db.Query(L"select a from t where (a > 1", name));
    EXPECT_TRUE(table->descr->GetFilters().empty());

    ASSERT_TRUE(table->descr->DeleteField(L"c"));
    ASSERT_TRUE(db.Query(L"select a from t where b = 'x' and a < 3", name));
    EXPECT_EQ(Cells(db.GetTableData(name)), (Rows{{"1"}, {"1"}}));
    EXPECT_TRUE(table->descr->GetFilters().empty());
}

TEST_F(QueryTest, NamesAndPassThrough) {
    CString name;
    const LONG count = DbDatabase::m_queriesCount;
    EXPECT_TRUE(db.Query(L"[t]", name));
    EXPECT_EQ(name, CString(L"T"));
    EXPECT_FALSE(db.Query(L"nothere", name));
    EXPECT_EQ(TakeLog(db), (std::vector<std::string>{"SQL Analyze - table 'nothere' not found"}));
    for (const wchar_t* sql : {L"select * from t", L"SELECT A, B, C FROM [T]",
                               L"select distinct * from t", L"select * from t order by"}) {
        SCOPED_TRACE(CString(sql).ToUtf8());
        EXPECT_TRUE(db.Query(sql, name));
        EXPECT_EQ(name, CString(L"T"));
    }
    EXPECT_EQ(DbDatabase::m_queriesCount, count + 6);
    EXPECT_EQ(db.GetTablesCount(), 3) << "nothing but Header, Properties and T";

    // Anything less than the whole table is a query of its own; failures
    // use up a number too.
    EXPECT_FALSE(db.Query(L"select a from t where (a > 1", name));
    EXPECT_EQ(TakeLog(db).back(), "SQL Analyze - ok") << "an invalid clause adds no line";
    const CString expected = StringBuilder(L"Query_%d", DbDatabase::m_queriesCount);
    EXPECT_TRUE(db.Query(L"select a, b from t", name));
    EXPECT_EQ(name, expected);
    EXPECT_THAT(TakeLog(db).back(),
                test_patterns::HasShape("Query 'Query_+' processed in +.#### [s]"));
    EXPECT_EQ(DbDatabase::m_queriesCount, count + 8);
}

TEST_F(QueryTest, BindsAllFieldsAndCopiesTheRest) {
    CString all;
    ASSERT_TRUE(db.Query(L"select * from t where a > 2", all));
    DbTableData* bound = db.GetTableData(all);
    ASSERT_EQ(bound->size(), 3u);
    EXPECT_TRUE(bound->GetRows()->IsBinded());
    EXPECT_EQ(bound->GetRow(2), table->data->GetRow(4));
    EXPECT_FALSE(bound->IsChanged());

    CString some;
    ASSERT_TRUE(db.Query(L"select c, a from t where a > 2", some));
    EXPECT_EQ(Cells(db.GetTableData(some)), (Rows{{"1", "3"}, {"4", "3"}, {"5", "5"}}));

    // A query over a bound query reaches the same rows.
    CString nested;
    ASSERT_TRUE(db.Query(L"select * from " + all + L" where c > 2 order by c desc", nested));
    DbTableData* inner = db.GetTableData(nested);
    ASSERT_EQ(inner->size(), 2u);
    EXPECT_EQ(inner->GetRow(0), table->data->GetRow(4));
    EXPECT_EQ(inner->GetRow(1), table->data->GetRow(3));
}

TEST_F(QueryTest, ReusesAndRecomputes) {
    const wchar_t* sql = L"select a, b from t where a >= 3";
    CString first;
    ASSERT_TRUE(db.Query(sql, first));
    const DbTableRow* row = db.GetTableData(first)->GetRow(0);
    TakeLog(db);

    // The identical text answers with the same entry and, while the source
    // is unchanged, computes nothing.
    CString second;
    ASSERT_TRUE(db.Query(sql, second));
    EXPECT_EQ(second, first);
    EXPECT_EQ(db.GetTableData(first)->GetRow(0), row);
    EXPECT_EQ(TakeLog(db).size(), 3u) << "analysis lines and the timing line only";
    CString other;
    ASSERT_TRUE(db.Query(L"select a, b from t where a >= 3 ", other));
    EXPECT_NE(other, first) << "reuse needs the very same text";

    // After an edit of the source, reading the answer recomputes it.
    table->data->GetRow(2)->GetField(0).SetValue(CComVariant(4));
    EXPECT_FALSE(db.GetTableInfo(first)->IsQuerySync());
    EXPECT_EQ(Cells(db.GetTableData(first)),
              (Rows{{"3", "x"}, {"4", "y"}, {"3", "x"}, {"5", "Y"}}));
    table->data->GetRow(0)->GetField(1).SetValue(CComVariant(L"z"));
    CString again;
    ASSERT_TRUE(db.Query(sql, again));
    EXPECT_EQ(again, first);
    EXPECT_EQ(Cells(db.GetTableData(first)),
              (Rows{{"3", "z"}, {"4", "y"}, {"3", "x"}, {"5", "Y"}}));

    // Deleting the table deletes every query computed from it.
    db.DeleteTable(L"t");
    EXPECT_EQ(db.GetTablesCount(), 2) << "nothing but Header and Properties";
}

// ORDER BY and DISTINCT against straightforward implementations on data with
// many ties: text equality ignores case while text order does not, so equal
// rows do not simply sit together and the binary search's hits matter; texts
// of different code points may still be equal, and so may 0 and -0. With all
// fields selected the answers share the table's rows.
TEST(QueryReference, OrderAndDistinctMatchPlainImplementations) {
    DbDatabase db;
    db.Create(L"");
    std::mt19937 random(5);
    // \u00e1 and a\u0301 are one text to the collation.
    const wchar_t* texts[] = {L"a", L"A", L"b", L"\u00e1", L"a\u0301", L"ab", L"aB", L""};
    std::vector<std::vector<CComVariant>> values;
    std::vector<uint64_t> all;
    std::vector<uint64_t> notThree;
    for (uint64_t i = 0; i < 3000; ++i) {
        const unsigned r = random();
        all.push_back(i);
        if (r % 4 != 3) {
            notThree.push_back(i);
        }
        values.push_back({CComVariant(static_cast<int>(r % 4)), CComVariant(texts[(r >> 4) % 8]),
                          (r >> 8) % 7 == 0
                              ? Null()
                              : CComVariant(((r >> 14) % 2 ? -1.0 : 1.0) * ((r >> 12) % 3))});
    }
    DbTableData* data = querytest::MakeTable(db, L"t",
                                             {{L"a", DbFieldDescr::ftLong},
                                              {L"b", DbFieldDescr::ftText},
                                              {L"c", DbFieldDescr::ftDouble}},
                                             values)
                            ->data;
    auto row = [&](uint64_t r) -> const DbTableRow& { return *data->GetRow(static_cast<int>(r)); };

    // Insertion into a vector at the position SpatialIndex gives.
    auto ordered = [&](const std::vector<uint64_t>& selection, const std::vector<uint64_t>& fields,
                       bool descending) {
        std::vector<uint64_t> sorted;
        for (const uint64_t r : selection) {
            const uint64_t pos = data->SpatialIndex(sorted, fields, row(r));
            sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(pos), r);
        }
        if (descending) {
            std::reverse(sorted.begin(), sorted.end());
        }
        return sorted;
    };
    // Every row against every row kept so far, with CComVariant's ==.
    const uint64_t fields[] = {0, 1, 2};
    auto distinct = [&](const std::vector<uint64_t>& selection) {
        std::vector<uint64_t> kept;
        for (const uint64_t r : selection) {
            const bool seen = std::any_of(kept.begin(), kept.end(), [&](uint64_t k) {
                return std::all_of(fields, fields + 3, [&](uint64_t f) {
                    const VARIANT& other = row(k)[f].GetVariant();
                    return row(r)[f].GetVariant() == other;
                });
            });
            if (!seen) {
                kept.push_back(r);
            }
        }
        return kept;
    };

    const struct {
        const wchar_t* sql;
        std::vector<uint64_t> expected;
    } cases[] = {
        {L"select * from t where a <> 3 order by b, a", ordered(notThree, {1, 0}, false)},
        {L"select * from t order by c desc", ordered(all, {2}, true)},
        {L"select distinct * from t where a <> 3", distinct(notThree)},
        {L"select distinct * from t order by b", distinct(ordered(all, {1}, false))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(CString(c.sql).ToUtf8());
        CString name;
        ASSERT_TRUE(db.Query(c.sql, name));
        DbTableData* answer = db.GetTableData(name);
        ASSERT_EQ(answer->size(), c.expected.size());
        for (size_t i = 0; i < c.expected.size(); ++i) {
            ASSERT_EQ(answer->GetRow(static_cast<int>(i)), &row(c.expected[i])) << i;
        }
    }
}

}  // namespace
