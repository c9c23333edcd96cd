// Internal: the text order of LOCALE_USER_DEFAULT through ICU collation.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/collation.h"

struct UCollator;

namespace korvan {

// ICU collation for the process's LC_COLLATE locale, ICU's root collation in
// the "C" and "POSIX" locales, tailored so that hyphens and apostrophes weigh
// only at the third level, the way the system's word sort treats them. One
// collator is kept and reopened when the locale changes.
class IcuCollator final : public TextCollator {
  public:
    // Null when ICU cannot open a collator.
    static IcuCollator* Current();

    ~IcuCollator() override;

    // Texts of printable ASCII take a shortcut through tables read from the
    // collator, which gives ICU's answer without calling it.
    int Compare(std::wstring_view left, std::wstring_view right, bool ignoreCase) override;
    // The same through ICU alone.
    int CompareWithIcu(std::wstring_view left, std::wstring_view right, bool ignoreCase);
    std::string SortKey(std::wstring_view text) override;
    bool AsciiSortKey(std::wstring_view text, bool ignoreCase, std::string& key) const override;

  private:
    IcuCollator(UCollator* collator, std::string localeName);
    void BuildAsciiTables();
    bool AsciiTablesApply() const;
    bool CompareAscii(std::wstring_view left, std::wstring_view right, bool ignoreCase,
                      int& result) const;

    static constexpr int kPrintableCount = 0x7F - 0x20;  // U+0020..U+007E
    static constexpr uint8_t kIgnorable = 0xFF;

    UCollator* m_collator;
    std::string m_localeName;
    bool m_asciiUsable = false;
    // Per printable ASCII character: the rank of its primary weight
    // (kIgnorable for the characters that have none, hyphen and apostrophe),
    // and the rank of its tertiary weight among all of them.
    uint8_t m_primary[kPrintableCount] = {};
    uint8_t m_tertiary[kPrintableCount] = {};
};

}  // namespace korvan
