#include <gtest/gtest.h>
#include <korvan/model.h>
#include <korvan/query.h>

#include <string>
#include <vector>

#include "tests/model/tables.h"

namespace {

using testtables::Null;

// One table without a database: fields of every kind the filters treat
// differently, and one row whose cells each case sets.
class FilterTest : public ::testing::Test {
  protected:
    enum Field { kName, kCode, kPrice, kRatio, kQty, kCount, kFlag, kRaw1, kRaw2 };

    FilterTest()
        : table({{L"name", DbFieldDescr::ftText},
                 {L"code", DbFieldDescr::ftText},
                 {L"price", DbFieldDescr::ftDouble},
                 {L"ratio", DbFieldDescr::ftFloat},
                 {L"qty", DbFieldDescr::ftLong},
                 {L"count", DbFieldDescr::ftLong},
                 {L"flag", DbFieldDescr::ftBoolean},
                 {L"raw1", DbFieldDescr::ftLong},
                 {L"raw2", DbFieldDescr::ftLong}},
                {{}}) {}

    DbTableRow& Row() { return *table.data.GetRow(0); }
    void Set(Field f, const CComVariant& v) { Row()[static_cast<uint64_t>(f)].GetVariant() = v; }

    // The outcome for the row of one filter made from the three words: "1",
    // "0", or "-" when no filter is made.
    std::string Outcome(const CString& left, const CString& op, const CString& right) {
        DbFilter* filter = descr.AddFilter(left, op, right);
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
    Set(kName, CComVariant(L"BOLT"));
    Set(kPrice, CComVariant(3.0));
    Set(kRatio, CComVariant(2.5f));
    Set(kQty, CComVariant(5));
    Set(kFlag, CComVariant(true));
    const struct {
        const wchar_t* left;
        const wchar_t* op;
        const wchar_t* right;
        const char* outcome;
    } cases[] = {
        // Either decimal separator converts; the comparison is numeric.
        {L"price", L">", L"2,5", "1"},
        {L"price", L">", L"2.5", "1"},
        {L"price", L"<", L"'2,99'", "0"},
        {L"ratio", L"==", L"2,5", "1"},
        // Text equality ignores case; quotes of any of the three kinds go.
        {L"name", L"=", L"'bolt'", "1"},
        {L"name", L"==", L"\"Bolt\"", "1"},
        {L"name", L"=",
         L"\xFF91"
         L"bolt\xFF91",
         "1"},
        {L"name", L"=", L"'bolt", "1"},
        {L"name", L"<>", L"'bolt'", "0"},
        {L"'bolt'", L"!=", L"name", "0"},
        // Text order is the collation's, where case still counts.
        {L"name", L">", L"'bolt'", "1"},
        // Constant on the left: 5 < qty, 5 <= qty, ...
        {L"5", L"<", L"qty", "0"},
        {L"5", L"<=", L"qty", "1"},
        {L"flag", L"=", L"true", "1"},
        // An operator the filters do not know compares nothing.
        {L"qty", L"=>", L"5", "0"},
        {L"qty", L"LIKE", L"5", "0"},
        // No filter for what cannot be compared.
        {L"qty", L"<", L"abc", "-"},
        {L"price", L">", L"'x'", "-"},
        {L"name", L"=", L"qty", "-"},
        {L"'a'", L"=", L"'a'", "-"},
        {L"5", L"<", L"6", "-"},
        {L"flag", L"=", L"maybe", "-"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Outcome(c.left, c.op, c.right), c.outcome)
            << CString(c.left).ToUtf8() << " " << CString(c.op).ToUtf8() << " "
            << CString(c.right).ToUtf8();
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
        {kQty, kCount, Null(), Null(), "011100"},
        {kQty, kCount, Null(), CComVariant(1), "000001"},
        {kQty, kCount, CComVariant(1), CComVariant(2), "110001"},
        // Only "==" and "!=" ignore case; the order is the collation's.
        {kName, kCode, CComVariant(L"abc"), CComVariant(L"ABC"), "111000"},
        {kName, kCode, Null(), Null(), "011100"},
        // Deliberately asymmetric: "==" folds case only for text fields,
        // "!=" whenever the left value is text. Two long fields holding the
        // texts abc and ABC are thus neither equal nor unequal.
        {kRaw1, kRaw2, CComVariant(L"abc"), CComVariant(L"ABC"), "110000"},
    };
    for (const auto& c : cases) {
        Set(c.left, c.leftValue);
        Set(c.right, c.rightValue);
        const CString& left = descr.GetField(c.left).GetName();
        const CString& right = descr.GetField(c.right).GetName();
        std::string outcomes;
        for (const wchar_t* op : {L"<", L"<=", L"==", L">=", L">", L"!="}) {
            outcomes += Outcome(left, op, right);
        }
        EXPECT_EQ(outcomes, c.outcomes) << left.ToUtf8() << " and " << right.ToUtf8();
    }
}

TEST_F(FilterTest, KeepsEveryFilterUntilCleared) {
    Set(kQty, CComVariant(5));
    Set(kName, CComVariant(L"x"));
    DbFilter* low = descr.AddFilter(L"qty", L">", L"1");
    DbFilter* high = descr.AddFilter(L"qty", L">", L"9");
    DbFilter* unknown = descr.AddFilter(L"qty", L"~", L"9");
    DbFilter* text = descr.AddFilter(L"NAME", L"=", L"'X'");
    ASSERT_NE(unknown, nullptr);
    ASSERT_EQ(descr.GetFilters(), (std::vector<DbFilter*>{low, high, unknown, text}));
    EXPECT_EQ(low->rightValue.vt, VT_I4);  // the constant in the field's type

    // A default filter has nothing to run: its outcome is false.
    DbFilter plain;
    plain = *low;
    descr.Evaluate(Row());
    EXPECT_TRUE(low->value());
    EXPECT_FALSE(high->value());
    EXPECT_FALSE(unknown->value());
    EXPECT_TRUE(text->value());
    EXPECT_FALSE(plain.value()) << "the copy took the outcome it had when copied";
    DbFilter copy(*low);
    EXPECT_TRUE(copy.value());
    copy.Evaluate(Row());
    EXPECT_TRUE(copy.value());
    DbFilter empty;
    empty.Evaluate(Row());
    EXPECT_FALSE(empty.value());

    descr.ClearFilters();
    EXPECT_TRUE(descr.GetFilters().empty());
}

}  // namespace
