#include <gtest/gtest.h>
#include <korvan/platform.h>

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/platform/variant_test_support.h"

using variant_test::Bool;
using variant_test::Date;
using variant_test::Error;
using variant_test::Null;
using variant_test::NullText;

namespace {

std::string Order(HRESULT hr) {
    const char* const names[] = {"LT", "EQ", "GT", "NULL"};
    return hr >= VARCMP_LT && hr <= VARCMP_NULL ? names[hr] : variant_test::Outcome(hr);
}

CComVariant WithType(VARTYPE vt) {
    CComVariant v;
    v.vt = vt;
    v.llVal = 0;
    return v;
}

struct Comparison {
    CComVariant left;
    CComVariant right;
    const char* expected;
};

TEST(VarCmp, DecisionProcedure) {
    const double r4Max = FLT_MAX;
    const Comparison rows[] = {
        {static_cast<short>(2), static_cast<short>(1), "GT"},
        {static_cast<short>(2), CComVariant(), "GT"},
        {CComVariant(), static_cast<short>(0), "EQ"},
        {CComVariant(), CComVariant(), "EQ"},
        {1L, 1.0, "EQ"},
        {1L, static_cast<BYTE>(1), "EQ"},
        // NULL and ERROR.
        {static_cast<short>(2), Null(), "NULL"},
        {L"0", Null(), "NULL"},
        {Null(), Null(), "NULL"},
        {Error(), Error(), "EQ"},
        {Error(), static_cast<BYTE>(0), "MM"},
        {Null(), Error(), "MM"},
        // Texts against texts, EMPTY and numbers.
        {L"7", L"42", "GT"},
        {NullText(), L"", "EQ"},
        {CComVariant(), L"", "EQ"},
        {L"0", CComVariant(), "GT"},
        {L"", static_cast<BYTE>(0), "GT"},
        {1.0f, L"1.00000001", "LT"},
        // Reals: R4 when either side is R4, R8 when one is beyond its range.
        {Date(1), Date(1 + 1e-15), "LT"},
        {1.0f, 1 + 1e-8, "EQ"},
        {r4Max * 1.1, static_cast<float>(r4Max), "GT"},
        {16777217L, 16777216.0f, "EQ"},
        {static_cast<short>(0), 0.4, "LT"},
        {std::numeric_limits<double>::quiet_NaN(), 1.0, "GT"},
        {1.0, std::numeric_limits<double>::quiet_NaN(), "GT"},
        // BOOL is -1 or 0.
        {true, false, "LT"},
        {true, static_cast<short>(-1), "EQ"},
        {Bool(1), static_cast<short>(1), "EQ"},
        // Types VarCmp refuses.
        {1u, 1L, "MM"},
        {1L, WithType(VT_DISPATCH), "MM"},
        {WithType(VT_VOID), 1L, "BAD"},
        {1L, WithType(VT_I4 | VT_BYREF), "BAD"},
        {static_cast<short>(2), WithType(VT_ARRAY | VT_UI1), "BAD"},
    };
    for (const Comparison& row : rows) {
        SCOPED_TRACE(variant_test::Render(row.left) + " vs " + variant_test::Render(row.right));
        EXPECT_EQ(Order(VarCmp(&row.left, &row.right, LOCALE_USER_DEFAULT, 0)), row.expected);
    }
}

struct TextComparison {
    std::wstring left;
    std::wstring right;
    const char* expected;
};

// Each row both ways round.
void ExpectTextOrder(const std::vector<TextComparison>& rows, LCID lcid, ULONG flags = 0) {
    const auto compare = [&](const std::wstring& left, const std::wstring& right) {
        const BSTR a = SysAllocStringLen(left.data(), static_cast<UINT>(left.size()));
        const BSTR b = SysAllocStringLen(right.data(), static_cast<UINT>(right.size()));
        const std::string result = Order(VarBstrCmp(a, b, lcid, flags));
        SysFreeString(a);
        SysFreeString(b);
        return result;
    };
    for (const TextComparison& row : rows) {
        SCOPED_TRACE(korvan::EncodeUtf8(row.left) + " vs " + korvan::EncodeUtf8(row.right) +
                     " in locale " + std::to_string(lcid));
        EXPECT_EQ(compare(row.left, row.right), row.expected);
        const char* reversed = row.expected[0] == 'L' ? "GT" : row.expected[0] == 'G' ? "LT" : "EQ";
        EXPECT_EQ(compare(row.right, row.left), reversed);
    }
}

TEST(VarBstrCmp, EmptyTextsBytesAndLinguisticOrder) {
    // A text starting with U+0000 is "empty" against a text, longer than "".
    const std::vector<TextComparison> empty = {{L"", L"", "EQ"},
                                               {L"", L"a", "LT"},
                                               {std::wstring(1, L'\0'), L"", "GT"},
                                               {std::wstring(L"\0z", 2), L"a", "LT"}};
    ExpectTextOrder(empty, 0);
    ExpectTextOrder(empty, LOCALE_USER_DEFAULT);
    const BSTR a = SysAllocString(L"a");
    EXPECT_EQ(Order(VarBstrCmp(nullptr, nullptr, LOCALE_USER_DEFAULT, 0)), "EQ");
    EXPECT_EQ(Order(VarBstrCmp(a, nullptr, LOCALE_USER_DEFAULT, 0)), "GT");
    EXPECT_EQ(Order(VarBstrCmp(nullptr, a, 0, 0)), "LT");
    SysFreeString(a);

    // Locale 0: the bytes of UTF-16LE.
    ExpectTextOrder({{L"a", L"A", "GT"},
                     {L"ab", L"a", "GT"},
                     {L"\x0100", L"\x0001", "LT"},      // low byte first: 00 01 < 01 00
                     {L"\U00010000", L"\xE000", "LT"},  // 00 D8 00 DC < 00 E0
                     {std::wstring(L"a\0", 2), L"a", "GT"}},
                    0);
    ExpectTextOrder({{L"Salut", L"SaLuT", "EQ"},
                     {L"\u00E9", L"\u00C9", "EQ"},
                     {L"a", L"B", "LT"},
                     {L"e", L"\u00E9", "LT"}},
                    LOCALE_USER_DEFAULT, NORM_IGNORECASE);
    // Linguistic order: lower case first, punctuation before letters,
    // canonical equivalence; case counts again after the comparisons above.
    ExpectTextOrder({{L"a", L"A", "LT"},
                     {L"aB", L"Aab", "GT"},
                     {L"a", L"{", "GT"},
                     {L"10", L"9", "LT"},
                     {L"e", L"\u00E9", "LT"},
                     {L"\u00E9", L"E", "GT"},  // the accent outranks the case
                     {L"Zebra", L"\u00C4pfel", "GT"},
                     {L"\u00C1BC", L"A\u0301BC", "EQ"},
                     {std::wstring(L"ABC\0", 4), std::wstring(L"A\0BC", 4), "EQ"}},
                    LOCALE_USER_DEFAULT);
}

// Hyphens and apostrophes count only when the texts are otherwise equal (the
// word sort), so catalogue designations with and without a hyphen sort side
// by side.
TEST(VarBstrCmp, WordSortOfHyphensAndApostrophes) {
    ExpectTextOrder({{L"coop", L"co-op", "LT"},
                     {L"co-op", L"cop", "LT"},
                     {L"co-op", L"Coop", "LT"},  // case outranks the hyphen
                     {L"HE-A", L"HEA", "GT"},
                     {L"HE-A", L"HEB", "LT"},
                     {L"HE-B", L"HEA", "GT"},
                     {L"-o", L"/m", "GT"},
                     {L"'o", L"/m", "GT"},
                     {L"'", L"-", "LT"},
                     {L"a-", L"a", "GT"},
                     {L"a-b", L"ab-", "GT"},
                     {L"Obrien", L"O'Brien", "LT"},
                     {L"HE-\u00C1", L"HEA", "GT"}},
                    LOCALE_USER_DEFAULT);
    std::vector<std::wstring> designations = {L"HEB 100", L"HE-A 100", L"HEA-100",
                                              L"HEA 100", L"HE-B 100", L"HEA 120"};
    std::sort(designations.begin(), designations.end(),
              [](const std::wstring& a, const std::wstring& b) {
                  return CComVariant(a.c_str()) < CComVariant(b.c_str());
              });
    EXPECT_EQ(designations, (std::vector<std::wstring>{L"HEA 100", L"HE-A 100", L"HEA 120",
                                                       L"HEA-100", L"HEB 100", L"HE-B 100"}));
}

// Ignoring case ignores nothing else: width, kana type, compatibility forms
// and hyphens still tell texts apart.
TEST(VarBstrCmp, IgnoringCaseKeepsWidthKanaAndCompatibilityForms) {
    ExpectTextOrder({{L"a", L"\uFF21", "LT"},  // full-width A
                     {L"A", L"\uFF41", "LT"},
                     {L"2", L"\u00B2", "LT"},
                     {L"co-op", L"COOP", "GT"},
                     {L"\u0141\u00F3d\u017A", L"\u0142\u00D3D\u0179", "EQ"}},
                    LOCALE_USER_DEFAULT, NORM_IGNORECASE);
    // Hiragana and katakana differ; which comes first is the collation's.
    const BSTR hiragana = SysAllocString(L"\u3042");
    const BSTR katakana = SysAllocString(L"\u30A2");
    EXPECT_NE(VarBstrCmp(hiragana, katakana, LOCALE_USER_DEFAULT, NORM_IGNORECASE), VARCMP_EQ);
    SysFreeString(hiragana);
    SysFreeString(katakana);
}

}  // namespace
