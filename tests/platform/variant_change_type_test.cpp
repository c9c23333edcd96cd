#include <gtest/gtest.h>
#include <korvan/platform.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/platform/variant_test_support.h"

using variant_test::Bool;
using variant_test::Bytes;
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
    // Malformed texts, and blanks, signs, currency, parentheses, separators,
    // exponents and radix prefixes: one outcome for every numeric type.
    const std::pair<const wchar_t*, const char*> alike[] = {
        {L"--42", "MM"},     {L"-42-", "MM"},       {L"(42", "MM"},      {L"42)", "MM"},
        {L",123", "MM"},     {L"1.2.3", "MM"},      {L"1e", "MM"},       {L"1 e3", "MM"},
        {L"$1e3", "MM"},     {L"&O8", "MM"},        {L"&H", "MM"},       {L"&H10.5", "MM"},
        {L"$&H10", "MM"},    {L"", "MM"},           {L".", "MM"},        {L"1 2", "MM"},
        {L"12abc", "MM"},    {L"0x10", "MM"},       {L"True", "MM"},     {L"\u0660", "MM"},
        {L"0", "0"},         {L" 42 ", "42"},       {L"\u00A042", "42"}, {L"+42", "42"},
        {L"42+", "42"},      {L"-42", "-42"},       {L"42-", "-42"},     {L"(42)", "-42"},
        {L"$-42", "-42"},    {L"-$42", "-42"},      {L"42$", "42"},      {L"$11$$", "11"},
        {L"1,234", "1234"},  {L"123,", "123"},      {L"1,,000", "1000"}, {L"1,5", "15"},
        {L"1.", "1"},        {L"1e3", "1000"},      {L"1E+3", "1000"},   {L"1e-94938484", "0"},
        {L"-&H10", "16"},    {L"&h7FFF", "32767"},  {L"&O17", "15"},     {L"&o777", "511"},
        {L"32767", "32767"}, {L"-32768", "-32768"},
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
        {L"2.5000001", "3", "3", "2.5000001"},
        {L"32767.5", "OV", "32768", "32767.5"},
        {L"-32768.5", "-32768", "-32768", "-32768.5"},
        {L"32768", "OV", "32768", "32768"},
        {L"-32769", "OV", "-32769", "-32769"},
        {L"2147483648", "OV", "OV", "2147483648"},
        {L"1.000,5", "1", "1", "1.0005"},
        {L".5", "0", "0", "0.5"},
        {L"12e-1", "1", "1", "1.2"},
        {L"1e309", "OV", "OV", "OV"},
        {L"&HFFFF", "-1", "65535", "65535"},
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
        {L"-0.6", VT_UI1, "OV"},
        {L"255", VT_UI1, "255"},
        {L"256", VT_UI1, "OV"},
        {L"2147483647", VT_R4, "2147483648"},
        {L"3.4028236e38", VT_R4, "OV"},
        {L"1e-50", VT_R4, "OV"},
        {L"1e-94938484", VT_R4, "0"},
    });
}

TEST(VariantChangeType, NumbersToNumbers) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double halves[] = {0.5, 0.6, 1.5, 2.5, -0.5, -0.6, -1.5, -2.5};
    const char* toI2[] = {"0", "1", "2", "2", "0", "-1", "-2", "-2"};
    const char* toUI1[] = {"0", "1", "2", "2", "0", "OV", "OV", "OV"};
    for (size_t i = 0; i < std::size(halves); ++i) {
        SCOPED_TRACE(halves[i]);
        EXPECT_EQ(Convert(CComVariant(halves[i]), VT_I2), toI2[i]);
        EXPECT_EQ(Convert(CComVariant(halves[i]), VT_UI1), toUI1[i]);
    }
    if (!variant_test::UnderWine()) {
        // Wine's range check lets NaN through to the rounding.
        EXPECT_EQ(Convert(CComVariant(nan), VT_I4), "OV");
    }
    ExpectConversions({
        // Accepted ranges of reals, before rounding.
        {255.5, VT_UI1, "OV"},
        {-32768.51, VT_I2, "OV"},
        {-32768.5, VT_I2, "-32768"},
        {32767.5, VT_I2, "OV"},
        {2147483647.5, VT_I4, "OV"},
        {1e39, VT_R4, "OV"},
        // Integers: range checks.
        {32768L, VT_I2, "OV"},
        {static_cast<short>(-1), VT_UI1, "OV"},
        {16777217L, VT_R4, "16777216"},
        // BOOL is its 16-bit value and is not normalised.
        {true, VT_UI1, "255"},
        {Bool(1), VT_I2, "1"},
        // Numbers to BOOL.
        {0L, VT_BOOL, "0"},
        {-0.0, VT_BOOL, "0"},
        {0.4f, VT_BOOL, "-1"},
        {nan, VT_BOOL, "-1"},
        // DATE ranges: 1 January 100 to 31 December 9999, the day itself
        // included; an R4 is taken as it is.
        {-657434.99, VT_DATE, "-657434.99"},
        {-657435L, VT_DATE, "OV"},
        {2958465.99, VT_DATE, "2958465.99"},
        {2958466.0, VT_DATE, "OV"},
        {3e6f, VT_DATE, "3000000"},
    });
}

TEST(VariantChangeType, EmptyNullErrorBytesAndInvalidTypes) {
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
        // Bytes become a text again or a copy, and nothing else.
        {Bytes(L"AB"),
         {"MM", "MM", "MM", "MM", "MM", "MM", "MM", "AB", "MM", "MM", "[41 00 42 00]"}},
    };
    for (const auto& row : rows) {
        for (size_t i = 0; i < std::size(targets); ++i) {
            SCOPED_TRACE(Render(row.source) + " to vt " + std::to_string(targets[i]));
            EXPECT_EQ(Convert(row.source, targets[i]), row.expected[i]);
        }
    }

    // Types Windows does not take at all, and types it takes but cannot
    // convert to.
    const VARTYPE invalid[] = {VT_VOID, VT_HRESULT, VT_LPSTR, 15, 0xFF, VT_ARRAY | VT_NULL};
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
    const VARTYPE unconvertible[] = {VT_I4 | VT_BYREF, VT_ARRAY | VT_I4, VT_DISPATCH, VT_UNKNOWN};
    for (VARTYPE vt : unconvertible) {
        EXPECT_EQ(Convert(CComVariant(1L), vt), "MM") << vt;
    }
}

TEST(VariantChangeType, ValuesToText) {
    // Reals: 15 significant digits (7 for R4), ties away from zero; fixed
    // notation where the exponent form would not be shorter.
    ExpectAll<double>({{3.0, "3"},
                       {0.56789, "0.56789"},
                       {5.6789e-12, "5.6789E-12"},
                       {1e-15, "1E-15"},
                       {999999999999999.0, "999999999999999"},
                       {1e15, "1E+15"},
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
    if (!variant_test::UnderWine()) {
        // Wine keeps the exponent form for these small numbers.
        ExpectAll<double>({{5.6789e-11, "0.000000000056789"}, {1e-14, "0.00000000000001"}},
                          VT_BSTR);
    }
    ExpectConversions({
        {0.1f, VT_BSTR, "0.1"},
        {1e8f, VT_BSTR, "1E+08"},
        {3.14159265f, VT_BSTR, "3.141593"},
        {654322.23456f, VT_BSTR, "654322.3"},  // exactly 654322.25: away from zero
        {12345678.0f, VT_BSTR, "1.234568E+07"},
        {static_cast<long>(INT32_MIN), VT_BSTR, "-2147483648"},
        {static_cast<BYTE>(255), VT_BSTR, "255"},
        {true, VT_BSTR, "-1"},
        {Bool(1), VT_BSTR, "1"},
        // DATE: time only for day 0, date only without a time of day.
        {Date(0.0), VT_BSTR, "12:00:00 AM"},
        {Date(0.5), VT_BSTR, "12:00:00 PM"},
        {Date(1.0), VT_BSTR, "12/31/1899"},
        {Date(-1.25), VT_BSTR, "12/29/1899 6:00:00 AM"},
        {Date(-49192.24), VT_BSTR, "4/24/1765 5:45:36 AM"},
        {Date(-657434.0), VT_BSTR, "1/1/100"},
        {Date(2958465.9999), VT_BSTR, "12/31/9999 11:59:51 PM"},
        {Date(2.0 + 0.6 / 86400), VT_BSTR, "1/1/1900 12:00:01 AM"},
        {Date(2.0 + 0.4 / 86400), VT_BSTR, "1/1/1900 12:00:00 AM"},
        // Half a second rounds up, a hair less does not.
        {Date(0.5 / 86400), VT_BSTR, "12:00:01 AM"},
        {Date(1.5 / 86400), VT_BSTR, "12:00:02 AM"},
        {Date(59.5 / 86400), VT_BSTR, "12:01:00 AM"},
        {Date(1.0 + 86399.5 / 86400), VT_BSTR, "1/1/1900 12:00:00 AM"},
        {Date(-1.0 - 0.5 / 86400), VT_BSTR, "12/29/1899 12:00:01 AM"},
        {Date(0.49999 / 86400), VT_BSTR, "12:00:00 AM"},
        {Date(2.99999999), VT_BSTR, "1/2/1900 12:00:00 AM"},  // into the next day
        {Date(2958466.0), VT_BSTR, "INVAL"},
        {Date(-657435.0), VT_BSTR, "INVAL"},
    });
}

TEST(VariantChangeType, BoolAndText) {
    ExpectAll<const wchar_t*>({{L"True", "-1"},
                               {L"TRUE", "-1"},
                               {L"false", "0"},
                               {L"#TRUE#", "-1"},
                               {L"#FALSE#", "0"},
                               {L"#True#", "MM"},
                               {L"Yes", "MM"},
                               {L"0", "0"},
                               {L"-0", "0"},
                               {L"0.1", "-1"},
                               {L"2", "-1"},
                               {L" True", "MM"},
                               {L"", "MM"},
                               {L"abc", "MM"},
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
         {L"13/1/1970", "25581"},  // day first when month first is no date
         {L"1/1/10000", "MM"},
         {L"12:30 P", Shortest(12.5 / 24).c_str()},
         {L"25570", "MM"},
         {L"", "MM"}},
        VT_DATE);
}

TEST(VariantChangeType, InPlaceAndDestinationUntouchedOnFailure) {
    CComVariant dest(L"keep");
    const BSTR kept = dest.bstrVal;
    const CComVariant text(L"abc");
    const CComVariant large(40000L);
    EXPECT_EQ(VariantChangeType(&dest, &text, 0, VT_I2), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&dest, &large, 0, VT_I2), DISP_E_OVERFLOW);
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

    CComVariant bytes(L"A");
    ASSERT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(bytes.parray->rgsabound[0].lLbound, 0);
    EXPECT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_ARRAY | VT_UI1), S_OK);
    EXPECT_EQ(VariantChangeType(&bytes, &bytes, 0, VT_BSTR), S_OK);
    EXPECT_EQ(Render(bytes), "A");
}

}  // namespace
