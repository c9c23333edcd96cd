// The stand-ins' own pieces: number symbols of the process locale, the
// printable-ASCII shortcut of the ICU collator, and the case tables against
// ICU.
#include <gtest/gtest.h>
#include <korvan/platform.h>
#include <unicode/uchar.h>

#include <clocale>
#include <cstdint>
#include <cwchar>
#include <string>
#include <vector>

#include "platform/display_width.h"
#include "platform/number_parse.h"
#include "platform/posix/icu_collator.h"
#include "platform/posix/number_format.h"
#include "platform/unicode.h"
#include "platform/utf.h"
#include "tests/platform/variant_test_support.h"

using variant_test::Convert;
using variant_test::Shortest;

namespace {

// The decimal point and thousands separator of the process locale, given
// here directly since the machine may have no such locale.
TEST(VariantChangeType, LocaleSymbols) {
    const auto parse = [](const wchar_t* text, const korvan::NumberSymbols& symbols) {
        korvan::ParsedNumber number;
        double value = 0.0;
        HRESULT hr = number.Parse(text, symbols);
        if (SUCCEEDED(hr)) {
            hr = number.ToDouble(value);
        }
        return FAILED(hr) ? variant_test::Outcome(hr) : Shortest(value);
    };
    const std::pair<const wchar_t*, const char*> rows[] = {
        {L"1.234,5", "1234.5"}, {L"1,5", "1.5"},  {L".5", "MM"},    {L"1.5", "15"},
        {L"1,5e2", "150"},      {L"1,2,3", "MM"}, {L"$1,5", "1.5"},
    };
    for (const auto& [text, r8] : rows) {
        EXPECT_EQ(parse(text, {L',', L'.'}), r8) << korvan::EncodeUtf8(text);
    }
    // A no-break space as thousands separator lets plain spaces stand for it.
    EXPECT_EQ(parse(L"1 234,5", {L',', L'\u00A0'}), "1234.5");
    EXPECT_EQ(korvan::FormatReal(0.5, 15, L','), L"0,5");
    EXPECT_EQ(korvan::FormatReal(-1.25e-20, 15, L','), L"-1,25E-20");
}

TEST(VariantChangeType, CommaDecimalLocale) {
    // The build compiles this locale into its tree (LOCPATH).
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
        GTEST_SKIP() << "no de_DE.UTF-8 locale";
    }
    const std::string r8 = Convert(CComVariant(L"1,5"), VT_R8);
    const std::string text = Convert(CComVariant(0.5), VT_BSTR);
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(r8, "1.5");
    EXPECT_EQ(text, "0,5");
}

// The printable-ASCII shortcut, and the byte order of its sort keys, must
// give ICU's own answer for every pair.
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
    korvan::IcuCollator* collator = korvan::IcuCollator::Current();
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
                std::string keyA;
                std::string keyB;
                if (collator->AsciiSortKey(a, ignoreCase, keyA) &&
                    collator->AsciiSortKey(b, ignoreCase, keyB) &&
                    sign(keyA.compare(keyB)) != icu && ++mismatches <= 5) {
                    ADD_FAILURE() << korvan::EncodeUtf8(a) << " vs " << korvan::EncodeUtf8(b)
                                  << (ignoreCase ? " ignoring case" : "") << ": sort keys give "
                                  << sign(keyA.compare(keyB)) << " but ICU " << icu;
                }
            }
        }
    }
    EXPECT_EQ(mismatches, 0);
}

}  // namespace

namespace {

// The library's own case tables give ICU's simple mappings for every code
// point, and none maps a character beyond U+FFFF to one below it or back, so
// that case mapping keeps the length of a UTF-16 text.
TEST(CaseTables, AgreeWithIcuForEveryCodePoint) {
    int mismatches = 0;
    auto expect = [&mismatches](UChar32 c, const std::wstring& mapped, UChar32 want,
                                const char* what) {
        std::wstring expected;
        korvan::AppendCodePoint(expected, static_cast<char32_t>(want));
        const bool sameSide = (c >= 0x10000) == (want >= 0x10000);
        if ((mapped != expected || !sameSide) && ++mismatches <= 5) {
            ADD_FAILURE() << what << " of U+" << std::hex << c;
        }
    };
    for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) {
            continue;
        }
        std::wstring text;
        korvan::AppendCodePoint(text, static_cast<char32_t>(c));
        std::wstring upper = text;
        korvan::ToUpperInPlace(upper);
        expect(c, korvan::ToLower(text), u_tolower(c), "lower case");
        expect(c, upper, u_toupper(c), "upper case");
        expect(c, korvan::FoldCase(text), u_foldCase(c, U_FOLD_CASE_DEFAULT), "case folding");
        const bool space = korvan::IsWhiteSpace(static_cast<wchar_t>(c));
        if (c <= 0xFFFF && space != static_cast<bool>(u_isUWhiteSpace(c)) && ++mismatches <= 5) {
            ADD_FAILURE() << "white space U+" << std::hex << c;
        }
    }
    EXPECT_EQ(mismatches, 0);
}

}  // namespace

namespace {

// The stand-ins hold only what the library uses: currency and decimal values
// (which Windows converts and compares) are refused as bad types, and arrays
// are one-dimensional arrays of bytes.
TEST(StandinScope, CurrencyDecimalAndOtherArraysAreRefused) {
    CComVariant currency;
    currency.vt = VT_CY;
    currency.llVal = 10000;
    const CComVariant one(1L);
    EXPECT_EQ(VarCmp(&currency, &one, LOCALE_USER_DEFAULT, 0), DISP_E_BADVARTYPE);
    EXPECT_EQ(Convert(one, VT_CY), "BAD");
    EXPECT_EQ(Convert(one, VT_DECIMAL), "BAD");
    currency.vt = VT_EMPTY;

    SAFEARRAYBOUND two[2] = {{1, 0}, {1, 0}};
    EXPECT_EQ(SafeArrayCreate(VT_UI1, 2, two), nullptr);
    EXPECT_EQ(SafeArrayCreate(VT_I4, 1, two), nullptr);
    EXPECT_EQ(SafeArrayCreateVector(VT_BSTR, 0, 1), nullptr);
}

}  // namespace

namespace {

// The library's table of display widths gives the C library's wcwidth for
// every code point (a character it cannot print counts one column).
TEST(DisplayWidth, AgreesWithTheCLibraryForEveryCodePoint) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    int mismatches = 0;
    for (wchar_t c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) {
            continue;
        }
        const int width = wcwidth(c);
        const size_t expected = width < 0 ? 1 : static_cast<size_t>(width);
        if (korvan::DisplayWidth(std::wstring(1, c)) != expected && ++mismatches <= 5) {
            ADD_FAILURE() << "U+" << std::hex << static_cast<uint32_t>(c);
        }
    }
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(mismatches, 0);
}

}  // namespace
