#include "platform/posix/number_format.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace korvan {
namespace {

// Digits after the point that write any double exactly: an exact expansion
// has at most 767 significant digits.
constexpr int kExactPrecision = 770;
constexpr int kDigitCapacity = kExactPrecision + 2;

// The exact significant digits of magnitude when they fit into 128 bits
// (integers below 2^127 and fractions of at most 32 binary places).
bool ShortExactDigits(double magnitude, char* out, int& count, int& exponent) {
    int binaryExponent = 0;
    const double fraction = std::frexp(magnitude, &binaryExponent);
    uint64_t mantissa = static_cast<uint64_t>(std::ldexp(fraction, 53));
    int shift = binaryExponent - 53;
    while ((mantissa & 1) == 0) {
        mantissa >>= 1;
        ++shift;
    }
    unsigned __int128 value = mantissa;
    int places = 0;  // decimal places: m x 2^-k = m x 5^k / 10^k
    if (shift >= 0) {
        if (shift > 74) {
            return false;
        }
        value <<= shift;
    } else {
        if (shift < -32) {
            return false;
        }
        for (places = 0; places < -shift; ++places) {
            value *= 5;
        }
    }
    char reversed[40];
    int n = 0;
    for (; value != 0; value /= 10) {
        reversed[n++] = static_cast<char>('0' + static_cast<int>(value % 10));
    }
    std::reverse_copy(reversed, reversed + n, out);
    count = n;
    exponent = n - 1 - places;
    return true;
}

// The digits of magnitude as the C library prints them with `precision`
// digits after the point in scientific notation (correctly rounded).
int PrintedDigits(double magnitude, int precision, char* out, int& exponent) {
    char text[kExactPrecision + 32];
    const auto end =
        std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific, precision)
            .ptr;
    int count = 0;
    const char* at = text;
    for (; at < end && *at != 'e'; ++at) {
        if (*at != '.') {
            out[count++] = *at;
        }
    }
    ++at;  // 'e'
    if (*at == '+') {
        ++at;
    }
    std::from_chars(at, end, exponent);
    return count;
}

// Significant digits of magnitude of which at least the first needed + 1 are
// exact (or all, when the expansion is shorter), which is what rounding to
// `needed` digits half away from zero looks at.
int SignificantDigits(double magnitude, int needed, char* out, int& exponent) {
    int count = 0;
    if (ShortExactDigits(magnitude, out, count, exponent)) {
        return count;
    }
    // A digit printed with 24 more after it is exact unless the rounding of
    // the last one carried into it, which leaves nothing but zeros behind.
    count = PrintedDigits(magnitude, needed + 24, out, exponent);
    if (std::any_of(out + needed + 1, out + count, [](char c) { return c != '0'; })) {
        return count;
    }
    return PrintedDigits(magnitude, kExactPrecision, out, exponent);
}

// Rounds to `limit` significant digits half away from zero and drops trailing
// zeros; returns the number of digits left.
int RoundDigits(char* digits, int count, int limit, int& exponent) {
    if (count > limit) {
        const bool up = digits[limit] >= '5';
        count = limit;
        if (up) {
            int i = limit - 1;
            for (; i >= 0 && digits[i] == '9'; --i) {
                digits[i] = '0';
            }
            if (i < 0) {
                digits[0] = '1';
                count = 1;
                ++exponent;
            } else {
                ++digits[i];
            }
        }
    }
    while (count > 1 && digits[count - 1] == '0') {
        --count;
    }
    return count;
}

void AppendDigits(std::wstring& text, const char* digits, int count) {
    text.append(digits, digits + count);
}

void AppendFixed(std::wstring& text, const char* digits, int count, int exponent,
                 wchar_t decimalPoint) {
    if (exponent < 0) {
        text += L'0';
        text += decimalPoint;
        text.append(static_cast<size_t>(-exponent - 1), L'0');
        AppendDigits(text, digits, count);
        return;
    }
    const int whole = exponent + 1;
    AppendDigits(text, digits, std::min(count, whole));
    if (count > whole) {
        text += decimalPoint;
        AppendDigits(text, digits + whole, count - whole);
    } else {
        text.append(static_cast<size_t>(whole - count), L'0');
    }
}

void AppendScientific(std::wstring& text, const char* digits, int count, int exponent,
                      wchar_t decimalPoint) {
    text += static_cast<wchar_t>(digits[0]);
    if (count > 1) {
        text += decimalPoint;
        AppendDigits(text, digits + 1, count - 1);
    }
    text += exponent < 0 ? L"E-" : L"E+";
    const int magnitude = std::abs(exponent);
    if (magnitude < 10) {
        text += L'0';
    }
    text += std::to_wstring(magnitude);
}

}  // namespace

std::wstring FormatReal(double value, int precision, wchar_t decimalPoint) {
    if (std::isnan(value)) {
        return L"NAN";
    }
    if (std::isinf(value)) {
        return value < 0 ? L"-INF" : L"INF";
    }
    if (value == 0.0) {
        return L"0";
    }
    char digits[kDigitCapacity] = {};
    int exponent = 0;
    int count = SignificantDigits(std::fabs(value), precision, digits, exponent);
    count = RoundDigits(digits, count, precision, exponent);

    std::wstring text;
    if (value < 0) {
        text += L'-';
    }
    if (exponent < -4 || exponent >= precision) {
        // Small numbers whose digits fit into `precision` decimals stay fixed.
        const int extraDecimals = count > 1 ? count - 2 : 0;
        if (exponent < 0 && -exponent + extraDecimals < precision) {
            AppendFixed(text, digits, count, exponent, decimalPoint);
        } else {
            AppendScientific(text, digits, count, exponent, decimalPoint);
        }
    } else {
        AppendFixed(text, digits, count, exponent, decimalPoint);
    }
    return text;
}

}  // namespace korvan
