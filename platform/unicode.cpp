#include "platform/unicode.h"

#include <unicode/uchar.h>

#include <algorithm>

namespace korvan {
namespace {

bool IsCodePoint(wchar_t ch) {
    const auto c = static_cast<uint32_t>(ch);
    return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

}  // namespace

wchar_t ToLowerSimple(wchar_t ch) {
    if (ch < 0x80) {
        return (ch >= L'A' && ch <= L'Z') ? static_cast<wchar_t>(ch + 32) : ch;
    }
    return IsCodePoint(ch) ? static_cast<wchar_t>(u_tolower(static_cast<UChar32>(ch))) : ch;
}

wchar_t ToUpperSimple(wchar_t ch) {
    if (ch < 0x80) {
        return (ch >= L'a' && ch <= L'z') ? static_cast<wchar_t>(ch - 32) : ch;
    }
    return IsCodePoint(ch) ? static_cast<wchar_t>(u_toupper(static_cast<UChar32>(ch))) : ch;
}

wchar_t FoldCaseSimple(wchar_t ch) {
    if (ch < 0x80) {
        return ToLowerSimple(ch);
    }
    return IsCodePoint(ch)
               ? static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(ch), U_FOLD_CASE_DEFAULT))
               : ch;
}

void ToLowerInPlace(std::wstring& text) {
    std::transform(text.begin(), text.end(), text.begin(), ToLowerSimple);
}

void ToUpperInPlace(std::wstring& text) {
    std::transform(text.begin(), text.end(), text.begin(), ToUpperSimple);
}

std::wstring ToLower(std::wstring_view text) {
    std::wstring result(text);
    ToLowerInPlace(result);
    return result;
}

int CompareNoCase(std::wstring_view a, std::wstring_view b) {
    const size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; ++i) {
        const auto fa = static_cast<uint32_t>(FoldCaseSimple(a[i]));
        const auto fb = static_cast<uint32_t>(FoldCaseSimple(b[i]));
        if (fa != fb) {
            return fa < fb ? -1 : 1;
        }
    }
    if (a.size() == b.size()) {
        return 0;
    }
    return a.size() < b.size() ? -1 : 1;
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i] && FoldCaseSimple(a[i]) != FoldCaseSimple(b[i])) {
            return false;
        }
    }
    return true;
}

bool IsWhiteSpace(wchar_t ch) {
    if (ch < 0x80) {
        return ch == L' ' || (ch >= L'\t' && ch <= L'\r');
    }
    return IsCodePoint(ch) && u_isUWhiteSpace(static_cast<UChar32>(ch));
}

}  // namespace korvan
