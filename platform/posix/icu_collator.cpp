// The text order of LOCALE_USER_DEFAULT through ICU, with the word sort of
// hyphens and apostrophes, and a shortcut for texts of printable ASCII.
#include "platform/posix/icu_collator.h"

#include <unicode/ucol.h>
#include <unicode/uset.h>

#include <algorithm>
#include <clocale>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "platform/process_locale.h"
#include "platform/unicode.h"
#include "platform/utf.h"

namespace korvan {
namespace {

constexpr wchar_t kFirstPrintable = 0x20;
constexpr wchar_t kLastPrintable = 0x7E;

bool IsPrintableAscii(wchar_t ch) {
    return ch >= kFirstPrintable && ch <= kLastPrintable;
}

bool AllPrintableAscii(std::wstring_view text) {
    return std::all_of(text.begin(), text.end(), IsPrintableAscii);
}

// "de_DE.UTF-8@euro" -> "de_DE"; the classic locales -> "" (ICU's root).
std::string IcuLocaleId(const char* name) {
    if (IsClassicLocaleName(name)) {
        return std::string();
    }
    std::string id(name);
    return id.substr(0, id.find_first_of(".@"));
}

// The system's word sort: hyphen and apostrophe weigh nothing at the first
// two levels and only break ties at the third, the apostrophe first.
constexpr char16_t kWordSortRules[] = u"&[last tertiary ignorable]<<<''<<<\\-";

// The text as UTF-16 for ICU, on the stack for the usual short texts.
class Utf16Text {
  public:
    explicit Utf16Text(std::wstring_view text) {
        UChar* out = m_inline;
        if (text.size() * 2 > kInlineUnits) {
            m_heap.resize(text.size() * 2);
            out = m_heap.data();
        }
        m_data = out;
        ForEachUtf16Unit(text, [&out](char16_t unit) { *out++ = unit; });
        m_length = static_cast<int32_t>(out - m_data);
    }
    Utf16Text(const Utf16Text&) = delete;
    Utf16Text& operator=(const Utf16Text&) = delete;

    const UChar* data() const { return m_data; }
    int32_t length() const { return m_length; }

  private:
    static constexpr size_t kInlineUnits = 256;
    UChar m_inline[kInlineUnits];
    std::vector<UChar> m_heap;
    const UChar* m_data = nullptr;
    int32_t m_length = 0;
};

// The locale's collator with the word sort added to its own rules; the
// locale's collator as it is should ICU refuse the rules.
UCollator* OpenCollator(const std::string& localeId) {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* base = ucol_open(localeId.c_str(), &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        base = ucol_open("", &status);
        if (U_FAILURE(status)) {
            return nullptr;
        }
    }
    int32_t length = 0;
    const UChar* own = ucol_getRules(base, &length);
    std::u16string rules(own, own + length);
    rules += kWordSortRules;
    UParseError error;
    UCollator* tailored = ucol_openRules(rules.data(), static_cast<int32_t>(rules.size()),
                                         UCOL_DEFAULT, UCOL_TERTIARY, &error, &status);
    if (U_FAILURE(status)) {
        ucol_setStrength(base, UCOL_TERTIARY);
        return base;
    }
    ucol_close(base);
    return tailored;
}

// The third-level weights of a one-character sort key: the bytes after the
// second level separator.
std::string TertiaryWeights(const UCollator* collator, UChar ch) {
    uint8_t key[64];
    const int32_t size = ucol_getSortKey(collator, &ch, 1, key, sizeof key);
    std::string weights;
    int separators = 0;
    for (int32_t i = 0; i < size && i < static_cast<int32_t>(sizeof key) && key[i] != 0; ++i) {
        if (key[i] == 1) {
            ++separators;
        } else if (separators == 2) {
            weights += static_cast<char>(key[i]);
        }
    }
    return weights;
}

// Whether a set of contractions or expansions has an entry that can occur in
// a text of printable ASCII, which the shortcut could not follow. Entries
// with other characters (root's "L" + U+00B7, for one) never match there.
bool ReachesPrintableAscii(const USet* set) {
    const int32_t items = uset_getItemCount(set);
    for (int32_t i = 0; i < items; ++i) {
        UChar32 start = 0;
        UChar32 end = 0;
        UChar text[64];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length = uset_getItem(set, i, &start, &end, text, 64, &status);
        if (U_FAILURE(status)) {
            return true;
        }
        if (length == 0) {
            if (start <= kLastPrintable && end >= kFirstPrintable) {
                return true;
            }
        } else if (std::all_of(text, text + length, [](UChar c) { return IsPrintableAscii(c); })) {
            return true;
        }
    }
    return false;
}

std::unique_ptr<IcuCollator> g_current;

}  // namespace

TextCollator* TextCollator::Current() {
    return IcuCollator::Current();
}

IcuCollator* IcuCollator::Current() {
    const char* current = std::setlocale(LC_COLLATE, nullptr);
    const char* localeName = current ? current : "C";
    if (g_current && g_current->m_localeName == localeName) {
        return g_current.get();
    }
    g_current.reset();
    UCollator* collator = OpenCollator(IcuLocaleId(localeName));
    if (!collator) {
        return nullptr;
    }
    g_current.reset(new IcuCollator(collator, localeName));
    return g_current.get();
}

IcuCollator::IcuCollator(UCollator* collator, std::string localeName)
    : m_collator(collator), m_localeName(std::move(localeName)) {
    BuildAsciiTables();
}

IcuCollator::~IcuCollator() {
    ucol_close(m_collator);
}

int IcuCollator::Compare(std::wstring_view left, std::wstring_view right, bool ignoreCase) {
    int result = 0;
    if (CompareAscii(left, right, ignoreCase, result)) {
        return result;
    }
    return CompareWithIcu(left, right, ignoreCase);
}

// Ignoring case compares the case foldings at full strength: lowering the
// strength instead would also drop width, kana type, compatibility forms and
// the hyphens, which the system keeps apart.
int IcuCollator::CompareWithIcu(std::wstring_view left, std::wstring_view right, bool ignoreCase) {
    if (ignoreCase) {
        return CompareWithIcu(FoldCase(left), FoldCase(right), false);
    }
    const Utf16Text a(left);
    const Utf16Text b(right);
    return ucol_strcoll(m_collator, a.data(), a.length(), b.data(), b.length());
}

std::string IcuCollator::SortKey(std::wstring_view text) {
    const Utf16Text utf16(text);
    std::string key(64, '\0');
    for (;;) {
        const int32_t size = ucol_getSortKey(m_collator, utf16.data(), utf16.length(),
                                             reinterpret_cast<uint8_t*>(key.data()),
                                             static_cast<int32_t>(key.size()));
        if (static_cast<size_t>(size) <= key.size()) {
            key.resize(static_cast<size_t>(size));
            return key;
        }
        key.resize(static_cast<size_t>(size));
    }
}

// With every printable ASCII character a single collation element of its own
// (no contraction, no expansion), either with a primary weight or with a
// third-level weight only (hyphen and apostrophe), and the characters of one
// primary weight alike at the secondary level, ICU orders two such texts by
// the primary weights of their characters, hyphens and apostrophes skipped,
// and then by the third-level weights of all their characters: exactly what
// the tables record. Ignoring case compares the lower-case texts.
bool IcuCollator::CompareAscii(std::wstring_view left, std::wstring_view right, bool ignoreCase,
                               int& result) const {
    if (!m_asciiUsable || !AllPrintableAscii(left) || !AllPrintableAscii(right)) {
        return false;
    }
    auto index = [ignoreCase](wchar_t ch) {
        return static_cast<size_t>((ignoreCase ? ToLowerSimple(ch) : ch) - kFirstPrintable);
    };
    size_t i = 0;
    size_t j = 0;
    for (;; ++i, ++j) {
        while (i < left.size() && m_primary[index(left[i])] == kIgnorable) {
            ++i;
        }
        while (j < right.size() && m_primary[index(right[j])] == kIgnorable) {
            ++j;
        }
        if (i == left.size() || j == right.size()) {
            if (i != left.size() || j != right.size()) {
                result = i == left.size() ? -1 : 1;
                return true;
            }
            break;
        }
        const uint8_t a = m_primary[index(left[i])];
        const uint8_t b = m_primary[index(right[j])];
        if (a != b) {
            result = a < b ? -1 : 1;
            return true;
        }
    }
    const size_t common = std::min(left.size(), right.size());
    for (size_t k = 0; k < common; ++k) {
        const uint8_t a = m_tertiary[index(left[k])];
        const uint8_t b = m_tertiary[index(right[k])];
        if (a != b) {
            result = a < b ? -1 : 1;
            return true;
        }
    }
    result = left.size() == right.size() ? 0 : (left.size() < right.size() ? -1 : 1);
    return true;
}

// The key of CompareAscii's order: the primary ranks of the characters that
// have one, a 0 byte, then the third-level ranks of all characters, every
// rank one up so that no rank is 0. A text whose primary weights run on past
// another's is greater, and equal primary weights leave the order to the
// third-level ones, compared position by position and then by length.
bool IcuCollator::AsciiSortKey(std::wstring_view text, bool ignoreCase, std::string& key) const {
    if (!m_asciiUsable || !AllPrintableAscii(text)) {
        return false;
    }
    key.clear();
    key.reserve(text.size() * 2 + 1);
    auto index = [ignoreCase](wchar_t ch) {
        return static_cast<size_t>((ignoreCase ? ToLowerSimple(ch) : ch) - kFirstPrintable);
    };
    for (wchar_t ch : text) {
        if (m_primary[index(ch)] != kIgnorable) {
            key += static_cast<char>(m_primary[index(ch)] + 1);
        }
    }
    key += '\0';
    for (wchar_t ch : text) {
        key += static_cast<char>(m_tertiary[index(ch)] + 1);
    }
    return true;
}

bool IcuCollator::AsciiTablesApply() const {
    UErrorCode status = U_ZERO_ERROR;
    const bool plain =
        ucol_getAttribute(m_collator, UCOL_ALTERNATE_HANDLING, &status) == UCOL_NON_IGNORABLE &&
        ucol_getAttribute(m_collator, UCOL_CASE_LEVEL, &status) == UCOL_OFF &&
        ucol_getAttribute(m_collator, UCOL_NUMERIC_COLLATION, &status) == UCOL_OFF;
    if (U_FAILURE(status) || !plain) {
        return false;
    }
    USet* contractions = uset_openEmpty();
    USet* expansions = uset_openEmpty();
    ucol_getContractionsAndExpansions(m_collator, contractions, expansions, true, &status);
    const bool touched = U_FAILURE(status) || ReachesPrintableAscii(contractions) ||
                         ReachesPrintableAscii(expansions);
    uset_close(contractions);
    uset_close(expansions);
    return !touched;
}

void IcuCollator::BuildAsciiTables() {
    if (!AsciiTablesApply()) {
        return;
    }
    UChar chars[kPrintableCount];
    std::iota(chars, chars + kPrintableCount, static_cast<UChar>(kFirstPrintable));
    auto compare = [this](UChar a, UChar b) { return ucol_strcoll(m_collator, &a, 1, &b, 1); };
    const UChar empty = 0;
    auto ignorableAt = [&](UCollationStrength strength, UChar c) {
        ucol_setStrength(m_collator, strength);
        return ucol_strcoll(m_collator, &c, 1, &empty, 0) == UCOL_EQUAL;
    };

    // Characters without a primary weight must have no secondary one either
    // and a third-level one.
    bool usable = true;
    UChar* const weighted = std::stable_partition(chars, chars + kPrintableCount, [&](UChar c) {
        if (!ignorableAt(UCOL_PRIMARY, c)) {
            return true;
        }
        usable = usable && ignorableAt(UCOL_SECONDARY, c) && !ignorableAt(UCOL_TERTIARY, c);
        m_primary[c - kFirstPrintable] = kIgnorable;
        return false;
    });

    ucol_setStrength(m_collator, UCOL_PRIMARY);
    std::stable_sort(chars, weighted, [&](UChar a, UChar b) { return compare(a, b) == UCOL_LESS; });
    const auto count = static_cast<int>(weighted - chars);
    int rank = -1;
    for (int i = 0; i < count; ++i) {
        if (i == 0 || compare(chars[i - 1], chars[i]) != UCOL_EQUAL) {
            ++rank;
        }
        m_primary[chars[i] - kFirstPrintable] = static_cast<uint8_t>(rank);
    }
    usable = usable && rank < kIgnorable;

    ucol_setStrength(m_collator, UCOL_SECONDARY);
    for (int i = 1; i < count; ++i) {
        const bool samePrimary =
            m_primary[chars[i - 1] - kFirstPrintable] == m_primary[chars[i] - kFirstPrintable];
        usable = usable && (!samePrimary || compare(chars[i - 1], chars[i]) == UCOL_EQUAL);
    }

    // Third-level weights of different characters are compared too (a hyphen
    // against a letter), so they are ranked from the sort keys.
    ucol_setStrength(m_collator, UCOL_TERTIARY);
    std::vector<std::pair<std::string, UChar>> tertiary;
    for (UChar c = kFirstPrintable; c <= kLastPrintable; ++c) {
        tertiary.emplace_back(TertiaryWeights(m_collator, c), c);
    }
    std::sort(tertiary.begin(), tertiary.end());
    rank = -1;
    for (size_t i = 0; i < tertiary.size(); ++i) {
        const std::string& weights = tertiary[i].first;
        if (i == 0 || weights != tertiary[i - 1].first) {
            ++rank;
            // A weight that begins another would not compare byte by byte.
            usable = usable && !weights.empty() &&
                     (i == 0 ||
                      weights.compare(0, tertiary[i - 1].first.size(), tertiary[i - 1].first) != 0);
        }
        m_tertiary[tertiary[i].second - kFirstPrintable] = static_cast<uint8_t>(rank);
    }
    m_asciiUsable = usable;
}

}  // namespace korvan
