// Internal text coding helpers beside the public ones of korvan/platform.h.
//
// A wide text is UTF-32 where wchar_t has 32 bits and UTF-16 where it has 16
// (Windows): there a character beyond U+FFFF is a surrogate pair. Every
// conversion between wide text and bytes goes through the code point helpers
// below, so that it is right for both widths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace korvan {

constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

constexpr bool IsHighSurrogate(uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr char32_t JoinSurrogates(uint32_t high, uint32_t low) {
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// Reads the characters of a wide text one code point at a time. Where wchar_t
// is 16 bits a surrogate pair is one character; a lone surrogate, or a value
// beyond U+10FFFF where wchar_t is 32 bits, is passed on as it is.
class CodePointReader {
  public:
    explicit CodePointReader(std::wstring_view text) : m_text(text) {}

    bool Next(char32_t& out) {
        if (m_at == m_text.size()) {
            return false;
        }
        uint32_t c = static_cast<uint32_t>(m_text[m_at++]);
        if constexpr (kWideIsUtf16) {
            c &= 0xFFFF;
            if (IsHighSurrogate(c) && m_at < m_text.size() &&
                IsLowSurrogate(static_cast<uint32_t>(m_text[m_at]) & 0xFFFF)) {
                c = JoinSurrogates(c, static_cast<uint32_t>(m_text[m_at++]) & 0xFFFF);
            }
        }
        out = static_cast<char32_t>(c);
        return true;
    }

  private:
    std::wstring_view m_text;
    size_t m_at = 0;
};

// Calls fn(code point) for each character of text, as CodePointReader reads
// them.
template <typename Fn>
void ForEachCodePoint(std::wstring_view text, Fn&& fn) {
    CodePointReader reader(text);
    for (char32_t c; reader.Next(c);) {
        fn(c);
    }
}

// <0, 0 or >0: the texts ordered code point by code point after map (the
// identity when none is given), the shorter first when one begins the other.
// By code point also where wchar_t holds UTF-16, whose units would put
// U+10000 before U+E000.
template <typename Map>
int CompareCodePoints(std::wstring_view left, std::wstring_view right, Map&& map) {
    CodePointReader a(left);
    CodePointReader b(right);
    for (;;) {
        char32_t x = 0;
        char32_t y = 0;
        const bool moreA = a.Next(x);
        const bool moreB = b.Next(y);
        if (!moreA || !moreB) {
            return moreA == moreB ? 0 : (moreA ? 1 : -1);
        }
        x = map(x);
        y = map(y);
        if (x != y) {
            return x < y ? -1 : 1;
        }
    }
}

inline int CompareCodePoints(std::wstring_view left, std::wstring_view right) {
    return CompareCodePoints(left, right, [](char32_t c) { return c; });
}

// Appends one code point as wide text: a surrogate pair for a character beyond
// U+FFFF where wchar_t is 16 bits.
inline void AppendCodePoint(std::wstring& out, char32_t c) {
    if (kWideIsUtf16 && c >= 0x10000 && c <= 0x10FFFF) {
        out += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        out += static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
        out += static_cast<wchar_t>(c);
    }
}

// Calls fn(unit) for each UTF-16 code unit of text; a value that is no code
// point gives U+FFFD.
template <typename Fn>
void ForEachUtf16Unit(std::wstring_view text, Fn&& fn) {
    ForEachCodePoint(text, [&fn](char32_t c) {
        if (c >= 0x10000 && c <= 0x10FFFF) {
            fn(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
            fn(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            fn(static_cast<char16_t>(c <= 0xFFFF ? c : 0xFFFD));
        }
    });
}

// Decodes UTF-8 replacing every invalid sequence by U+FFFD; for texts that
// come from the host program rather than from a file.
std::wstring DecodeUtf8Lenient(std::string_view bytes);

// Whether DecodeUtf8 would accept bytes, without decoding them: for text
// that is checked once and then kept, or handed on, as UTF-8.
bool IsValidUtf8(std::string_view bytes);

// Native UTF-16, as ODBC's wide functions take it (SQLWCHAR is 2 bytes on
// every system, wchar_t only on Windows): characters above U+FFFF become
// surrogate pairs, values that are no character U+FFFD.
std::u16string EncodeUtf16(std::wstring_view text);
// Appends count UTF-16 units to out, joining surrogate pairs; a lone
// surrogate is kept as it is.
void AppendUtf16(const char16_t* units, size_t count, std::wstring& out);

}  // namespace korvan
