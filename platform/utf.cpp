#include "platform/utf.h"

#include <korvan/platform.h>

#include <cstdint>
#include <cstring>

namespace korvan {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one sequence starting at bytes[pos]; advances pos past what was
// consumed. Returns false for an invalid sequence, leaving pos after the
// longest prefix that could have started a valid one (at least one byte), so
// that a lenient reading puts one U+FFFD for each such part.
bool DecodeOne(std::string_view bytes, size_t& pos, char32_t& out) {
    const auto lead = static_cast<unsigned char>(bytes[pos++]);
    if (lead < 0x80) {
        out = lead;
        return true;
    }
    // The second byte's range is narrower after some leads: E0 and F0 would
    // otherwise start overlong forms, ED surrogates, F4 values beyond
    // U+10FFFF. Checking it there, not on the decoded value, ends an invalid
    // sequence at the first byte that makes it so.
    int extra;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        extra = 1, out = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        extra = 2, out = lead & 0x0F;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        extra = 3, out = lead & 0x07;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return false;  // stray continuation byte, overlong lead or beyond U+10FFFF
    }
    for (int i = 0; i < extra; ++i, low = 0x80, high = 0xBF) {
        if (pos >= bytes.size()) {
            return false;
        }
        const auto next = static_cast<unsigned char>(bytes[pos]);
        if (next < low || next > high) {
            return false;
        }
        out = (out << 6) | (next & 0x3F);
        ++pos;
    }
    return true;
}

// Whether the eight bytes at bytes are all below 0x80.
bool IsAsciiWord(const char* bytes) {
    uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return (word & 0x8080808080808080ULL) == 0;
}

void AppendUtf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        c = kReplacement;
    }
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

}  // namespace

bool DecodeUtf8(std::string_view bytes, std::wstring& out) {
    out.clear();
    out.reserve(bytes.size());
    size_t pos = 0;
    while (pos < bytes.size()) {
        char32_t c;
        if (!DecodeOne(bytes, pos, c)) {
            out.clear();
            return false;
        }
        AppendCodePoint(out, c);
    }
    return true;
}

std::wstring DecodeUtf8Lenient(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    size_t pos = 0;
    while (pos < bytes.size()) {
        char32_t c;
        AppendCodePoint(out, DecodeOne(bytes, pos, c) ? c : kReplacement);
    }
    return out;
}

bool IsValidUtf8(std::string_view bytes) {
    size_t pos = 0;
    while (pos < bytes.size()) {
        // Runs of ASCII, the bulk of a database file, go a word at a time.
        if (pos + sizeof(uint64_t) <= bytes.size() && IsAsciiWord(bytes.data() + pos)) {
            pos += sizeof(uint64_t);
            continue;
        }
        char32_t c;
        if (!DecodeOne(bytes, pos, c)) {
            return false;
        }
    }
    return true;
}

std::string EncodeUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    ForEachCodePoint(text, [&out](char32_t c) { AppendUtf8(out, c); });
    return out;
}

std::vector<BYTE> EncodeUtf16LE(std::wstring_view text) {
    std::vector<BYTE> out;
    out.reserve(text.size() * 2);
    ForEachUtf16Unit(text, [&out](char16_t unit) {
        out.push_back(static_cast<BYTE>(unit & 0xFF));
        out.push_back(static_cast<BYTE>(unit >> 8));
    });
    return out;
}

std::wstring DecodeUtf16LE(const BYTE* bytes, size_t count) {
    std::wstring out;
    out.reserve(count / 2 + 1);
    auto unitAt = [bytes](size_t i) {
        return bytes[i] | (static_cast<uint32_t>(bytes[i + 1]) << 8);
    };
    size_t i = 0;
    for (; i + 1 < count; i += 2) {
        const uint32_t unit = unitAt(i);
        if (IsHighSurrogate(unit) && i + 3 < count && IsLowSurrogate(unitAt(i + 2))) {
            AppendCodePoint(out, JoinSurrogates(unit, unitAt(i + 2)));
            i += 2;
        } else {
            out += static_cast<wchar_t>(unit);
        }
    }
    if (i < count) {
        out += static_cast<wchar_t>(bytes[i]);  // a dangling odd byte
    }
    return out;
}

std::u16string EncodeUtf16(std::wstring_view text) {
    std::u16string out;
    out.reserve(text.size());
    ForEachUtf16Unit(text, [&out](char16_t unit) { out += unit; });
    return out;
}

void AppendUtf16(const char16_t* units, size_t count, std::wstring& out) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t unit = units[i];
        if (IsHighSurrogate(unit) && i + 1 < count && IsLowSurrogate(units[i + 1])) {
            AppendCodePoint(out, JoinSurrogates(unit, units[i + 1]));
            ++i;
        } else {
            out += static_cast<wchar_t>(unit);
        }
    }
}

}  // namespace korvan
