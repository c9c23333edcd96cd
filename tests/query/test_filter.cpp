#include <gtest/gtest.h>
#include <korvan/model.h>
#include <korvan/query.h>

#include <memory>
#include <vector>

namespace {

CComVariant Null() {
    CComVariant v;
    v.vt = VT_NULL;
    return v;
}

// One table without a database: fields of every kind the filters treat
// differently, and one row whose cells each case sets.
class FilterTest : public ::testing::Test {
  protected:
    enum Field { kName, kCode, kPrice, kRatio, kQty, kCount, kFlag, kRaw1, kRaw2 };

    FilterTest() : descr(nullptr), data(nullptr, &descr) {
        descr.CreateField(L"name", false, DbFieldDescr::ftText);
        descr.CreateField(L"code", false, DbFieldDescr::ftText);
        descr.CreateField(L"price", false, DbFieldDescr::ftDouble);
        descr.CreateField(L"ratio", false, DbFieldDescr::ftFloat);
        descr.CreateField(L"qty", false, DbFieldDescr::ftLong);
        descr.CreateField(L"count", false, DbFieldDescr::ftLong);
        descr.CreateField(L"flag", false, DbFieldDescr::ftBoolean);
        descr.CreateField(L"raw1", false, DbFieldDescr::ftLong);
        descr.CreateField(L"raw2", false, DbFieldDescr::ftLong);
        data.AddRow();
    }

    DbTableRow& Row() { return *data.GetRow(0); }
    void Set(Field f, const CComVariant& v) { Row()[static_cast<uint64_t>(f)].GetVariant() = v; }

    // The outcome of one filter made from the three words for the row.
    bool Outcome(const wchar_t* left, const wchar_t* op, const wchar_t* right) {
        DbFilter* filter = descr.AddFilter(left, op, right);
        EXPECT_NE(filter, nullptr) << "no filter for " << CString(left).ToUtf8() << " "
                                   << CString(op).ToUtf8() << " " << CString(right).ToUtf8();
        if (filter == nullptr) {
            return false;
        }
        Row().Evaluate();
        const bool outcome = filter->value();
        descr.ClearFilters();
        return outcome;
    }

    DbTableDescr descr;
    DbTableData data;
};

TEST_F(FilterTest, ComparesFieldsWithConstants) {
    Set(kName, CComVariant(L"BOLT"));
    Set(kPrice, CComVariant(3.0));
    Set(kRatio, CComVariant(2.5f));
    Set(kQty, CComVariant(5));
    Set(kFlag, CComVariant(true));
    struct Case {
        const wchar_t* left;
        const wchar_t* op;
        const wchar_t* right;
        bool outcome;
    };
    const Case cases[] = {
        // Either decimal separator converts; the comparison is numeric.
        {L"price", L">", L"2,5", true},
        {L"price", L">", L"2.5", true},
        {L"price", L"<", L"10", true},
        {L"price", L"<", L"'2,99'", false},
        {L"ratio", L"==", L"2,5", true},
        {L"ratio", L">=", L"2.5", true},
        {L"ratio", L"<=", L"2.49", false},
        // Text equality ignores case; quotes of any of the three kinds go.
        {L"name", L"=", L"'bolt'", true},
        {L"name", L"==", L"\"Bolt\"", true},
        {L"name", L"=",
         L"\xFF91"
         L"bolt\xFF91",
         true},
        {L"name", L"=", L"'bolt", true},
        {L"name", L"<>", L"'bolt'", false},
        {L"name", L"!=", L"'nut'", true},
        {L"'bolt'", L"!=", L"name", false},
        // Text order is the collation's, where case still counts.
        {L"name", L">", L"'bolt'", true},
        {L"name", L"<", L"'nut'", true},
        // Constant on the left: 5 < qty, 5 <= qty, ...
        {L"5", L"<", L"qty", false},
        {L"5", L"<=", L"qty", true},
        {L"4", L"<", L"qty", true},
        {L"6", L">", L"qty", true},
        {L"qty", L"<>", L"5", false},
        {L"qty", L"=", L"5", true},
        {L"flag", L"=", L"true", true},
        {L"flag", L"=", L"0", false},
        // An operator the filters do not know compares nothing.
        {L"qty", L"=>", L"5", false},
        {L"qty", L"LIKE", L"5", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(CString(c.left).ToUtf8() + " " + CString(c.op).ToUtf8() + " " +
                     CString(c.right).ToUtf8());
        EXPECT_EQ(Outcome(c.left, c.op, c.right), c.outcome);
    }
}

TEST_F(FilterTest, NullsAndTheCaseRulesOfFieldPairs) {
    struct Case {
        Field left;
        Field right;
        CComVariant leftValue;
        CComVariant rightValue;
        // Outcomes for "<", "<=", "==", ">=", ">", "!=".
        bool outcomes[6];
    };
    const Case cases[] = {
        {kQty, kCount, Null(), Null(), {false, true, true, true, false, false}},
        {kQty, kCount, Null(), CComVariant(1), {false, false, false, false, false, true}},
        {kQty, kCount, CComVariant(1), CComVariant(2), {true, true, false, false, false, true}},
        // Only "==" and "!=" ignore case; the order is the collation's.
        {kName,
         kCode,
         CComVariant(L"abc"),
         CComVariant(L"ABC"),
         {true, true, true, false, false, false}},
        {kName, kCode, Null(), Null(), {false, true, true, true, false, false}},
        // Deliberately asymmetric: "==" folds case only for text fields,
        // "!=" whenever the left value is text. Two long fields holding the
        // texts abc and ABC are thus neither equal nor unequal.
        {kRaw1,
         kRaw2,
         CComVariant(L"abc"),
         CComVariant(L"ABC"),
         {true, true, false, false, false, false}},
    };
    const wchar_t* const ops[] = {L"<", L"<=", L"==", L">=", L">", L"!="};
    const wchar_t* const names[] = {L"name",  L"code", L"price", L"ratio", L"qty",
                                    L"count", L"flag", L"raw1",  L"raw2"};
    for (const Case& c : cases) {
        Set(c.left, c.leftValue);
        Set(c.right, c.rightValue);
        for (int i = 0; i < 6; ++i) {
            SCOPED_TRACE(CString(names[c.left]).ToUtf8() + " " + CString(ops[i]).ToUtf8() + " " +
                         CString(names[c.right]).ToUtf8());
            EXPECT_EQ(Outcome(names[c.left], ops[i], names[c.right]), c.outcomes[i]);
        }
    }
}

TEST_F(FilterTest, RefusesWhatCannotBeCompared) {
    struct Case {
        const wchar_t* left;
        const wchar_t* op;
        const wchar_t* right;
    };
    const Case cases[] = {
        {L"qty", L"<", L"abc"},  {L"abc", L"<", L"qty"},    {L"price", L">", L"'x'"},
        {L"name", L"=", L"qty"}, {L"qty", L"=", L"price"},  {L"'a'", L"=", L"'a'"},
        {L"5", L"<", L"6"},      {L"flag", L"=", L"maybe"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(CString(c.left).ToUtf8() + " " + CString(c.op).ToUtf8() + " " +
                     CString(c.right).ToUtf8());
        EXPECT_EQ(descr.AddFilter(c.left, c.op, c.right), nullptr);
    }
    EXPECT_TRUE(descr.GetFilters().empty());

    // Two fields without a type make no filter either.
    DbTableDescr untyped(nullptr);
    untyped.CreateField(L"a", false, DbFieldDescr::ftUnknown);
    untyped.CreateField(L"b", false, DbFieldDescr::ftUnknown);
    EXPECT_EQ(untyped.AddFilter(L"a", L"=", L"b"), nullptr);
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
    EXPECT_EQ(low->leftField, kQty);
    EXPECT_EQ(low->rightField, -1);
    EXPECT_EQ(low->rightValue.vt, VT_I4);
    EXPECT_EQ(unknown->compare, nullptr);

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
