#include "platform/number_parse.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "platform/unicode.h"

namespace korvan {
namespace {

// Exponents beyond this are out of every range anyway; the cap keeps the
// arithmetic on the exponent from overflowing.
constexpr int kExponentLimit = 100000000;

bool IsDigit(wchar_t ch) {
    return ch >= L'0' && ch <= L'9';
}

int HexLetterValue(wchar_t ch) {
    if (ch >= L'a' && ch <= L'f') {
        return ch - L'a' + 10;
    }
    if (ch >= L'A' && ch <= L'F') {
        return ch - L'A' + 10;
    }
    return -1;
}

}  // namespace

struct ParsedNumber::Cursor {
    const wchar_t* at;
    wchar_t decimalPoint;
    wchar_t separator;   // 0 when there is none
    wchar_t separator2;  // a plain space, where the separator is a no-break space
    bool plus = false;
    bool minus = false;
    bool currency = false;
    bool paren = false;
    bool closed = false;
    bool decimal = false;
    bool digits = false;  // leading zeros count

    bool IsSeparator(wchar_t ch) const { return ch && (ch == separator || ch == separator2); }
};

HRESULT ParsedNumber::Parse(const wchar_t* text, const NumberSymbols& symbols) {
    m_count = 0;
    m_exponent = 0;
    m_dropped = false;
    m_negative = false;
    m_radix = 10;
    m_bits = 0;
    m_bitsOverflow = false;
    if (!text) {
        return DISP_E_TYPEMISMATCH;
    }
    Cursor cursor{text, symbols.decimalPoint, symbols.thousandsSeparator, L'\0'};
    if (cursor.separator == cursor.decimalPoint) {
        cursor.separator = L'\0';  // the decimal point wins
    }
    if (cursor.separator == L'\u00A0') {
        cursor.separator2 = L' ';
    }
    if (!ParsePrefix(cursor)) {
        return DISP_E_TYPEMISMATCH;
    }
    ParseRadixPrefix(cursor);
    if (!ParseDigits(cursor)) {
        return DISP_E_TYPEMISMATCH;
    }
    ParseSuffix(cursor);
    if ((cursor.paren && !cursor.closed) || *cursor.at || !cursor.digits) {
        return DISP_E_TYPEMISMATCH;
    }
    while (m_count > 0 && m_digits[m_count - 1] == '0') {
        --m_count;
        ++m_exponent;
    }
    return S_OK;
}

bool ParsedNumber::ParsePrefix(Cursor& cursor) {
    for (;; ++cursor.at) {
        const wchar_t ch = *cursor.at;
        if (ch == cursor.decimalPoint) {
            cursor.decimal = true;
            ++cursor.at;
            return true;
        }
        if (IsWhiteSpace(ch)) {
            continue;
        }
        if (cursor.IsSeparator(ch)) {
            return false;  // not before the first digit
        }
        if (ch == L'+' && !cursor.plus) {
            cursor.plus = true;
        } else if (ch == L'-' && !cursor.minus) {
            cursor.minus = true;
            m_negative = true;
        } else if (ch == L'$' && !cursor.currency) {
            cursor.currency = true;
        } else if (ch == L'(' && !cursor.paren) {
            cursor.paren = true;
        } else {
            return true;
        }
    }
}

void ParsedNumber::ParseRadixPrefix(Cursor& cursor) {
    if (cursor.decimal || cursor.currency || cursor.at[0] != L'&') {
        return;
    }
    const wchar_t kind = cursor.at[1];
    if (kind == L'H' || kind == L'h') {
        m_radix = 16;
    } else if (kind == L'O' || kind == L'o') {
        m_radix = 8;
    } else {
        return;
    }
    cursor.at += 2;
}

bool ParsedNumber::ParseDigits(Cursor& cursor) {
    for (;; ++cursor.at) {
        const wchar_t ch = *cursor.at;
        if (IsDigit(ch)) {
            if (m_radix == 8 && ch >= L'8') {
                return true;
            }
            cursor.digits = true;
            if (m_radix == 10) {
                AddDecimalDigit(ch, cursor.decimal);
            } else {
                AddRadixDigit(static_cast<unsigned>(ch - L'0'));
            }
        } else if (m_radix == 16 && HexLetterValue(ch) >= 0) {
            cursor.digits = true;
            AddRadixDigit(static_cast<unsigned>(HexLetterValue(ch)));
        } else if (m_radix != 10) {
            return true;
        } else if (cursor.IsSeparator(ch)) {
            continue;
        } else if (ch == cursor.decimalPoint && !cursor.decimal) {
            cursor.decimal = true;
        } else if ((ch == L'e' || ch == L'E') && !cursor.currency) {
            ++cursor.at;
            return ParseExponent(cursor);
        } else {
            return true;
        }
    }
}

bool ParsedNumber::ParseExponent(Cursor& cursor) {
    bool negative = false;
    if (*cursor.at == L'+' || *cursor.at == L'-') {
        negative = *cursor.at == L'-';
        ++cursor.at;
    }
    if (!IsDigit(*cursor.at)) {
        return false;
    }
    int value = 0;
    for (; IsDigit(*cursor.at); ++cursor.at) {
        value = std::min(value * 10 + (*cursor.at - L'0'), kExponentLimit);
    }
    m_exponent += negative ? -value : value;
    return true;
}

void ParsedNumber::ParseSuffix(Cursor& cursor) {
    for (;; ++cursor.at) {
        const wchar_t ch = *cursor.at;
        if (cursor.IsSeparator(ch)) {
            if (m_radix != 10) {
                return;
            }
        } else if (IsWhiteSpace(ch) || (ch == L'+' && !cursor.plus)) {
            continue;
        } else if (ch == L'-' && !cursor.minus) {
            m_negative = true;
        } else if (ch == L')' && cursor.paren) {
            cursor.closed = true;
            m_negative = true;
        } else if (!(ch == L'$' && m_radix == 10)) {
            return;
        }
    }
}

void ParsedNumber::AddDecimalDigit(wchar_t ch, bool fraction) {
    if (m_count == 0 && ch == L'0') {
        m_exponent -= fraction ? 1 : 0;
        return;
    }
    if (m_count == kMaxDigits) {
        m_dropped = m_dropped || ch != L'0';
        m_exponent += fraction ? 0 : 1;
        return;
    }
    m_digits[m_count++] = static_cast<char>(ch);
    m_exponent -= fraction ? 1 : 0;
}

void ParsedNumber::AddRadixDigit(unsigned value) {
    const int shift = m_radix == 16 ? 4 : 3;
    if (m_bits >> (64 - shift)) {
        m_bitsOverflow = true;
    }
    m_bits = (m_bits << shift) | value;
}

HRESULT ParsedNumber::Magnitude(uint64_t& out) const {
    out = 0;
    if (m_count == 0) {
        return S_OK;
    }
    const int whole = m_count + m_exponent;  // digits before the decimal point
    if (whole > 20) {
        return DISP_E_OVERFLOW;
    }
    uint64_t value = 0;
    for (int i = 0; i < whole; ++i) {
        const unsigned digit = i < m_count ? static_cast<unsigned>(m_digits[i] - '0') : 0;
        if (value > (UINT64_MAX - digit) / 10) {
            return DISP_E_OVERFLOW;
        }
        value = value * 10 + digit;
    }
    if (whole >= 0 && whole < m_count) {
        // Half to even on the decimal digits: exactly half rounds to the even
        // neighbour, anything above half away from zero.
        const int first = m_digits[whole] - '0';
        const bool more = whole + 1 < m_count || m_dropped;
        if (first > 5 || (first == 5 && (more || (value & 1)))) {
            if (value == UINT64_MAX) {
                return DISP_E_OVERFLOW;
            }
            ++value;
        }
    }
    out = value;
    return S_OK;
}

HRESULT ParsedNumber::ToInteger(int64_t minimum, uint64_t maximum, int bits, uint64_t& out) const {
    if (m_radix != 10) {
        if (m_bitsOverflow || (bits < 64 && (m_bits >> bits) != 0)) {
            return DISP_E_OVERFLOW;
        }
        out = m_bits;
        return S_OK;
    }
    uint64_t magnitude = 0;
    const HRESULT hr = Magnitude(magnitude);
    if (FAILED(hr)) {
        return hr;
    }
    if (m_negative && magnitude != 0) {
        // -(minimum + 1) + 1 is the largest magnitude of a negative value.
        const uint64_t limit = static_cast<uint64_t>(-(minimum + 1)) + 1;
        if (minimum >= 0 || magnitude > limit) {
            return DISP_E_OVERFLOW;
        }
        out = 0 - magnitude;
        return S_OK;
    }
    if (magnitude > maximum) {
        return DISP_E_OVERFLOW;
    }
    out = magnitude;
    return S_OK;
}

HRESULT ParsedNumber::ToDouble(double& out) const {
    if (m_radix != 10) {
        if (m_bitsOverflow || m_bits > 0x80000000u) {
            return DISP_E_OVERFLOW;
        }
        out = m_bits == 0x80000000u ? -2147483648.0 : static_cast<double>(m_bits);
        return S_OK;
    }
    double magnitude = 0.0;
    if (m_count > 0) {
        char text[kMaxDigits + 24];
        std::memcpy(text, m_digits, static_cast<size_t>(m_count));
        int length = m_count;
        int exponent = m_exponent;
        if (m_dropped) {
            text[length++] = '1';  // keeps the rounding of the digits left out
            --exponent;
        }
        text[length++] = 'e';
        char* end = std::to_chars(text + length, text + sizeof text, exponent).ptr;
        const auto result = std::from_chars(text, end, magnitude);
        if (result.ec == std::errc::result_out_of_range) {
            if (m_count + m_exponent > 0) {
                return DISP_E_OVERFLOW;
            }
            magnitude = 0.0;
        }
    }
    out = m_negative ? -magnitude : magnitude;
    return S_OK;
}

HRESULT ParsedNumber::ToFloat(float& out) const {
    double value = 0.0;
    const HRESULT hr = ToDouble(value);
    if (FAILED(hr)) {
        return hr;
    }
    const double magnitude = std::fabs(value);
    if (magnitude > kR4Max || (magnitude != 0.0 && magnitude < kR4Min)) {
        return DISP_E_OVERFLOW;
    }
    out = static_cast<float>(value);
    return S_OK;
}

}  // namespace korvan
