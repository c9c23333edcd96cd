#include "platform/collation.h"

#include <unicode/ucol.h>
#include <unicode/uset.h>

#include <algorithm>
#include <clocale>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "platform/process_locale.h"

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
        for (wchar_t ch : text) {
            const auto c = static_cast<uint32_t>(ch);
            if (c <= 0xFFFF) {
                *out++ = static_cast<UChar>(c);
            } else if (c <= 0x10FFFF) {
                *out++ = static_cast<UChar>(0xD800 + ((c - 0x10000) >> 10));
                *out++ = static_cast<UChar>(0xDC00 + ((c - 0x10000) & 0x3FF));
            } else {
                *out++ = 0xFFFD;
            }
        }
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

std::unique_ptr<TextCollator> g_current;

}  // namespace

TextCollator* TextCollator::Current() {
    const char* current = std::setlocale(LC_COLLATE, nullptr);
    const char* localeName = current ? current : "C";
    if (g_current && g_current->m_localeName == localeName) {
        return g_current.get();
    }
    g_current.reset();
    UErrorCode status = U_ZERO_ERROR;
    UCollator* collator = ucol_open(IcuLocaleId(localeName).c_str(), &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        collator = ucol_open("", &status);
        if (U_FAILURE(status)) {
            return nullptr;
        }
    }
    g_current.reset(new TextCollator(collator, localeName));
    return g_current.get();
}

TextCollator::TextCollator(UCollator* collator, std::string localeName)
    : m_collator(collator), m_localeName(std::move(localeName)) {
    ucol_setStrength(m_collator, UCOL_TERTIARY);
    BuildAsciiTables();
}

TextCollator::~TextCollator() {
    ucol_close(m_collator);
}

void TextCollator::SetIgnoreCase(bool ignoreCase) {
    if (ignoreCase != m_ignoreCase) {
        ucol_setStrength(m_collator, ignoreCase ? UCOL_SECONDARY : UCOL_TERTIARY);
        m_ignoreCase = ignoreCase;
    }
}

int TextCollator::Compare(std::wstring_view left, std::wstring_view right, bool ignoreCase) {
    int result = 0;
    if (CompareAscii(left, right, ignoreCase, result)) {
        return result;
    }
    return CompareWithIcu(left, right, ignoreCase);
}

int TextCollator::CompareWithIcu(std::wstring_view left, std::wstring_view right, bool ignoreCase) {
    SetIgnoreCase(ignoreCase);
    const Utf16Text a(left);
    const Utf16Text b(right);
    return ucol_strcoll(m_collator, a.data(), a.length(), b.data(), b.length());
}

std::string TextCollator::SortKey(std::wstring_view text) {
    SetIgnoreCase(false);
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
// (no contraction, no expansion, a primary weight that is not ignorable) and
// the characters of one primary weight alike at the secondary level, ICU
// orders two such texts by their primary weights, character by character,
// and then by the tertiary weights: exactly what the tables record.
bool TextCollator::CompareAscii(std::wstring_view left, std::wstring_view right, bool ignoreCase,
                                int& result) const {
    if (!m_asciiUsable || !AllPrintableAscii(left) || !AllPrintableAscii(right)) {
        return false;
    }
    const size_t common = std::min(left.size(), right.size());
    int tertiary = 0;
    for (size_t i = 0; i < common; ++i) {
        const size_t a = static_cast<size_t>(left[i] - kFirstPrintable);
        const size_t b = static_cast<size_t>(right[i] - kFirstPrintable);
        if (m_primary[a] != m_primary[b]) {
            result = m_primary[a] < m_primary[b] ? -1 : 1;
            return true;
        }
        if (tertiary == 0 && m_tertiary[a] != m_tertiary[b]) {
            tertiary = m_tertiary[a] < m_tertiary[b] ? -1 : 1;
        }
    }
    if (left.size() != right.size()) {
        result = left.size() < right.size() ? -1 : 1;
    } else {
        result = ignoreCase ? 0 : tertiary;
    }
    return true;
}

// The primary ranks, then (case not ignored) a 0 byte and the tertiary
// ranks, every rank one up so that no rank is 0: a text whose primary weights
// run on past another's is greater, and equal primary weights leave the
// order to the tertiary ones, as in CompareAscii.
bool TextCollator::AsciiSortKey(std::wstring_view text, bool ignoreCase, std::string& key) const {
    if (!m_asciiUsable || !AllPrintableAscii(text)) {
        return false;
    }
    key.assign(ignoreCase ? text.size() : text.size() * 2 + 1, '\0');
    for (size_t i = 0; i < text.size(); ++i) {
        const size_t c = static_cast<size_t>(text[i] - kFirstPrintable);
        key[i] = static_cast<char>(m_primary[c] + 1);
        if (!ignoreCase) {
            key[text.size() + 1 + i] = static_cast<char>(m_tertiary[c] + 1);
        }
    }
    return true;
}

bool TextCollator::AsciiTablesApply() const {
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

void TextCollator::BuildAsciiTables() {
    if (!AsciiTablesApply()) {
        return;
    }
    UChar chars[kPrintableCount];
    std::iota(chars, chars + kPrintableCount, static_cast<UChar>(kFirstPrintable));
    auto compare = [this](UChar a, UChar b) { return ucol_strcoll(m_collator, &a, 1, &b, 1); };

    ucol_setStrength(m_collator, UCOL_PRIMARY);
    const UChar empty = 0;
    const bool ignorable = std::any_of(chars, chars + kPrintableCount, [&](UChar c) {
        return ucol_strcoll(m_collator, &c, 1, &empty, 0) == UCOL_EQUAL;
    });
    std::stable_sort(chars, chars + kPrintableCount,
                     [&](UChar a, UChar b) { return compare(a, b) == UCOL_LESS; });
    // Groups of one primary weight, in order.
    std::vector<std::pair<int, int>> groups;
    for (int i = 0; i < kPrintableCount; ++i) {
        if (i == 0 || compare(chars[i - 1], chars[i]) != UCOL_EQUAL) {
            groups.emplace_back(i, i);
        }
        groups.back().second = i + 1;
    }

    ucol_setStrength(m_collator, UCOL_SECONDARY);
    bool alike = true;
    for (const auto& [first, last] : groups) {
        for (int i = first + 1; i < last; ++i) {
            alike = alike && compare(chars[first], chars[i]) == UCOL_EQUAL;
        }
    }

    ucol_setStrength(m_collator, UCOL_TERTIARY);
    for (size_t g = 0; g < groups.size(); ++g) {
        auto [first, last] = groups[g];
        std::stable_sort(chars + first, chars + last,
                         [&](UChar a, UChar b) { return compare(a, b) == UCOL_LESS; });
        int rank = 0;
        for (int i = first; i < last; ++i) {
            rank += (i > first && compare(chars[i - 1], chars[i]) != UCOL_EQUAL) ? 1 : 0;
            m_primary[chars[i] - kFirstPrintable] = static_cast<uint8_t>(g);
            m_tertiary[chars[i] - kFirstPrintable] = static_cast<uint8_t>(rank);
        }
    }
    m_asciiUsable = !ignorable && alike;
}

}  // namespace korvan
