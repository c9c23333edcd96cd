#include <gtest/gtest.h>
#include <korvan/platform.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/number_format.h"
#include "platform/number_parse.h"
#include "tests/platform/variant_test_support.h"

using variant_test::Bool;
using variant_test::Convert;
using variant_test::Date;
using variant_test::Error;
using variant_test::Null;
using variant_test::NullText;
using variant_test::Shortest;

namespace {

struct TextToNumbers {
    const wchar_t* text;
    const char* i2;
    const char* i4;
    const char* r8;
};

TEST(VariantChangeType, TextToNumbers) {
    const TextToNumbers rows[] = {
        {L"0", "0", "0", "0"},
        {L"1.5", "2", "2", "1.5"},
        {L"2.5", "2", "2", "2.5"},
        {L"3.5", "4", "4", "3.5"},
        {L"-1.5", "-2", "-2", "-1.5"},
        {L"-2.5", "-2", "-2", "-2.5"},
        {L"-0.5", "0", "0", "-0.5"},
        {L"-0.6", "-1", "-1", "-0.6"},
        {L"2.5000001", "3", "3", "2.5000001"},
        {L"32766.5", "32766", "32766", "32766.5"},
        {L"32767.5", "OV", "32768", "32767.5"},
        {L"-32768.5", "-32768", "-32768", "-32768.5"},
        {L"32767", "32767", "32767", "32767"},
        {L"32768", "OV", "32768", "32768"},
        {L"-32768", "-32768", "-32768", "-32768"},
        {L"-32769", "OV", "-32769", "-32769"},
        {L"2147483647", "OV", "2147483647", "2147483647"},
        {L"2147483648", "OV", "OV", "2147483648"},
        {L"-2147483648", "OV", "-2147483648", "-2147483648"},
        {L"-2147483649", "OV", "OV", "-2147483649"},
        // Blanks, signs, currency and parentheses.
        {L" 42 ", "42", "42", "42"},
        {L"\t42\n", "42", "42", "42"},
        {L"\u00A042", "42", "42", "42"},
        {L"+42", "42", "42", "42"},
        {L"42+", "42", "42", "42"},
        {L"-42", "-42", "-42", "-42"},
        {L"42-", "-42", "-42", "-42"},
        {L"(42)", "-42", "-42", "-42"},
        {L"$-42", "-42", "-42", "-42"},
        {L"-$42", "-42", "-42", "-42"},
        {L"$ 42", "42", "42", "42"},
        {L"- 5", "-5", "-5", "-5"},
        {L"$42", "42", "42", "42"},
        {L"42$", "42", "42", "42"},
        {L"42 $", "42", "42", "42"},
        {L"$11$$", "11", "11", "11"},
        {L"--42", "MM", "MM", "MM"},
        {L"+ +0", "MM", "MM", "MM"},
        {L"(42", "MM", "MM", "MM"},
        {L"42)", "MM", "MM", "MM"},
        // Thousands separators and decimal points.
        {L"1,234", "1234", "1234", "1234"},
        {L"1,234.5", "1234", "1234", "1234.5"},
        {L"123,", "123", "123", "123"},
        {L"1,,000", "1000", "1000", "1000"},
        {L"1,00,0,,", "1000", "1000", "1000"},
        {L"1,5", "15", "15", "15"},
        {L"1.000,5", "1", "1", "1.0005"},
        {L"1.", "1", "1", "1"},
        {L".5", "0", "0", "0.5"},
        {L",123", "MM", "MM", "MM"},
        {L"1.2.3", "MM", "MM", "MM"},
        // Exponents.
        {L"1e3", "1000", "1000", "1000"},
        {L"1E+3", "1000", "1000", "1000"},
        {L"1.5e2", "150", "150", "150"},
        {L"+1e+1", "10", "10", "10"},
        {L"1e-3", "0", "0", "0.001"},
        {L"12e-1", "1", "1", "1.2"},
        {L"1e5", "OV", "100000", "100000"},
        {L"1e309", "OV", "OV", "OV"},
        {L"1e-94938484", "0", "0", "0"},
        {L"1e", "MM", "MM", "MM"},
        {L"1 e3", "MM", "MM", "MM"},
        {L"$1e3", "MM", "MM", "MM"},
        // Hexadecimal and octal, checked by bit width.
        {L"&H10", "16", "16", "16"},
        {L"&h7FFF", "32767", "32767", "32767"},
        {L"&O17", "15", "15", "15"},
        {L"&o777", "511", "511", "511"},
        {L"&HFFFF", "-1", "65535", "65535"},
        {L"&H8000", "-32768", "32768", "32768"},
        {L"&H10000", "OV", "65536", "65536"},
        {L"&HFFFFFFFF", "OV", "-1", "OV"},
        {L"&H7FFFFFFF", "OV", "2147483647", "2147483647"},
        {L"&H80000000", "OV", "-2147483648", "-2147483648"},
        {L"-&H10", "16", "16", "16"},
        {L"&O8", "MM", "MM", "MM"},
        {L"&o128", "MM", "MM", "MM"},
        {L"&H", "MM", "MM", "MM"},
        {L"&H10.5", "MM", "MM", "MM"},
        {L"$&H10", "MM", "MM", "MM"},
        // Not numbers.
        {L"", "MM", "MM", "MM"},
        {L" ", "MM", "MM", "MM"},
        {L".", "MM", "MM", "MM"},
        {L"$", "MM", "MM", "MM"},
        {L"1 2", "MM", "MM", "MM"},
        {L"12abc", "MM", "MM", "MM"},
        {L"0x10", "MM", "MM", "MM"},
        {L"1_000", "MM", "MM", "MM"},
        {L"10%", "MM", "MM", "MM"},
        {L"True", "MM", "MM", "MM"},
        {L"#TRUE#", "MM", "MM", "MM"},
        {L"\u0660", "MM", "MM", "MM"},
        {L"1/2/1970", "MM", "MM", "MM"},
    };
    for (const auto& row : rows) {
        const CComVariant text(row.text);
        SCOPED_TRACE(korvan::EncodeUtf8(row.text));
        EXPECT_EQ(Convert(text, VT_I2), row.i2);
        EXPECT_EQ(Convert(text, VT_I4), row.i4);
        EXPECT_EQ(Convert(text, VT_R8), row.r8);
    }
}

struct Conversion {
    CComVariant source;
    VARTYPE vt;
    std::string expected;
};

void ExpectConversions(const std::vector<Conversion>& rows) {
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE("row " + std::to_string(i) + ": " + variant_test::Render(rows[i].source) +
                     " to vt " + std::to_string(rows[i].vt));
        EXPECT_EQ(Convert(rows[i].source, rows[i].vt), rows[i].expected);
    }
}

TEST(VariantChangeType, TextToOtherNumberTypes) {
    ExpectConversions({
        {L"-0.5", VT_UI1, "0"},
        {L"-0", VT_UI1, "0"},
        {L"-0.6", VT_UI1, "OV"},
        {L"255", VT_UI1, "255"},
        {L"256", VT_UI1, "OV"},
        {L"&HFF", VT_I1, "-1"},
        {L"-128", VT_I1, "-128"},
        {L"128", VT_I1, "OV"},
        {L"65535", VT_UI2, "65535"},
        {L"4294967295", VT_UI4, "4294967295"},
        {L"-1", VT_UI4, "OV"},
        {L"18446744073709551615", VT_UI8, "18446744073709551615"},
        {L"18446744073709551616", VT_UI8, "OV"},
        {L"-9223372036854775808", VT_I8, "-9223372036854775808"},
        {L"9223372036854775808", VT_I8, "OV"},
        {L"&HFFFFFFFFFFFFFFFF", VT_I8, "-1"},
        {L"&H10000000000000000", VT_UI8, "OV"},
        {L"0.1", VT_R4, "0.1"},
        {L"2147483647", VT_R4, "2147483648"},
        {L"3.4028236e38", VT_R4, "OV"},
        {L"1e-50", VT_R4, "OV"},
        {L"1e-94938484", VT_R4, "0"},
        {L"-3", VT_INT, "-3"},
        {L"3", VT_UINT, "3"},
    });
}

TEST(VariantChangeType, NumbersToNumbers) {
    const double halves[] = {0.4, 0.5, 0.6, 1.5, 2.5, 3.5, -0.4, -0.5, -0.6, -1.5, -2.5};
    const char* toI2[] = {"0", "0", "1", "2", "2", "4", "0", "0", "-1", "-2", "-2"};
    const char* toUI1[] = {"0", "0", "1", "2", "2", "4", "0", "0", "OV", "OV", "OV"};
    for (size_t i = 0; i < std::size(halves); ++i) {
        SCOPED_TRACE(halves[i]);
        EXPECT_EQ(Convert(CComVariant(halves[i]), VT_I2), toI2[i]);
        EXPECT_EQ(Convert(CComVariant(static_cast<float>(halves[i])), VT_I8), toI2[i]);
        EXPECT_EQ(Convert(Date(halves[i]), VT_I4), toI2[i]);
        EXPECT_EQ(Convert(CComVariant(halves[i]), VT_UI1), toUI1[i]);
    }
    ExpectConversions({
        // Accepted ranges of reals, before rounding.
        {-128.5, VT_I1, "-128"},
        {-128.51, VT_I1, "OV"},
        {127.49, VT_I1, "127"},
        {127.5, VT_I1, "OV"},
        {-0.51, VT_UI1, "OV"},
        {255.49, VT_UI1, "255"},
        {255.5, VT_UI1, "OV"},
        {-32768.51, VT_I2, "OV"},
        {32767.49, VT_I2, "32767"},
        {65535.5, VT_UI2, "OV"},
        {-2147483648.51, VT_I4, "OV"},
        {2147483647.5, VT_I4, "OV"},
        {4294967295.49, VT_UI4, "4294967295"},
        {-1.0, VT_UI8, "OV"},
        {std::numeric_limits<double>::quiet_NaN(), VT_I4, "OV"},
        {1e39, VT_R4, "OV"},
        {3.0, VT_R4, "3"},
        // Integers: range checks, except between the halves of a
        // signed/unsigned pair of one width.
        {32768L, VT_I2, "OV"},
        {-32769L, VT_I2, "OV"},
        {static_cast<short>(-1), VT_UI1, "OV"},
        {static_cast<short>(-1), VT_UI4, "OV"},
        {-1L, VT_UI8, "OV"},
        {static_cast<short>(-1), VT_UI2, "65535"},
        {static_cast<char>(-1), VT_UI1, "255"},
        {-1L, VT_UI4, "4294967295"},
        {static_cast<unsigned short>(65535), VT_I2, "-1"},
        {CComVariant(0xFFFFFFFFu, VT_UINT), VT_I4, "-1"},
        {-1LL, VT_UI8, "18446744073709551615"},
        {static_cast<BYTE>(200), VT_I1, "-56"},
        {static_cast<BYTE>(200), VT_I2, "200"},
        {static_cast<short>(200), VT_I1, "OV"},
        {2147483647L, VT_R4, "2147483648"},
        {16777217L, VT_R4, "16777216"},
        {2147483647L, VT_R8, "2147483647"},
        // BOOL is its 16-bit value and is not normalised.
        {true, VT_I2, "-1"},
        {true, VT_UI1, "255"},
        {true, VT_UI2, "65535"},
        {true, VT_UI4, "4294967295"},
        {true, VT_R8, "-1"},
        {true, VT_DATE, "-1"},
        {false, VT_R4, "0"},
        {Bool(1), VT_I2, "1"},
        // Numbers to BOOL.
        {0L, VT_BOOL, "0"},
        {-0.0, VT_BOOL, "0"},
        {0.4f, VT_BOOL, "-1"},
        {-0.5, VT_BOOL, "-1"},
        {1e-300, VT_BOOL, "-1"},
        {std::numeric_limits<double>::quiet_NaN(), VT_BOOL, "-1"},
        // DATE ranges: 1 January 100 to 31 December 9999.
        {-657434L, VT_DATE, "-657434"},
        {-657435L, VT_DATE, "OV"},
        {2958465L, VT_DATE, "2958465"},
        {2958466L, VT_DATE, "OV"},
        {-657434.9, VT_DATE, "-657434.9"},
        {-657435.0, VT_DATE, "OV"},
        {2958466.0, VT_DATE, "OV"},
        {1e10f, VT_DATE, "10000000000"},
        {Date(25570.5), VT_R8, "25570.5"},
    });
}

TEST(VariantChangeType, EmptyNullAndErrorRules) {
    const VARTYPE targets[] = {
        VT_EMPTY, VT_NULL,          VT_I2, VT_I4, VT_R4, VT_R8, VT_DATE, VT_BSTR, VT_BOOL,
        VT_ERROR, VT_ARRAY | VT_UI1};
    struct Row {
        CComVariant source;
        std::vector<std::string> expected;  // one per target
    };
    const Row rows[] = {
        {CComVariant(), {"EMPTY", "NULL", "0", "0", "0", "0", "0", "", "0", "MM", "MM"}},
        {Null(), {"MM", "NULL", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM"}},
        {Error(),
         {"MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "ERROR -2147352571", "MM"}},
        {static_cast<short>(5), {"EMPTY", "NULL", "5", "5", "5", "5", "5", "5", "-1", "MM", "MM"}},
        {L"abc",
         {"EMPTY", "NULL", "MM", "MM", "MM", "MM", "MM", "abc", "MM", "MM", "[61 00 62 00 63 00]"}},
    };
    for (const Row& row : rows) {
        for (size_t i = 0; i < std::size(targets); ++i) {
            SCOPED_TRACE(variant_test::Render(row.source) + " to vt " + std::to_string(targets[i]));
            EXPECT_EQ(Convert(row.source, targets[i]), row.expected[i]);
        }
    }
}

TEST(VariantChangeType, InvalidTypes) {
    const VARTYPE invalid[] = {VT_VOID,          VT_HRESULT,       VT_PTR, VT_LPSTR,
                               VT_FILETIME,      VT_CLSID,         15,     0xFF,
                               VT_I4 | VT_BYREF, VT_ARRAY | VT_I4, VT_CY,  VT_DISPATCH};
    for (VARTYPE vt : invalid) {
        SCOPED_TRACE(vt);
        EXPECT_EQ(Convert(CComVariant(1L), vt), "BAD");
        VARIANT source;
        source.vt = vt;
        source.llVal = 0;
        CComVariant out;
        EXPECT_EQ(VariantChangeType(&out, &source, 0, VT_I4), DISP_E_BADVARTYPE);
        EXPECT_EQ(out.vt, VT_EMPTY);
    }
}

TEST(VariantChangeType, RealsToText) {
    const std::vector<Conversion> rows = {
        {3.0, VT_BSTR, "3"},
        {-3.0, VT_BSTR, "-3"},
        {100.0, VT_BSTR, "100"},
        {0.56789, VT_BSTR, "0.56789"},
        {5.6789e-5, VT_BSTR, "0.000056789"},
        {5.6789e-11, VT_BSTR, "0.000000000056789"},
        {5.6789e-12, VT_BSTR, "5.6789E-12"},
        {5.6789e-16, VT_BSTR, "5.6789E-16"},
        {1e-5, VT_BSTR, "0.00001"},
        {1.5e-5, VT_BSTR, "0.000015"},
        {-1e-7, VT_BSTR, "-0.0000001"},
        {1e-14, VT_BSTR, "0.00000000000001"},
        {1e-15, VT_BSTR, "1E-15"},
        {1e8, VT_BSTR, "100000000"},
        {1e14, VT_BSTR, "100000000000000"},
        {999999999999999.0, VT_BSTR, "999999999999999"},
        {1e15, VT_BSTR, "1E+15"},
        {1.2e15, VT_BSTR, "1.2E+15"},
        {1e16, VT_BSTR, "1E+16"},
        {1.234e16, VT_BSTR, "1.234E+16"},
        {1e20, VT_BSTR, "1E+20"},
        {1e300, VT_BSTR, "1E+300"},
        {3.141592653589793, VT_BSTR, "3.14159265358979"},
        {12.345678901234567, VT_BSTR, "12.3456789012346"},
        {0.1 + 0.2, VT_BSTR, "0.3"},
        {1.0 / 3, VT_BSTR, "0.333333333333333"},
        {2.0 / 3, VT_BSTR, "0.666666666666667"},
        {9007199254740992.0, VT_BSTR, "9.00719925474099E+15"},
        {-0.0, VT_BSTR, "0"},
        {70368744177664.25, VT_BSTR, "70368744177664.3"},  // exact tie: away from zero
        {-70368744177664.25, VT_BSTR, "-70368744177664.3"},
        {0.30000000000000004, VT_BSTR, "0.3"},
        {9.999999999999999e22, VT_BSTR, "1E+23"},
        {4.9406564584124654e-324, VT_BSTR, "4.94065645841247E-324"},
        {1.7976931348623157e308, VT_BSTR, "1.79769313486232E+308"},
        {0.5f, VT_BSTR, "0.5"},
        {0.05f, VT_BSTR, "0.05"},
        {0.000005f, VT_BSTR, "0.000005"},
        {1e8f, VT_BSTR, "1E+08"},
        {1e12f, VT_BSTR, "1E+12"},
        {1.2e15f, VT_BSTR, "1.2E+15"},
        {3.14159265f, VT_BSTR, "3.141593"},
        {12.3456789f, VT_BSTR, "12.34568"},
        {1234.56789f, VT_BSTR, "1234.568"},
        {654322.23456f, VT_BSTR, "654322.3"},  // exactly 654322.25: away from zero
        {0.1f, VT_BSTR, "0.1"},
        {1.1f, VT_BSTR, "1.1"},
        {1234567.0f, VT_BSTR, "1234567"},
        {12345678.0f, VT_BSTR, "1.234568E+07"},
        {16777217.0f, VT_BSTR, "1.677722E+07"},
        {-0.0f, VT_BSTR, "0"},
    };
    ExpectConversions(rows);
}

TEST(VariantChangeType, OtherValuesToText) {
    ExpectConversions({
        {-42L, VT_BSTR, "-42"},
        {static_cast<long>(INT32_MIN), VT_BSTR, "-2147483648"},
        {static_cast<char>(-5), VT_BSTR, "-5"},
        {static_cast<BYTE>(255), VT_BSTR, "255"},
        {0xFFFFFFFFu, VT_BSTR, "4294967295"},
        {static_cast<long long>(INT64_MIN), VT_BSTR, "-9223372036854775808"},
        {static_cast<unsigned long long>(UINT64_MAX), VT_BSTR, "18446744073709551615"},
        {true, VT_BSTR, "-1"},
        {false, VT_BSTR, "0"},
        {Bool(1), VT_BSTR, "1"},
        // DATE: time only for day 0, date only without a time of day.
        {Date(0.0), VT_BSTR, "12:00:00 AM"},
        {Date(0.5), VT_BSTR, "12:00:00 PM"},
        {Date(-0.25), VT_BSTR, "6:00:00 AM"},
        {Date(1.0), VT_BSTR, "12/31/1899"},
        {Date(2.0), VT_BSTR, "1/1/1900"},
        {Date(-1.0), VT_BSTR, "12/29/1899"},
        {Date(-1.25), VT_BSTR, "12/29/1899 6:00:00 AM"},
        {Date(3.34), VT_BSTR, "1/2/1900 8:09:36 AM"},
        {Date(365.0), VT_BSTR, "12/30/1900"},
        {Date(365.25), VT_BSTR, "12/30/1900 6:00:00 AM"},
        {Date(1461.5), VT_BSTR, "12/31/1903 12:00:00 PM"},
        {Date(25570.0), VT_BSTR, "1/2/1970"},
        {Date(-49192.24), VT_BSTR, "4/24/1765 5:45:36 AM"},
        {Date(-657434.0), VT_BSTR, "1/1/100"},
        {Date(2958465.0), VT_BSTR, "12/31/9999"},
        {Date(2958465.9999), VT_BSTR, "12/31/9999 11:59:51 PM"},
        {Date(2.0 + 0.6 / 86400), VT_BSTR, "1/1/1900 12:00:01 AM"},
        {Date(2.0 + 0.4 / 86400), VT_BSTR, "1/1/1900 12:00:00 AM"},
        {Date(2.99999999), VT_BSTR, "1/2/1900 12:00:00 AM"},  // rounds into the next day
        {Date(2958466.0), VT_BSTR, "INVAL"},
        {Date(-657435.0), VT_BSTR, "INVAL"},
    });
}

TEST(VariantChangeType, BoolAndText) {
    ExpectConversions({
        {L"True", VT_BOOL, "-1"},   {L"true", VT_BOOL, "-1"},   {L"TRUE", VT_BOOL, "-1"},
        {L"False", VT_BOOL, "0"},   {L"false", VT_BOOL, "0"},   {L"#TRUE#", VT_BOOL, "-1"},
        {L"#FALSE#", VT_BOOL, "0"}, {L"#True#", VT_BOOL, "MM"}, {L"#False#", VT_BOOL, "MM"},
        {L"Yes", VT_BOOL, "MM"},    {L"On", VT_BOOL, "MM"},     {L"0", VT_BOOL, "0"},
        {L"-1", VT_BOOL, "-1"},     {L"+1", VT_BOOL, "-1"},     {L"0.1", VT_BOOL, "-1"},
        {L"2", VT_BOOL, "-1"},      {L"1,0", VT_BOOL, "-1"},    {L" 7 ", VT_BOOL, "-1"},
        {L"0.0", VT_BOOL, "0"},     {L"-0", VT_BOOL, "0"},      {L" 0 ", VT_BOOL, "0"},
        {L" True", VT_BOOL, "MM"},  {L"", VT_BOOL, "MM"},       {L"abc", VT_BOOL, "MM"},
        {L"1e309", VT_BOOL, "OV"},
    });
    EXPECT_EQ(Convert(CComVariant(true), VT_BSTR, VARIANT_ALPHABOOL), "True");
    EXPECT_EQ(Convert(CComVariant(false), VT_BSTR, VARIANT_ALPHABOOL), "False");
    EXPECT_EQ(Convert(Bool(1), VT_BSTR, VARIANT_LOCALBOOL), "True");
    EXPECT_EQ(Convert(CComVariant(L"-1"), VT_I2, VARIANT_ALPHABOOL), "-1");
}

TEST(VariantChangeType, TextToDate) {
    ExpectConversions({
        {L"1/2/1970", VT_DATE, "25570"},
        {L" 1/2/1970 ", VT_DATE, "25570"},
        {L"12/30/1899", VT_DATE, "0"},
        {L"6/30/2011 01:20:34", VT_DATE, Shortest(40724.0 + 4834.0 / 86400)},
        {L"6/30/2011 01:20:34 AM", VT_DATE, Shortest(40724.0 + 4834.0 / 86400)},
        {L"6/30/2011 01:20:34 pm", VT_DATE, Shortest(40724.0 + 48034.0 / 86400)},
        {L"12/29/1899 6:00", VT_DATE, "-1.25"},
        {L"1/1/100", VT_DATE, "-657434"},
        {L"12/31/9999", VT_DATE, "2958465"},
        {L"1/1/0", VT_DATE, "36526"},
        {L"12/31/99", VT_DATE, "36525"},
        {L"1/1/50", VT_DATE, "18264"},
        {L"2/29/2000", VT_DATE, "36585"},
        {L"6:00:00 AM", VT_DATE, "0.25"},
        {L"00:00 pm", VT_DATE, "0.5"},
        {L"12:59 AM", VT_DATE, Shortest(59.0 / 1440)},
        {L"13:00 AM", VT_DATE, Shortest(13.0 / 24)},
        {L"2/29/1900", VT_DATE, "MM"},
        {L"13/1/1970", VT_DATE, "MM"},
        {L"1/1/10000", VT_DATE, "MM"},
        {L"24:00", VT_DATE, "MM"},
        {L"0:60", VT_DATE, "MM"},
        {L"1/1/2000 12", VT_DATE, "MM"},
        {L"12:30 P", VT_DATE, "MM"},
        {L"25570", VT_DATE, "MM"},
        {L"0", VT_DATE, "MM"},
        {L"True", VT_DATE, "MM"},
        {L"", VT_DATE, "MM"},
    });
    // The text forms of dates read back to the same value.
    for (double value : {0.0, 0.25, 1.0, -1.25, 3.34, 25570.5, -49192.24, 2958465.0}) {
        const CComVariant date = Date(value);
        CComVariant text;
        ASSERT_EQ(VariantChangeType(&text, &date, 0, VT_BSTR), S_OK);
        CComVariant back;
        ASSERT_EQ(VariantChangeType(&back, &text, 0, VT_DATE), S_OK);
        EXPECT_NEAR(back.date, value, 0.5 / 86400) << variant_test::Render(text);
    }
}

TEST(VariantChangeType, DestinationUntouchedOnFailure) {
    CComVariant dest(L"keep");
    const BSTR kept = dest.bstrVal;
    const CComVariant text(L"abc");
    const CComVariant large(40000L);
    const CComVariant null = Null();
    EXPECT_EQ(VariantChangeType(&dest, &text, 0, VT_I2), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&dest, &large, 0, VT_I2), DISP_E_OVERFLOW);
    EXPECT_EQ(VariantChangeType(&dest, &null, 0, VT_BSTR), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(dest.vt, VT_BSTR);
    EXPECT_EQ(dest.bstrVal, kept);

    // A destination of an invalid type fails to clear: the conversion fails
    // with it and leaves the destination as it was.
    VARIANT invalid;
    invalid.vt = 0xFF;
    invalid.llVal = 7;
    const CComVariant one(1L);
    EXPECT_EQ(VariantChangeType(&invalid, &one, 0, VT_I2), DISP_E_BADVARTYPE);
    EXPECT_EQ(invalid.vt, 0xFF);
    EXPECT_EQ(invalid.llVal, 7);
}

TEST(VariantChangeType, InPlace) {
    CComVariant v(L"42");
    EXPECT_EQ(VariantChangeType(&v, &v, 0, VT_I4), S_OK);
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, 42);
    EXPECT_EQ(VariantChangeType(&v, &v, 0, VT_BSTR), S_OK);
    EXPECT_EQ(variant_test::Render(v), "42");

    CComVariant text(L"abc");
    const BSTR kept = text.bstrVal;
    EXPECT_EQ(VariantChangeType(&text, &text, 0, VT_R8), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(text.bstrVal, kept);
    EXPECT_EQ(VariantChangeType(&text, &text, 0, VT_BSTR), S_OK);  // a copy replaces it
    EXPECT_EQ(variant_test::Render(text), "abc");

    const CComVariant letter(L"A");
    CComVariant bytes;
    ASSERT_EQ(VariantChangeType(&bytes, &letter, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_BSTR), S_OK);
    EXPECT_EQ(variant_test::Render(bytes), "A");
}

TEST(VariantChangeType, NullBstr) {
    const CComVariant null = NullText();
    CComVariant copy;
    ASSERT_EQ(VariantChangeType(&copy, &null, 0, VT_BSTR), S_OK);
    ASSERT_NE(copy.bstrVal, nullptr);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 0u);
    EXPECT_EQ(Convert(null, VT_I2), "MM");
    EXPECT_EQ(Convert(null, VT_R8), "MM");
    EXPECT_EQ(Convert(null, VT_BOOL), "MM");
    EXPECT_EQ(Convert(null, VT_DATE), "MM");
    EXPECT_EQ(Convert(null, VT_EMPTY), "EMPTY");
    EXPECT_EQ(Convert(null, VT_ARRAY | VT_UI1), "[]");
}

TEST(VariantChangeType, TextAndByteArrays) {
    EXPECT_EQ(Convert(CComVariant(L"AB"), VT_ARRAY | VT_UI1), "[41 00 42 00]");
    EXPECT_EQ(Convert(CComVariant(L"\u00E9\U0001F600"), VT_ARRAY | VT_UI1), "[e9 00 3d d8 00 de]");
    EXPECT_EQ(Convert(CComVariant(L""), VT_ARRAY | VT_UI1), "[]");

    const CComVariant ab(L"AB");
    CComVariant bytes;
    ASSERT_EQ(VariantChangeType(&bytes, &ab, 0, VT_ARRAY | VT_UI1), S_OK);
    LONG upper = 0;
    EXPECT_EQ(SafeArrayGetUBound(bytes.parray, 1, &upper), S_OK);
    EXPECT_EQ(upper, 3);
    EXPECT_EQ(Convert(bytes, VT_BSTR), "AB");
    for (VARTYPE vt : {VT_EMPTY, VT_NULL, VT_I2, VT_R8, VT_BOOL, VT_DATE}) {
        EXPECT_EQ(Convert(bytes, vt), "MM") << vt;
    }
    CComVariant copy;
    ASSERT_EQ(VariantChangeType(&copy, &bytes, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_NE(copy.parray, bytes.parray);
    EXPECT_EQ(variant_test::Render(copy), "[41 00 42 00]");

    // An odd count: one UTF-16 unit and a dangling byte.
    CComVariant odd;
    odd.vt = VT_ARRAY | VT_UI1;
    odd.parray = SafeArrayCreateVector(VT_UI1, 0, 3);
    const BYTE abc[] = {0x41, 0x42, 0x43};
    std::memcpy(odd.parray->pvData, abc, 3);
    CComVariant text;
    ASSERT_EQ(VariantChangeType(&text, &odd, 0, VT_BSTR), S_OK);
    EXPECT_EQ(std::wstring(text.bstrVal, SysStringLen(text.bstrVal)), L"\x4241\x43");
}

// The decimal point and thousands separator of the process locale, given
// here directly since the machine may have no such locale.
TEST(VariantChangeType, LocaleSymbols) {
    const korvan::NumberSymbols comma{L',', L'.'};
    struct Row {
        const wchar_t* text;
        const char* r8;
    };
    const Row rows[] = {
        {L"1.234,5", "1234.5"}, {L"1,5", "1.5"},   {L"0,25", "0.25"}, {L".5", "MM"},
        {L"1.5", "15"},         {L"1,5e2", "150"}, {L"1,2,3", "MM"},  {L"$1,5", "1.5"},
    };
    for (const Row& row : rows) {
        korvan::ParsedNumber number;
        double value = 0.0;
        HRESULT hr = number.Parse(row.text, comma);
        if (SUCCEEDED(hr)) {
            hr = number.ToDouble(value);
        }
        EXPECT_EQ(FAILED(hr) ? variant_test::Outcome(hr) : variant_test::Shortest(value), row.r8)
            << korvan::EncodeUtf8(row.text);
    }
    // A no-break space as thousands separator lets plain spaces stand for it.
    korvan::ParsedNumber number;
    double value = 0.0;
    ASSERT_EQ(number.Parse(L"1 234,5", {L',', L'\u00A0'}), S_OK);
    ASSERT_EQ(number.ToDouble(value), S_OK);
    EXPECT_EQ(value, 1234.5);
    EXPECT_EQ(korvan::FormatReal(0.5, 15, L','), L"0,5");
    EXPECT_EQ(korvan::FormatReal(-1.25e-20, 15, L','), L"-1,25E-20");
}

TEST(VariantChangeType, CommaDecimalLocale) {
    const char* const candidates[] = {"de_DE.UTF-8", "de_DE.utf8",  "fr_FR.UTF-8",
                                      "es_ES.UTF-8", "nl_NL.UTF-8", "ru_RU.UTF-8"};
    const char* found = nullptr;
    for (const char* name : candidates) {
        if (std::setlocale(LC_NUMERIC, name) &&
            std::localeconv()->decimal_point == std::string(",")) {
            found = name;
            break;
        }
    }
    if (!found) {
        std::setlocale(LC_NUMERIC, "C");
        GTEST_SKIP() << "no locale with a decimal comma on this machine";
    }
    const std::string r8 = Convert(CComVariant(L"1,5"), VT_R8);
    const std::string text = Convert(CComVariant(0.5), VT_BSTR);
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(r8, "1.5") << found;
    EXPECT_EQ(text, "0,5") << found;
}

}  // namespace
