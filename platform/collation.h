// Internal: linguistic text order for VarBstrCmp (and so for VarCmp, the
// comparison operators of CComVariant and every ORDER BY of the library).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct UCollator;

namespace korvan {

// ICU collation for the process's LC_COLLATE locale, ICU's root collation in
// the "C" and "POSIX" locales: lower case before upper case (a < A < b < B),
// punctuation before letters, canonically equivalent texts equal, U+0000
// ignored. One collator is kept and reopened when the locale changes.
class TextCollator {
  public:
    // Null when ICU cannot open a collator.
    static TextCollator* Current();

    TextCollator(const TextCollator&) = delete;
    TextCollator& operator=(const TextCollator&) = delete;
    ~TextCollator();

    // <0, 0 or >0. Tertiary strength; secondary strength (case ignored) with
    // ignoreCase. Texts of printable ASCII take a shortcut through tables
    // read from the collator, which gives ICU's answer without calling it.
    int Compare(std::wstring_view left, std::wstring_view right, bool ignoreCase);
    // The same through ICU alone.
    int CompareWithIcu(std::wstring_view left, std::wstring_view right, bool ignoreCase);
    // ICU's sort key at tertiary strength: texts that Compare calls equal
    // (case not ignored) have equal keys, so a hash of the key suits
    // containers keyed by collation equality.
    std::string SortKey(std::wstring_view text);
    // For a text of printable ASCII, where the shortcut applies: a key whose
    // byte order (unsigned) is the order of Compare, made without calling
    // ICU. False for any other text.
    bool AsciiSortKey(std::wstring_view text, bool ignoreCase, std::string& key) const;

  private:
    TextCollator(UCollator* collator, std::string localeName);
    void SetIgnoreCase(bool ignoreCase);
    void BuildAsciiTables();
    bool AsciiTablesApply() const;
    bool CompareAscii(std::wstring_view left, std::wstring_view right, bool ignoreCase,
                      int& result) const;

    static constexpr int kPrintableCount = 0x7F - 0x20;  // U+0020..U+007E

    UCollator* m_collator;
    std::string m_localeName;
    bool m_ignoreCase = false;
    bool m_asciiUsable = false;
    // Per printable ASCII character: the rank of its primary weight, and of
    // its tertiary weight among the characters of the same primary weight.
    uint8_t m_primary[kPrintableCount] = {};
    uint8_t m_tertiary[kPrintableCount] = {};
};

}  // namespace korvan
