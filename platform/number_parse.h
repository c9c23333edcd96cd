// Internal: numbers read from text the way OLE Automation reads them for
// VariantChangeType (VarParseNumFromStr with NUMPRS_STD), and their
// conversion to the number types: for the stand-ins' VariantChangeType, and
// on every system for the numbers ODBC drivers write as text.
#pragma once

#include <korvan/platform.h>

#include <cstdint>

#include "platform/process_locale.h"

namespace korvan {

// The largest magnitude an R4 takes (Windows checks against this value, a
// little above FLT_MAX) and the smallest nonzero one.
constexpr double kR4Max = 3.402823567797336e38;
constexpr double kR4Min = 1.4e-45;

// The whole text must be one number: blanks, one '+', one '-', one '$' and
// one '(' before it; "&H" hexadecimal or "&O" octal digits, or decimal digits
// with thousands separators after the first digit, one decimal point and an
// exponent; then blanks, thousands separators, '$', ')' closing the '(' and a
// sign not given in front. A '-' or parentheses make the number negative.
class ParsedNumber {
  public:
    // S_OK, or DISP_E_TYPEMISMATCH for a null or empty text or one that is
    // not a number.
    HRESULT Parse(const wchar_t* text, const NumberSymbols& symbols);

    // The value rounded half to even on its decimal digits, as the bits of an
    // integer type of the given width (8, 16, 32 or 64) whose values are
    // minimum..maximum; DISP_E_OVERFLOW outside that range. A hexadecimal or
    // octal number only has to fit into the width, so "&HFFFF" is a 16-bit -1.
    HRESULT ToInteger(int64_t minimum, uint64_t maximum, int bits, uint64_t& out) const;
    // The nearest double; DISP_E_OVERFLOW beyond its range, 0 below it. A
    // hexadecimal or octal number must fit a signed 32-bit value.
    HRESULT ToDouble(double& out) const;
    // As ToDouble, then DISP_E_OVERFLOW when the magnitude is beyond the range
    // of float or nonzero but too small for it.
    HRESULT ToFloat(float& out) const;

  private:
    struct Cursor;
    static constexpr int kMaxDigits = 1024;

    bool ParsePrefix(Cursor& at);
    void ParseRadixPrefix(Cursor& at);
    bool ParseDigits(Cursor& at);
    bool ParseExponent(Cursor& at);
    void ParseSuffix(Cursor& at);
    void AddDecimalDigit(wchar_t ch, bool fraction);
    void AddRadixDigit(unsigned value);
    HRESULT Magnitude(uint64_t& out) const;

    char m_digits[kMaxDigits];
    int m_count = 0;         // significant digits: no leading or trailing zeros
    int m_exponent = 0;      // the value is digits x 10^exponent
    bool m_dropped = false;  // nonzero digits beyond kMaxDigits were left out
    bool m_negative = false;
    int m_radix = 10;  // 16 or 8 for "&H" and "&O" numbers
    uint64_t m_bits = 0;
    bool m_bitsOverflow = false;
};

}  // namespace korvan
