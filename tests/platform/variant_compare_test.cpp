#include <gtest/gtest.h>
#include <korvan/platform.h>

#include <cfloat>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/collation.h"
#include "tests/platform/variant_test_support.h"

using variant_test::Bool;
using variant_test::Date;
using variant_test::Error;
using variant_test::Null;
using variant_test::NullText;

namespace {

std::string Order(HRESULT hr) {
    switch (hr) {
        case VARCMP_LT:
            return "LT";
        case VARCMP_EQ:
            return "EQ";
        case VARCMP_GT:
            return "GT";
        case VARCMP_NULL:
            return "NULL";
        default:
            return variant_test::Outcome(hr);
    }
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
        {CComVariant(4711, VT_INT), static_cast<short>(-4711), "GT"},
        {static_cast<long long>(INT64_MAX), static_cast<long long>(INT64_MAX - 1), "GT"},
        // NULL and ERROR.
        {static_cast<short>(2), Null(), "NULL"},
        {L"0", Null(), "NULL"},
        {Null(), Null(), "NULL"},
        {Null(), CComVariant(), "NULL"},
        {Error(), Error(), "EQ"},
        {Error(), static_cast<BYTE>(0), "MM"},
        {Null(), Error(), "MM"},
        // Texts against texts, EMPTY and numbers.
        {L"0", L"0", "EQ"},
        {L"", L"0", "LT"},
        {L"7", L"42", "GT"},
        {NullText(), NullText(), "EQ"},
        {NullText(), L"", "EQ"},
        {L"0", NullText(), "GT"},
        {NullText(), CComVariant(), "EQ"},
        {CComVariant(), L"", "EQ"},
        {L"0", CComVariant(), "GT"},
        {L"42", CComVariant(), "GT"},
        {CComVariant(), L"0", "LT"},
        {L"", static_cast<BYTE>(0), "GT"},
        {L"", static_cast<short>(-1), "GT"},
        {0L, L"", "LT"},
        {static_cast<short>(0), L"0", "LT"},
        {L"7", 7.0, "GT"},
        {L"huh?", 2147483647L, "GT"},
        {3.141592, NullText(), "LT"},
        {L"True", true, "GT"},
        {1.0f, L"1.00000001", "LT"},
        // Reals: R4 when either side is R4, R8 when one is beyond its range.
        {Date(25570), CComVariant(), "GT"},
        {Date(1), Date(1 + 1e-15), "LT"},
        {1.0f, 1 + 1e-8, "EQ"},
        {1 + 1e-8, 1.0, "GT"},
        {r4Max * 1.1, static_cast<float>(r4Max), "GT"},
        {1.0f, Date(1 + 1e-8), "EQ"},
        {16777217L, 16777216.0f, "EQ"},
        {static_cast<short>(0), 0.4, "LT"},
        {std::numeric_limits<double>::quiet_NaN(), 1.0, "GT"},
        {1.0, std::numeric_limits<double>::quiet_NaN(), "GT"},
        // BOOL is -1 or 0.
        {true, false, "LT"},
        {true, static_cast<short>(-1), "EQ"},
        {CComVariant(), true, "GT"},
        {false, CComVariant(), "EQ"},
        {Bool(1), static_cast<short>(1), "EQ"},
        // Types VarCmp refuses.
        {static_cast<char>(1), static_cast<short>(1), "MM"},
        {static_cast<short>(1), static_cast<unsigned short>(1), "MM"},
        {1u, 1L, "MM"},
        {1ull, 1L, "MM"},
        {1L, 1ull, "BAD"},
        {1L, CComVariant(1, VT_INT), "BAD"},
        {CComVariant(1u, VT_UINT), 1L, "BAD"},
        {1L, WithType(VT_DISPATCH), "MM"},
        {WithType(VT_CY), 1L, "BAD"},
        {1L, WithType(VT_I4 | VT_BYREF), "BAD"},
        {WithType(VT_I4 | VT_RESERVED), 1L, "BAD"},
        {WithType(VT_RECORD), 1L, "BAD"},
    };
    for (const Comparison& row : rows) {
        SCOPED_TRACE(variant_test::Render(row.left) + " vs " + variant_test::Render(row.right));
        EXPECT_EQ(Order(VarCmp(&row.left, &row.right, LOCALE_USER_DEFAULT, 0)), row.expected);
    }
    CComVariant bytes;
    const CComVariant text(L"x");
    ASSERT_EQ(VariantChangeType(&bytes, &text, 0, VT_ARRAY | VT_UI1), S_OK);
    const CComVariant two(static_cast<short>(2));
    EXPECT_EQ(VarCmp(&two, &bytes, LOCALE_USER_DEFAULT, 0), DISP_E_BADVARTYPE);
    EXPECT_EQ(VarCmp(&bytes, &bytes, LOCALE_USER_DEFAULT, 0), DISP_E_BADVARTYPE);
}

std::string CompareTexts(std::wstring_view left, std::wstring_view right, LCID lcid,
                         ULONG flags = 0) {
    const BSTR a = SysAllocStringLen(left.data(), static_cast<UINT>(left.size()));
    const BSTR b = SysAllocStringLen(right.data(), static_cast<UINT>(right.size()));
    const std::string result = Order(VarBstrCmp(a, b, lcid, flags));
    SysFreeString(a);
    SysFreeString(b);
    return result;
}

struct TextComparison {
    std::wstring left;
    std::wstring right;
    const char* expected;
};

TEST(VarBstrCmp, EmptyTexts) {
    for (LCID lcid : {LCID{0}, LOCALE_USER_DEFAULT}) {
        EXPECT_EQ(Order(VarBstrCmp(nullptr, nullptr, lcid, 0)), "EQ");
        EXPECT_EQ(CompareTexts(L"", L"", lcid), "EQ");
        EXPECT_EQ(CompareTexts(L"", L"a", lcid), "LT");
        // Starting with U+0000: "empty" against a text, longer than "".
        EXPECT_EQ(CompareTexts(std::wstring(1, L'\0'), L"", lcid), "GT");
        EXPECT_EQ(CompareTexts(L"", std::wstring(1, L'\0'), lcid), "LT");
        EXPECT_EQ(CompareTexts(std::wstring(L"\0z", 2), L"a", lcid), "LT");
    }
    const BSTR a = SysAllocString(L"a");
    EXPECT_EQ(Order(VarBstrCmp(a, nullptr, LOCALE_USER_DEFAULT, 0)), "GT");
    EXPECT_EQ(Order(VarBstrCmp(nullptr, a, 0, 0)), "LT");
    SysFreeString(a);
}

TEST(VarBstrCmp, BytesOfUtf16ForLocaleZero) {
    const TextComparison rows[] = {
        {L"a", L"b", "LT"},
        {L"a", L"A", "GT"},
        {L"ab", L"a", "GT"},
        {L"abc", L"abc", "EQ"},
        {L"\x0100", L"\x0001", "LT"},      // low byte first: 00 01 < 01 00
        {L"\U00010000", L"\xE000", "LT"},  // 00 D8 00 DC < 00 E0
        {std::wstring(L"a\0", 2), L"a", "GT"},
    };
    for (const TextComparison& row : rows) {
        EXPECT_EQ(CompareTexts(row.left, row.right, 0), row.expected)
            << korvan::EncodeUtf8(row.left) << " vs " << korvan::EncodeUtf8(row.right);
    }
}

TEST(VarBstrCmp, LinguisticOrder) {
    const TextComparison rows[] = {
        {L"a", L"A", "LT"},
        {L"A", L"b", "LT"},
        {L"b", L"B", "LT"},
        {L"AAA", L"aaa", "GT"},
        {L"AAA", L"aab", "LT"},
        {L"aa", L"AB", "LT"},
        {L"aB", L"Aab", "GT"},
        {L"Ba", L"bab", "LT"},
        {L"a", L"{", "GT"},
        {L"A", L"{", "GT"},
        {L"EndDialog", L"_Property", "GT"},
        {L"r", L"\\", "GT"},
        {L"3.5", L"4.0", "LT"},
        {L"10", L"9", "LT"},
        {L"a-", L"a", "GT"},
        {L"e", L"\u00E9", "LT"},
        {L"\u00E9", L"f", "LT"},
        {L"\u00E9", L"E", "GT"},  // the accent outranks the case
        {L"Zebra", L"\u00C4pfel", "GT"},
        {L"a", std::wstring(L"a\0\0", 3), "EQ"},
        {L"\u00C1BC", L"A\u0301BC", "EQ"},
        {std::wstring(L"ABC\0", 4), std::wstring(L"A\0BC", 4), "EQ"},
    };
    for (const TextComparison& row : rows) {
        SCOPED_TRACE(korvan::EncodeUtf8(row.left) + " vs " + korvan::EncodeUtf8(row.right));
        EXPECT_EQ(CompareTexts(row.left, row.right, LOCALE_USER_DEFAULT), row.expected);
        const char* reversed = row.expected[0] == 'L' ? "GT" : row.expected[0] == 'G' ? "LT" : "EQ";
        EXPECT_EQ(CompareTexts(row.right, row.left, LOCALE_USER_DEFAULT), reversed);
    }
    EXPECT_EQ(CompareTexts(L"Salut", L"SaLuT", LOCALE_USER_DEFAULT, NORM_IGNORECASE), "EQ");
    EXPECT_EQ(CompareTexts(L"a", L"A", LOCALE_USER_DEFAULT, NORM_IGNORECASE), "EQ");
    EXPECT_EQ(CompareTexts(L"\u00E9", L"\u00C9", LOCALE_USER_DEFAULT, NORM_IGNORECASE), "EQ");
    EXPECT_EQ(CompareTexts(L"a", L"B", LOCALE_USER_DEFAULT, NORM_IGNORECASE), "LT");
    EXPECT_EQ(CompareTexts(L"e", L"\u00E9", LOCALE_USER_DEFAULT, NORM_IGNORECASE), "LT");
    // Case matters again after a case-insensitive comparison.
    EXPECT_EQ(CompareTexts(L"a", L"A", LOCALE_USER_DEFAULT), "LT");
}

// The printable-ASCII shortcut must give ICU's own answer for every pair.
TEST(VarBstrCmp, AsciiShortcutAgreesWithIcu) {
    std::vector<std::wstring> texts{L""};
    const std::wstring alphabet = L" -_'.09aAbBzZ{~";
    for (wchar_t a : alphabet) {
        texts.emplace_back(1, a);
        for (wchar_t b : alphabet) {
            texts.push_back(std::wstring{a, b});
        }
    }
    uint32_t seed = 12345;
    for (int i = 0; i < 300; ++i) {
        std::wstring text;
        seed = seed * 1103515245 + 12345;
        const int length = 1 + static_cast<int>((seed >> 16) % 8);
        for (int j = 0; j < length; ++j) {
            seed = seed * 1103515245 + 12345;
            text += static_cast<wchar_t>(0x20 + (seed >> 16) % 95);
        }
        texts.push_back(text);
    }
    korvan::TextCollator* collator = korvan::TextCollator::Current();
    ASSERT_NE(collator, nullptr);
    auto sign = [](int value) { return (value > 0) - (value < 0); };
    int mismatches = 0;
    for (const std::wstring& a : texts) {
        for (const std::wstring& b : texts) {
            for (bool ignoreCase : {false, true}) {
                const int quick = sign(collator->Compare(a, b, ignoreCase));
                const int icu = sign(collator->CompareWithIcu(a, b, ignoreCase));
                if (quick != icu && ++mismatches <= 5) {
                    ADD_FAILURE() << korvan::EncodeUtf8(a) << " vs " << korvan::EncodeUtf8(b)
                                  << (ignoreCase ? " ignoring case: " : ": ") << quick
                                  << " but ICU " << icu;
                }
            }
        }
    }
    EXPECT_EQ(mismatches, 0);
}

}  // namespace
