#include <gtest/gtest.h>
#include <korvan/platform.h>

#include <limits>
#include <string>
#include <utility>

#include "tests/platform/variant_test_support.h"

using variant_test::Render;

namespace {

TEST(CComVariant, Constructors) {
    const CComVariant none(static_cast<const wchar_t*>(nullptr));
    ASSERT_EQ(none.vt, VT_BSTR);
    EXPECT_NE(none.bstrVal, nullptr);
    EXPECT_EQ(Render(none), "");
    EXPECT_EQ(Render(CComVariant(CString(L"from CString"))), "from CString");
    VARIANT source;
    source.vt = VT_I2;
    source.iVal = 12;
    const CComVariant copy(source);
    EXPECT_EQ(copy.vt, VT_I2);
    EXPECT_EQ(copy.iVal, 12);
    EXPECT_THROW(CComVariant(1.0, VT_I4), CAtlException);
    EXPECT_THROW(CComVariant(1, VT_R8), CAtlException);
}

TEST(CComVariant, CopyMoveAndAssignment) {
    CComVariant text(L"abc");
    CComVariant copy(text);
    EXPECT_NE(copy.bstrVal, text.bstrVal);
    EXPECT_EQ(Render(copy), "abc");

    const BSTR owned = copy.bstrVal;
    CComVariant moved(std::move(copy));
    EXPECT_EQ(moved.bstrVal, owned);
    EXPECT_EQ(copy.vt, VT_EMPTY);

    CComVariant target(5);
    target = std::move(moved);
    EXPECT_EQ(target.bstrVal, owned);
    EXPECT_EQ(moved.vt, VT_EMPTY);

    EXPECT_EQ(Render(target = 3.5), "3.5");  // the BSTR goes
    EXPECT_EQ(Render(target = L"xyz"), "xyz");
    EXPECT_EQ(Render(target = target.bstrVal), "xyz");  // its own text: nothing to do
    EXPECT_EQ(Render(target = text), "abc");
    EXPECT_EQ(Render(target = static_cast<const CComVariant&>(target)), "abc");

    // A failed copy leaves VT_ERROR holding the failure and raises it.
    VARIANT invalid;
    invalid.vt = 0xFF;
    invalid.llVal = 0;
    try {
        target = invalid;
        ADD_FAILURE() << "no exception";
    } catch (const CAtlException& e) {
        EXPECT_EQ(e.m_hr, DISP_E_BADVARTYPE);
    }
    EXPECT_EQ(target.vt, VT_ERROR);
    EXPECT_EQ(target.scode, DISP_E_BADVARTYPE);
    EXPECT_THROW(CComVariant{invalid}, CAtlException);
    EXPECT_EQ(target.Copy(&invalid), DISP_E_BADVARTYPE);
}

TEST(CComVariant, ChangeType) {
    CComVariant v(L"42");
    EXPECT_EQ(v.ChangeType(VT_I4), S_OK);
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, 42);
    const CComVariant source(2.5);
    EXPECT_EQ(v.ChangeType(VT_BSTR, &source), S_OK);
    EXPECT_EQ(Render(v), "2.5");
    const CComVariant letter(L"x");
    EXPECT_EQ(v.ChangeType(VT_I2, &letter), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Render(v), "2.5");
}

struct Comparison {
    CComVariant left;
    CComVariant right;
    bool equal;
    bool less;
    bool greater;
};

TEST(CComVariant, ComparisonOperators) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const CComVariant bytes = variant_test::Bytes(L"ab");
    const Comparison rows[] = {
        {variant_test::Null(), variant_test::Null(), true, false, false},
        {variant_test::Null(), 1L, false, false, false},
        {CComVariant(), CComVariant(), true, false, false},
        {CComVariant(), 0L, false, false, false},  // types differ, yet VarCmp says equal
        {CComVariant(), 1L, false, true, false},
        {static_cast<short>(1), 1L, false, false, false},
        // Everything else as VarCmp orders it.
        {L"a", L"A", false, true, false},
        {nan, nan, false, false, true},
        {variant_test::Error(), 1L, false, false, false},
        // Unsigned integers on the left compare raw fields.
        {5u, -1L, false, true, false},  // -1 read as 0xFFFFFFFF
        {-1L, 5u, false, false, false},
        {bytes, bytes, false, false, false},
    };
    for (const Comparison& row : rows) {
        SCOPED_TRACE(Render(row.left) + " vs " + Render(row.right));
        EXPECT_EQ(row.left == row.right, row.equal);
        EXPECT_EQ(row.left != row.right, !row.equal);
        EXPECT_EQ(row.left < row.right, row.less);
        EXPECT_EQ(row.left > row.right, row.greater);
    }
}

}  // namespace
