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
using variant_test::Render;
using variant_test::Shortest;

namespace {

struct Conversion {
    CComVariant source;
    VARTYPE vt;
    std::string expected;
};

void ExpectConversions(const std::vector<Conversion>& rows) {
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE("row " + std::to_string(i) + ": " + Render(rows[i].source) + " to vt " +
                     std::to_string(rows[i].vt));
        EXPECT_EQ(Convert(rows[i].source, rows[i].vt), rows[i].expected);
    }
}

// A table of sources that all go to one type, given by value and text.
template <typename Source>
void ExpectAll(const std::vector<std::pair<Source, const char*>>& rows, VARTYPE vt) {
    for (const auto& [source, expected] : rows) {
        EXPECT_EQ(Convert(CComVariant(source), vt), expected) << Render(CComVariant(source));
    }
}

TEST(VariantChangeType, TextToNumbers) {
    // Malformed for every numeric type.
    for (const wchar_t* text :
         {L"--42",  L"-42-",  L"+ +0", L"(42",  L"42)",    L",123",   L"1.2.3",
          L"1e",    L"1 e3",  L"$1e3", L"&O8",  L"&o128",  L"&H",     L"&H10.5",
          L"$&H10", L"",      L" ",    L".",    L"$",      L"1 2",    L"12abc",
          L"0x10",  L"1_000", L"10%",  L"True", L"#TRUE#", L"\u0660", L"1/2/1970"}) {
        for (VARTYPE vt : {VT_I2, VT_I4, VT_R8}) {
            EXPECT_EQ(Convert(CComVariant(text), vt), "MM") << korvan::EncodeUtf8(text);
        }
    }
    // Blanks, signs, currency, parentheses, separators, exponents and radix
    // prefixes: one value for every numeric type.
    const std::pair<const wchar_t*, const char*> alike[] = {
        {L"0", "0"},           {L" 42 ", "42"},      {L"\t42\n", "42"},     {L"\u00A042", "42"},
        {L"+42", "42"},        {L"42+", "42"},       {L"-42", "-42"},       {L"42-", "-42"},
        {L"(42)", "-42"},      {L"$-42", "-42"},     {L"-$42", "-42"},      {L"$ 42", "42"},
        {L"- 5", "-5"},        {L"$42", "42"},       {L"42$", "42"},        {L"42 $", "42"},
        {L"$11$$", "11"},      {L"1,234", "1234"},   {L"123,", "123"},      {L"1,,000", "1000"},
        {L"1,00,0,,", "1000"}, {L"1,5", "15"},       {L"1.", "1"},          {L"1e3", "1000"},
        {L"1E+3", "1000"},     {L"1.5e2", "150"},    {L"+1e+1", "10"},      {L"1e-94938484", "0"},
        {L"&H10", "16"},       {L"&h7FFF", "32767"}, {L"&O17", "15"},       {L"&o777", "511"},
        {L"-&H10", "16"},      {L"32767", "32767"},  {L"-32768", "-32768"},
    };
    for (const auto& [text, value] : alike) {
        for (VARTYPE vt : {VT_I2, VT_I4, VT_R8}) {
            EXPECT_EQ(Convert(CComVariant(text), vt), value) << korvan::EncodeUtf8(text);
        }
    }
    // Rounding half to even on the decimal digits, and ranges: by value, or
    // for &H and &O by bit width.
    const struct {
        const wchar_t* text;
        const char* i2;
        const char* i4;
        const char* r8;
    } rows[] = {
        {L"2.5", "2", "2", "2.5"},
        {L"3.5", "4", "4", "3.5"},
        {L"-2.5", "-2", "-2", "-2.5"},
        {L"-0.6", "-1", "-1", "-0.6"},
        {L"2.5000001", "3", "3", "2.5000001"},
        {L"32766.5", "32766", "32766", "32766.5"},
        {L"32767.5", "OV", "32768", "32767.5"},
        {L"-32768.5", "-32768", "-32768", "-32768.5"},
        {L"32768", "OV", "32768", "32768"},
        {L"-32769", "OV", "-32769", "-32769"},
        {L"2147483648", "OV", "OV", "2147483648"},
        {L"-2147483649", "OV", "OV", "-2147483649"},
        {L"1,234.5", "1234", "1234", "1234.5"},
        {L"1.000,5", "1", "1", "1.0005"},
        {L".5", "0", "0", "0.5"},
        {L"12e-1", "1", "1", "1.2"},
        {L"1e5", "OV", "100000", "100000"},
        {L"1e309", "OV", "OV", "OV"},
        {L"&HFFFF", "-1", "65535", "65535"},
        {L"&H8000", "-32768", "32768", "32768"},
        {L"&H10000", "OV", "65536", "65536"},
        {L"&HFFFFFFFF", "OV", "-1", "OV"},
        {L"&H80000000", "OV", "-2147483648", "-2147483648"},
    };
    for (const auto& row : rows) {
        const CComVariant text(row.text);
        SCOPED_TRACE(korvan::EncodeUtf8(row.text));
        EXPECT_EQ(Convert(text, VT_I2), row.i2);
        EXPECT_EQ(Convert(text, VT_I4), row.i4);
        EXPECT_EQ(Convert(text, VT_R8), row.r8);
    }
    ExpectConversions({
        {L"-0.5", VT_UI1, "0"},
        {L"-0", VT_UI1, "0"},
        {L"-0.6", VT_UI1, "OV"},
        {L"255", VT_UI1, "255"},
        {L"256", VT_UI1, "OV"},
        {L"0.1", VT_R4, "0.1"},
        {L"2147483647", VT_R4, "2147483648"},
        {L"3.4028236e38", VT_R4, "OV"},
        {L"1e-50", VT_R4, "OV"},
        {L"1e-94938484", VT_R4, "0"},
    });
}

TEST(VariantChangeType, NumbersToNumbers) {
    const double halves[] = {0.4, 0.5, 0.6, 1.5, 2.5, 3.5, -0.4, -0.5, -0.6, -1.5, -2.5};
    const char* toI2[] = {"0", "0", "1", "2", "2", "4", "0", "0", "-1", "-2", "-2"};
    const char* toUI1[] = {"0", "0", "1", "2", "2", "4", "0", "0", "OV", "OV", "OV"};
    for (size_t i = 0; i < std::size(halves); ++i) {
        SCOPED_TRACE(halves[i]);
        EXPECT_EQ(Convert(CComVariant(halves[i]), VT_I2), toI2[i]);
        EXPECT_EQ(Convert(Date(halves[i]), VT_I4), toI2[i]);
        EXPECT_EQ(Convert(CComVariant(halves[i]), VT_UI1), toUI1[i]);
    }
    ExpectConversions({
        // Accepted ranges of reals, before rounding.
        {255.49, VT_UI1, "255"},
        {255.5, VT_UI1, "OV"},
        {-32768.51, VT_I2, "OV"},
        {-32768.5, VT_I2, "-32768"},
        {32767.49, VT_I2, "32767"},
        {32767.5, VT_I2, "OV"},
        {2147483647.5, VT_I4, "OV"},
        {std::numeric_limits<double>::quiet_NaN(), VT_I4, "OV"},
        {1e39, VT_R4, "OV"},
        {3.0, VT_R4, "3"},
        // Integers: range checks.
        {32768L, VT_I2, "OV"},
        {-32769L, VT_I2, "OV"},
        {static_cast<short>(-1), VT_UI1, "OV"},
        {static_cast<BYTE>(200), VT_I2, "200"},
        {2147483647L, VT_R4, "2147483648"},
        {16777217L, VT_R4, "16777216"},
        {2147483647L, VT_R8, "2147483647"},
        // BOOL is its 16-bit value and is not normalised.
        {true, VT_I2, "-1"},
        {true, VT_UI1, "255"},
        {true, VT_DATE, "-1"},
        {Bool(1), VT_I2, "1"},
        // Numbers to BOOL.
        {0L, VT_BOOL, "0"},
        {-0.0, VT_BOOL, "0"},
        {0.4f, VT_BOOL, "-1"},
        {-0.5, VT_BOOL, "-1"},
        {std::numeric_limits<double>::quiet_NaN(), VT_BOOL, "-1"},
        // DATE ranges: 1 January 100 to 31 December 9999.
        {-657434L, VT_DATE, "-657434"},
        {-657435L, VT_DATE, "OV"},
        {2958465L, VT_DATE, "2958465"},
        {2958466L, VT_DATE, "OV"},
        {-657435.0, VT_DATE, "OV"},
        {2958466.0, VT_DATE, "OV"},
        {Date(25570.5), VT_R8, "25570.5"},
    });
}

TEST(VariantChangeType, EmptyNullErrorAndInvalidTypes) {
    const VARTYPE targets[] = {
        VT_EMPTY, VT_NULL,          VT_I2, VT_I4, VT_R4, VT_R8, VT_DATE, VT_BSTR, VT_BOOL,
        VT_ERROR, VT_ARRAY | VT_UI1};
    const struct {
        CComVariant source;
        std::vector<std::string> expected;  // one per target
    } rows[] = {
        {CComVariant(), {"EMPTY", "NULL", "0", "0", "0", "0", "0", "", "0", "MM", "MM"}},
        {Null(), {"MM", "NULL", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM"}},
        {Error(),
         {"MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "MM", "ERROR -2147352571", "MM"}},
        {static_cast<short>(5), {"EMPTY", "NULL", "5", "5", "5", "5", "5", "5", "-1", "MM", "MM"}},
        {L"abc",
         {"EMPTY", "NULL", "MM", "MM", "MM", "MM", "MM", "abc", "MM", "MM", "[61 00 62 00 63 00]"}},
        // A null BSTR reads as "": copied as a BSTR of its own, and no number.
        {NullText(), {"EMPTY", "NULL", "MM", "MM", "MM", "MM", "MM", "", "MM", "MM", "[]"}},
    };
    for (const auto& row : rows) {
        for (size_t i = 0; i < std::size(targets); ++i) {
            SCOPED_TRACE(Render(row.source) + " to vt " + std::to_string(targets[i]));
            EXPECT_EQ(Convert(row.source, targets[i]), row.expected[i]);
        }
    }

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
    // 15 significant digits, ties away from zero; fixed notation where the
    // exponent form would not be shorter.
    ExpectAll<double>({{3.0, "3"},
                       {0.56789, "0.56789"},
                       {5.6789e-11, "0.000000000056789"},
                       {5.6789e-12, "5.6789E-12"},
                       {1e-5, "0.00001"},
                       {1e-14, "0.00000000000001"},
                       {1e-15, "1E-15"},
                       {1e14, "100000000000000"},
                       {999999999999999.0, "999999999999999"},
                       {1e15, "1E+15"},
                       {1.2e15, "1.2E+15"},
                       {3.141592653589793, "3.14159265358979"},
                       {0.1 + 0.2, "0.3"},
                       {2.0 / 3, "0.666666666666667"},
                       {9007199254740992.0, "9.00719925474099E+15"},
                       {-0.0, "0"},
                       {70368744177664.25, "70368744177664.3"},
                       {-70368744177664.25, "-70368744177664.3"},
                       {9.999999999999999e22, "1E+23"},
                       {4.9406564584124654e-324, "4.94065645841247E-324"},
                       {1.7976931348623157e308, "1.79769313486232E+308"}},
                      VT_BSTR);
    // Seven significant digits for R4.
    ExpectAll<float>({{0.05f, "0.05"},
                      {1e8f, "1E+08"},
                      {1.2e15f, "1.2E+15"},
                      {3.14159265f, "3.141593"},
                      {654322.23456f, "654322.3"},  // exactly 654322.25: away from zero
                      {0.1f, "0.1"},
                      {12345678.0f, "1.234568E+07"},
                      {16777217.0f, "1.677722E+07"},
                      {-0.0f, "0"}},
                     VT_BSTR);
}

TEST(VariantChangeType, OtherValuesToText) {
    ExpectConversions({
        {-42L, VT_BSTR, "-42"},
        {static_cast<long>(INT32_MIN), VT_BSTR, "-2147483648"},
        {static_cast<BYTE>(255), VT_BSTR, "255"},
        {true, VT_BSTR, "-1"},
        {false, VT_BSTR, "0"},
        {Bool(1), VT_BSTR, "1"},
    });
    // DATE: time only for day 0, date only without a time of day.
    ExpectAll<CComVariant>({{Date(0.0), "12:00:00 AM"},
                            {Date(0.5), "12:00:00 PM"},
                            {Date(1.0), "12/31/1899"},
                            {Date(-1.25), "12/29/1899 6:00:00 AM"},
                            {Date(3.34), "1/2/1900 8:09:36 AM"},
                            {Date(-49192.24), "4/24/1765 5:45:36 AM"},
                            {Date(-657434.0), "1/1/100"},
                            {Date(2958465.9999), "12/31/9999 11:59:51 PM"},
                            {Date(2.0 + 0.6 / 86400), "1/1/1900 12:00:01 AM"},
                            {Date(2.0 + 0.4 / 86400), "1/1/1900 12:00:00 AM"},
                            {Date(2.99999999), "1/2/1900 12:00:00 AM"},  // into the next day
                            {Date(2958466.0), "INVAL"},
                            {Date(-657435.0), "INVAL"}},
                           VT_BSTR);
}

TEST(VariantChangeType, BoolAndText) {
    ExpectAll<const wchar_t*>(
        {{L"True", "-1"},    {L"true", "-1"},   {L"TRUE", "-1"},   {L"False", "0"},
         {L"false", "0"},    {L"#TRUE#", "-1"}, {L"#FALSE#", "0"}, {L"#True#", "MM"},
         {L"#False#", "MM"}, {L"Yes", "MM"},    {L"On", "MM"},     {L"0", "0"},
         {L"-1", "-1"},      {L"+1", "-1"},     {L"0.1", "-1"},    {L"2", "-1"},
         {L"1,0", "-1"},     {L" 7 ", "-1"},    {L"0.0", "0"},     {L"-0", "0"},
         {L" 0 ", "0"},      {L" True", "MM"},  {L"", "MM"},       {L"abc", "MM"},
         {L"1e309", "OV"}},
        VT_BOOL);
    EXPECT_EQ(Convert(CComVariant(true), VT_BSTR, VARIANT_ALPHABOOL), "True");
    EXPECT_EQ(Convert(CComVariant(false), VT_BSTR, VARIANT_ALPHABOOL), "False");
    EXPECT_EQ(Convert(Bool(1), VT_BSTR, VARIANT_LOCALBOOL), "True");
    EXPECT_EQ(Convert(CComVariant(L"-1"), VT_I2, VARIANT_ALPHABOOL), "-1");
}

TEST(VariantChangeType, TextToDate) {
    ExpectAll<const wchar_t*>(
        {{L"1/2/1970", "25570"},
         {L"6/30/2011 01:20:34", Shortest(40724.0 + 4834.0 / 86400).c_str()},
         {L"6/30/2011 01:20:34 pm", Shortest(40724.0 + 48034.0 / 86400).c_str()},
         {L"12/29/1899 6:00", "-1.25"},
         {L"1/1/100", "-657434"},
         {L"12/31/9999", "2958465"},
         {L"1/1/0", "36526"},
         {L"2/29/2000", "36585"},
         {L"6:00:00 AM", "0.25"},
         {L"12:59 AM", Shortest(59.0 / 1440).c_str()},
         {L"13:00 AM", Shortest(13.0 / 24).c_str()},
         {L"2/29/1900", "MM"},
         {L"13/1/1970", "MM"},
         {L"1/1/10000", "MM"},
         {L"12:30 P", "MM"},
         {L"25570", "MM"},
         {L"", "MM"}},
        VT_DATE);
    // The text forms of dates read back to the same value.
    for (double value : {0.0, 0.25, 1.0, -1.25, 3.34, 25570.5, -49192.24, 2958465.0}) {
        const CComVariant date = Date(value);
        CComVariant text;
        ASSERT_EQ(VariantChangeType(&text, &date, 0, VT_BSTR), S_OK);
        CComVariant back;
        ASSERT_EQ(VariantChangeType(&back, &text, 0, VT_DATE), S_OK);
        EXPECT_NEAR(back.date, value, 0.5 / 86400) << Render(text);
    }
}

TEST(VariantChangeType, InPlaceAndDestinationUntouchedOnFailure) {
    CComVariant dest(L"keep");
    const BSTR kept = dest.bstrVal;
    const CComVariant text(L"abc");
    const CComVariant large(40000L);
    const CComVariant null = Null();
    EXPECT_EQ(VariantChangeType(&dest, &text, 0, VT_I2), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&dest, &large, 0, VT_I2), DISP_E_OVERFLOW);
    EXPECT_EQ(VariantChangeType(&dest, &null, 0, VT_BSTR), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&dest, &dest, 0, VT_R8), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(dest.vt, VT_BSTR);
    EXPECT_EQ(dest.bstrVal, kept);
    EXPECT_EQ(VariantChangeType(&dest, &dest, 0, VT_BSTR), S_OK);  // a copy replaces it
    EXPECT_EQ(Render(dest), "keep");

    // A destination of an invalid type fails to clear: the conversion fails
    // with it and leaves the destination as it was.
    VARIANT invalid;
    invalid.vt = 0xFF;
    invalid.llVal = 7;
    const CComVariant one(1L);
    EXPECT_EQ(VariantChangeType(&invalid, &one, 0, VT_I2), DISP_E_BADVARTYPE);
    EXPECT_EQ(invalid.vt, 0xFF);
    EXPECT_EQ(invalid.llVal, 7);

    CComVariant v(L"42");
    EXPECT_EQ(VariantChangeType(&v, &v, 0, VT_I4), S_OK);
    EXPECT_EQ(v.vt, VT_I4);
    EXPECT_EQ(v.lVal, 42);
    CComVariant bytes(L"A");
    ASSERT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_BSTR), S_OK);
    EXPECT_EQ(Render(bytes), "A");
}

TEST(VariantChangeType, TextAndByteArrays) {
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
    EXPECT_EQ(Render(copy), "[41 00 42 00]");

    // An odd count: one UTF-16 unit and a dangling byte.
    CComVariant odd;
    odd.vt = VT_ARRAY | VT_UI1;
    odd.parray = SafeArrayCreateVector(VT_UI1, 0, 3);
    std::memcpy(odd.parray->pvData, "ABC", 3);
    CComVariant text;
    ASSERT_EQ(VariantChangeType(&text, &odd, 0, VT_BSTR), S_OK);
    EXPECT_EQ(std::wstring(text.bstrVal, SysStringLen(text.bstrVal)), L"\x4241\x43");
}

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
        {L"1.234,5", "1234.5"}, {L"1,5", "1.5"},   {L"0,25", "0.25"}, {L".5", "MM"},
        {L"1.5", "15"},         {L"1,5e2", "150"}, {L"1,2,3", "MM"},  {L"$1,5", "1.5"},
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

}  // namespace
