// Internal: linguistic text order for VarBstrCmp (and so for VarCmp, the
// comparison operators of CComVariant and every ORDER BY of the library), and
// sort keys that tell collation-equal texts.
#pragma once

#include <string>
#include <string_view>

namespace korvan {

// The text order of LOCALE_USER_DEFAULT: lower case before upper case
// (a < A < b < B), punctuation before letters, canonically equivalent texts
// equal, U+0000 ignored, and the word sort of hyphens and apostrophes: they
// count only when the texts are otherwise equal, so "co-op" sorts between
// "coop" and "cop" and "HE-A" beside "HEA".
class TextCollator {
  public:
    // The collator of the current locale; null when none can be opened.
    static TextCollator* Current();

    TextCollator() = default;
    TextCollator(const TextCollator&) = delete;
    TextCollator& operator=(const TextCollator&) = delete;
    virtual ~TextCollator() = default;

    // <0, 0 or >0. With ignoreCase only the case of letters is ignored: width,
    // kana type, compatibility forms, accents and hyphens still count.
    virtual int Compare(std::wstring_view left, std::wstring_view right, bool ignoreCase) = 0;
    // Texts that Compare calls equal (case not ignored) have equal keys, so a
    // hash of the key suits containers keyed by collation equality.
    virtual std::string SortKey(std::wstring_view text) = 0;
    // For a text of printable ASCII: a key whose byte order (unsigned) is the
    // order of Compare, made without a call into the system. False where the
    // collator has no such shortcut, and for any other text.
    virtual bool AsciiSortKey(std::wstring_view /*text*/, bool /*ignoreCase*/,
                              std::string& /*key*/) const {
        return false;
    }
};

}  // namespace korvan
