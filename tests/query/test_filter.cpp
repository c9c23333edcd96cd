#include <gtest/gtest.h>
#include <korvan/model.h>
#include <korvan/query.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/model/tables.h"

namespace {

using testtables::Null;

// One table without a database: fields of every kind the filters treat
// differently, and one row (BOLT, null, 3.0, 2.5, 5, null, true).
class FilterTest : public ::testing::Test {
  protected:
    enum Field { kName, kCode, kPrice, kRatio, kQty, kCount, kFlag };

    FilterTest()
        : table({{L"name", DbFieldDescr::ftText},
                 {L"code", DbFieldDescr::ftText},
                 {L"price", DbFieldDescr::ftDouble},
                 {L"ratio", DbFieldDescr::ftFloat},
                 {L"qty", DbFieldDescr::ftLong},
                 {L"count", DbFieldDescr::ftLong},
                 {L"flag", DbFieldDescr::ftBoolean}},
                {{CComVariant(L"BOLT"), Null(), CComVariant(3.0), CComVariant(2.5f), CComVariant(5),
                  Null(), CComVariant(true)}}) {}

    DbTableRow& Row() { return *table.data.GetRow(0); }
    void Set(Field f, const CComVariant& v) { Row()[static_cast<uint64_t>(f)].GetVariant() = v; }

    // The outcome for the row of one filter made from the three words of the
    // condition: "1", "0", or "-" when no filter is made.
    std::string Outcome(const std::string& condition) {
        std::istringstream words(condition);
        std::string left, op, right;
        words >> left >> op >> right;
        DbFilter* filter = descr.AddFilter(left.c_str(), op.c_str(), right.c_str());
        if (filter == nullptr) {
            return "-";
        }
        Row().Evaluate();
        const bool outcome = filter->value();
        descr.ClearFilters();
        return outcome ? "1" : "0";
    }

    testtables::Table table;
    DbTableDescr& descr = table.descr;
};

TEST_F(FilterTest, ComparesFieldsWithConstants) {
    const struct {
        const char* condition;
        const char* outcome;
    } cases[] = {
        // Either decimal separator converts; the comparison is numeric.
        {"price > 2,5", "1"},
        {"price > 2.5", "1"},
        {"ratio == 2,5", "1"},
        // Text equality ignores case; a quote of any of the three kinds goes
        // from each end on its own.
        {"name == \"Bolt\"", "1"},
        {"name = \uFF91bolt\uFF91", "1"},
        {"name = 'bolt", "1"},
        {"'bolt' != name", "0"},
        // A constant on the left stays on the left: 4 < qty.
        {"4 < qty", "1"},
        {"flag = true", "1"},
        // An operator the filters do not know compares nothing.
        {"qty => 5", "0"},
        // No filter for what cannot be compared.
        {"qty < abc", "-"},
        {"name = qty", "-"},
        {"5 < 6", "-"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Outcome(c.condition), c.outcome) << c.condition;
    }
    EXPECT_TRUE(descr.GetFilters().empty());

    // Two fields without a type make no filter either.
    DbTableDescr untyped(nullptr);
    untyped.CreateField(L"a", false, DbFieldDescr::ftUnknown);
    untyped.CreateField(L"b", false, DbFieldDescr::ftUnknown);
    EXPECT_EQ(untyped.AddFilter(L"a", L"=", L"b"), nullptr);
}

TEST_F(FilterTest, NullsAndTheCaseRulesOfFieldPairs) {
    const struct {
        Field left;
        Field right;
        CComVariant leftValue;
        CComVariant rightValue;
        const char* outcomes;  // for "<", "<=", "==", ">=", ">" and "!="
    } cases[] = {
        {kQty, kCount, Null(), CComVariant(1), "000001"},
        {kQty, kCount, CComVariant(1), CComVariant(2), "110001"},
        // Only "==" and "!=" ignore case; the order is the collation's.
        {kName, kCode, CComVariant(L"abc"), CComVariant(L"ABC"), "111000"},
        {kName, kCode, Null(), Null(), "011100"},
        // Deliberately asymmetric: "==" folds case only for text fields,
        // "!=" whenever the left value is text. Two long fields holding the
        // texts abc and ABC are thus neither equal nor unequal.
        {kQty, kCount, CComVariant(L"abc"), CComVariant(L"ABC"), "110000"},
    };
    for (const auto& c : cases) {
        Set(c.left, c.leftValue);
        Set(c.right, c.rightValue);
        const std::string left = descr.GetField(c.left).GetName().ToUtf8();
        const std::string right = descr.GetField(c.right).GetName().ToUtf8();
        std::string outcomes;
        for (const char* op : {"<", "<=", "==", ">=", ">", "!="}) {
            outcomes += Outcome(left + " " + op + " " + right);
        }
        EXPECT_EQ(outcomes, c.outcomes) << left << " and " << right;
    }
}

// Every filter stays on the descriptor, in order, and one Evaluate runs them
// all; a copy evaluates like its source, a default filter gives false.
TEST_F(FilterTest, KeepsEveryFilterUntilCleared) {
    DbFilter* low = descr.AddFilter(L"qty", L">", L"1");
    DbFilter* high = descr.AddFilter(L"qty", L">", L"9");
    DbFilter* text = descr.AddFilter(L"NAME", L"=", L"'bolt'");
    ASSERT_EQ(descr.GetFilters(), (std::vector<DbFilter*>{low, high, text}));
    EXPECT_EQ(low->rightValue.vt, VT_I4);  // the constant in the field's type

    descr.Evaluate(Row());
    EXPECT_TRUE(low->value());
    EXPECT_FALSE(high->value());
    EXPECT_TRUE(text->value());
    DbFilter copy(*high);
    EXPECT_FALSE(copy.value()) << "a copy starts with the outcome of its source";
    Set(kQty, CComVariant(10));
    copy.Evaluate(Row());
    EXPECT_TRUE(copy.value());
    DbFilter empty;
    empty.Evaluate(Row());
    EXPECT_FALSE(empty.value());
}

}  // namespace
