// Checks of texts and names against what an XML 1.0 file can hold.
#include "model/Db_XmlText.h"

#include <korvan/model.h>

#include "platform/utf.h"

namespace korvan {
namespace {

bool IsXmlChar(char32_t c) {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

bool IsNameStartChar(char32_t c) {
    return c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) ||
           (c >= 0x370 && c <= 0x37D) || (c >= 0x37F && c <= 0x1FFF) || c == 0x200C ||
           c == 0x200D || (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) ||
           (c >= 0x3001 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) ||
           (c >= 0xFDF0 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0xEFFFF);
}

bool IsNameChar(char32_t c) {
    return IsNameStartChar(c) || c == '-' || c == '.' || (c >= '0' && c <= '9') || c == 0xB7 ||
           (c >= 0x300 && c <= 0x36F) || c == 0x203F || c == 0x2040;
}

// "U+0001 at character 3"; a visible character is shown too ("'[' (U+005B)
// at character 3").
CString Describe(char32_t c, size_t position) {
    const auto code = static_cast<unsigned>(c);
    const int at = static_cast<int>(position);
    if (c > 0x20 && IsXmlChar(c)) {
        std::wstring shown;
        AppendCodePoint(shown, c);
        return StringBuilder(L"'%s' (U+%04X) at character %d", shown.c_str(), code, at);
    }
    return StringBuilder(L"U+%04X at character %d", code, at);
}

// The first character for which fits(c, position) is false, described; empty
// when there is none.
template <typename Fits>
CString FirstMisfit(std::wstring_view text, Fits&& fits) {
    CodePointReader reader(text);
    size_t position = 1;
    for (char32_t c; reader.Next(c); ++position) {
        if (!fits(c, position)) {
            return Describe(c, position);
        }
    }
    return CString();
}

}  // namespace

CString XmlTextFault(std::wstring_view text) {
    // Nearly every text is made of units that are characters on their own.
    bool plain = true;
    for (const wchar_t unit : text) {
        const auto u = static_cast<uint32_t>(unit);
        if ((u < 0x20 && u != 0x9 && u != 0xA && u != 0xD) || u >= 0xD800) {
            plain = false;
            break;
        }
    }
    if (plain) {
        return CString();
    }
    return FirstMisfit(text, [](char32_t c, size_t) { return IsXmlChar(c); });
}

CString XmlNameFault(std::wstring_view name) {
    if (name.empty()) {
        return L"an empty name";
    }
    return FirstMisfit(name, [](char32_t c, size_t position) {
        return position == 1 ? IsNameStartChar(c) : IsNameChar(c);
    });
}

}  // namespace korvan
