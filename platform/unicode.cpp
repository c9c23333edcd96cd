// Unicode simple case mapping and white space from the library's own tables,
// the same on every build.
#include "platform/unicode.h"

#include <algorithm>
#include <iterator>

#include "platform/case_tables.h"
#include "platform/utf.h"

namespace korvan {
namespace {

template <size_t N>
char32_t MapCodePoint(char32_t c, const CaseRun (&runs)[N]) {
    const auto code = static_cast<uint32_t>(c);
    const CaseRun* run =
        std::lower_bound(std::begin(runs), std::end(runs), code,
                         [](const CaseRun& r, uint32_t value) { return r.last < value; });
    if (run == std::end(runs) || code < run->first || (code - run->first) % run->stride != 0) {
        return c;
    }
    return static_cast<char32_t>(static_cast<int64_t>(code) + run->delta);
}

// One wide character; a surrogate half stands for itself.
template <size_t N>
wchar_t MapWide(wchar_t ch, const CaseRun (&runs)[N]) {
    if constexpr (kWideIsUtf16) {
        if (IsHighSurrogate(static_cast<uint32_t>(ch) & 0xFFFF) ||
            IsLowSurrogate(static_cast<uint32_t>(ch) & 0xFFFF)) {
            return ch;
        }
    }
    return static_cast<wchar_t>(MapCodePoint(static_cast<char32_t>(ch), runs));
}

bool HasSurrogates(const std::wstring& text) {
    return kWideIsUtf16 && std::any_of(text.begin(), text.end(), [](wchar_t ch) {
               return (static_cast<uint32_t>(ch) & 0xF800) == 0xD800;
           });
}

// Characters beyond U+FFFF have case too (Deseret, Osage, Adlam): where they
// are surrogate pairs, the text is mapped a code point at a time.
template <size_t N>
void MapText(std::wstring& text, const CaseRun (&runs)[N]) {
    if (!HasSurrogates(text)) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [&runs](wchar_t ch) { return MapWide(ch, runs); });
        return;
    }
    std::wstring mapped;
    mapped.reserve(text.size());
    ForEachCodePoint(text, [&](char32_t c) { AppendCodePoint(mapped, MapCodePoint(c, runs)); });
    text = std::move(mapped);
}

char32_t Fold(char32_t c) {
    if (c < 0x80) {
        return (c >= U'A' && c <= U'Z') ? c + 32 : c;
    }
    return MapCodePoint(c, kFoldRuns);
}

}  // namespace

wchar_t ToLowerSimple(wchar_t ch) {
    if (ch < 0x80) {
        return (ch >= L'A' && ch <= L'Z') ? static_cast<wchar_t>(ch + 32) : ch;
    }
    return MapWide(ch, kLowerRuns);
}

wchar_t ToUpperSimple(wchar_t ch) {
    if (ch < 0x80) {
        return (ch >= L'a' && ch <= L'z') ? static_cast<wchar_t>(ch - 32) : ch;
    }
    return MapWide(ch, kUpperRuns);
}

wchar_t FoldCaseSimple(wchar_t ch) {
    return ch < 0x80 ? ToLowerSimple(ch) : MapWide(ch, kFoldRuns);
}

void ToLowerInPlace(std::wstring& text) {
    MapText(text, kLowerRuns);
}

void ToUpperInPlace(std::wstring& text) {
    MapText(text, kUpperRuns);
}

std::wstring ToLower(std::wstring_view text) {
    std::wstring result(text);
    ToLowerInPlace(result);
    return result;
}

std::wstring FoldCase(std::wstring_view text) {
    std::wstring result(text);
    MapText(result, kFoldRuns);
    return result;
}

int CompareNoCase(std::wstring_view a, std::wstring_view b) {
    return CompareCodePoints(a, b, Fold);
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
    // Folding keeps a text's length in wide characters, except where a
    // character beyond U+FFFF would fold into one below it (none does).
    return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

bool IsWhiteSpace(wchar_t ch) {
    switch (ch) {
        case 0x09:
        case 0x0A:
        case 0x0B:
        case 0x0C:
        case 0x0D:
        case 0x20:
        case 0x85:
        case 0xA0:
        case 0x1680:
        case 0x2028:
        case 0x2029:
        case 0x202F:
        case 0x205F:
        case 0x3000:
            return true;
        default:
            return ch >= 0x2000 && ch <= 0x200A;
    }
}

}  // namespace korvan
