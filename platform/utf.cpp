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
        out += static_cast<wchar_t>(c);
    }
    return true;
}

std::wstring DecodeUtf8Lenient(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    size_t pos = 0;
    while (pos < bytes.size()) {
        char32_t c;
        out += static_cast<wchar_t>(DecodeOne(bytes, pos, c) ? c : kReplacement);
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
    for (wchar_t ch : text) {
        AppendUtf8(out, static_cast<char32_t>(ch));
    }
    return out;
}

namespace {

// Calls unit(u) for every UTF-16 code unit of text: characters above U+FFFF
// as surrogate pairs, values that are no character as U+FFFD.
template <class Unit>
void ForEachUtf16Unit(std::wstring_view text, Unit unit) {
    for (wchar_t ch : text) {
        const auto c = static_cast<uint32_t>(ch);
        if (c >= 0x10000 && c <= 0x10FFFF) {
            unit(0xD800 + ((c - 0x10000) >> 10));
            unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            unit(c <= 0xFFFF ? c : 0xFFFD);
        }
    }
}

// Decodes count code units, unit(i) giving the i-th; surrogate pairs are
// joined, anything else is kept as it is.
template <class Unit>
void DecodeUtf16Units(size_t count, Unit unit, std::wstring& out) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t u = unit(i);
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < count) {
            const uint32_t next = unit(i + 1);
            if (next >= 0xDC00 && next <= 0xDFFF) {
                out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (next - 0xDC00));
                ++i;
                continue;
            }
        }
        out += static_cast<wchar_t>(u);
    }
}

}  // namespace

std::vector<BYTE> EncodeUtf16LE(std::wstring_view text) {
    std::vector<BYTE> out;
    out.reserve(text.size() * 2);
    ForEachUtf16Unit(text, [&out](uint32_t u) {
        out.push_back(static_cast<BYTE>(u & 0xFF));
        out.push_back(static_cast<BYTE>(u >> 8));
    });
    return out;
}

std::wstring DecodeUtf16LE(const BYTE* bytes, size_t count) {
    std::wstring out;
    out.reserve(count / 2 + 1);
    DecodeUtf16Units(
        count / 2,
        [bytes](size_t i) { return bytes[2 * i] | (static_cast<uint32_t>(bytes[2 * i + 1]) << 8); },
        out);
    if (count % 2 != 0) {
        out += static_cast<wchar_t>(bytes[count - 1]);  // a dangling odd byte
    }
    return out;
}

std::u16string EncodeUtf16(std::wstring_view text) {
    std::u16string out;
    out.reserve(text.size());
    ForEachUtf16Unit(text, [&out](uint32_t u) { out += static_cast<char16_t>(u); });
    return out;
}

void AppendUtf16(const char16_t* units, size_t count, std::wstring& out) {
    DecodeUtf16Units(
        count, [units](size_t i) { return static_cast<uint32_t>(units[i]); }, out);
}

}  // namespace korvan
