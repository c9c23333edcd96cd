// The order binary insertion gives a sequence of rows: ranks of the keys and
// a simulation of the search from counts where the values allow it, the
// search over the rows themselves where they do not.

#include "query/Db_InsertionOrder.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "model/Db_BinarySearch.h"
#include "platform/collation.h"
#include "platform/unicode.h"
#include "query/Db_PositionList.h"

namespace korvan {
namespace {

// Dense ranks (0, 1, 2, ...) of the keys, one per entry of the sequence:
// equal ranks for keys the row comparison calls equal, a greater rank for
// the key it calls greater.
using Ranks = std::vector<uint32_t>;

// Ranks from values sorted by less; keys that are not less either way share
// a rank.
template <typename Key, typename Less>
Ranks RankSorted(const std::vector<Key>& keys, Less less) {
    std::vector<uint32_t> order(keys.size());
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return less(keys[a], keys[b]); });
    Ranks ranks(keys.size());
    uint32_t rank = 0;
    for (size_t j = 0; j < order.size(); ++j) {
        if (j > 0 && less(keys[order[j - 1]], keys[order[j]])) {
            ++rank;
        }
        ranks[order[j]] = rank;
    }
    return ranks;
}

// Numbers of one type compare by value (VarCmp); NaN is greater than
// everything, itself included, which no order can express.
template <typename Number, typename Get>
bool RankNumbers(const std::vector<const VARIANT*>& cells, Get get, Ranks& ranks) {
    std::vector<Number> values(cells.size());
    for (size_t i = 0; i < cells.size(); ++i) {
        values[i] = get(*cells[i]);
        if (values[i] != values[i]) {
            return false;
        }
    }
    ranks = RankSorted(values, [](Number a, Number b) { return a < b; });
    return true;
}

std::wstring_view TextOf(const VARIANT& cell) {
    return cell.bstrVal ? std::wstring_view(cell.bstrVal, SysStringLen(cell.bstrVal))
                        : std::wstring_view();
}

std::wstring FoldCase(std::wstring_view text) {
    std::wstring folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), FoldCaseSimple);
    return folded;
}

// Whether the collation keys of printable ASCII characters with case ignored
// are equal exactly for case variants of each other.
bool CaseVariantsShareKeys(const TextCollator& collator) {
    std::vector<std::string> keys;
    std::wstring letters;
    for (wchar_t c = 0x20; c < 0x7F; ++c) {
        keys.emplace_back();
        letters += c;
        if (!collator.AsciiSortKey(std::wstring_view(&c, 1), true, keys.back())) {
            return false;
        }
    }
    for (size_t a = 0; a < keys.size(); ++a) {
        for (size_t b = a + 1; b < keys.size(); ++b) {
            if ((keys[a] == keys[b]) !=
                (FoldCaseSimple(letters[a]) == FoldCaseSimple(letters[b]))) {
                return false;
            }
        }
    }
    return true;
}

// Whether, in the order with case, the texts of each rank come wholly before
// those of the next rank.
bool RanksFollowCasedOrder(const Ranks& ranks, const std::vector<std::string>& casedKeys) {
    const size_t count = ranks.empty() ? 0 : *std::max_element(ranks.begin(), ranks.end()) + 1;
    std::vector<const std::string*> lowest(count, nullptr);
    std::vector<const std::string*> highest(count, nullptr);
    for (size_t i = 0; i < ranks.size(); ++i) {
        const std::string& key = casedKeys[i];
        if (lowest[ranks[i]] == nullptr || key < *lowest[ranks[i]]) {
            lowest[ranks[i]] = &key;
        }
        if (highest[ranks[i]] == nullptr || *highest[ranks[i]] < key) {
            highest[ranks[i]] = &key;
        }
    }
    for (size_t r = 1; r < count; ++r) {
        if (!(*highest[r - 1] < *lowest[r])) {
            return false;
        }
    }
    return true;
}

// Texts of printable ASCII ranked by their collation keys with case ignored,
// which are equal exactly for texts equal without regard to case. That is
// the row comparison's order unless the order with case interleaves two
// ranks, as hyphens and apostrophes, which weigh only with the case, can.
bool RankAsciiTexts(const std::vector<std::wstring_view>& texts, const TextCollator& collator,
                    Ranks& ranks) {
    std::vector<std::string> keys(texts.size());
    std::vector<std::string> casedKeys(texts.size());
    for (size_t i = 0; i < texts.size(); ++i) {
        if (!collator.AsciiSortKey(texts[i], true, keys[i]) ||
            !collator.AsciiSortKey(texts[i], false, casedKeys[i])) {
            return false;
        }
    }
    if (!CaseVariantsShareKeys(collator)) {
        return false;
    }
    ranks = RankSorted(keys, [](const std::string& a, const std::string& b) { return a < b; });
    return RanksFollowCasedOrder(ranks, casedKeys);
}

// Texts are equal without regard to case and ordered by collation (VarCmp),
// the empty text first. That is an order when the case variants of a text
// (its class) stand together in collation order and different classes never
// collate equal; anything else (a text collating between two case variants
// of another, canonically equivalent spellings, a U+0000) is refused.
bool RankTexts(const std::vector<const VARIANT*>& cells, Ranks& ranks) {
    TextCollator* collator = TextCollator::Current();
    if (collator == nullptr) {
        return false;
    }
    std::vector<std::wstring_view> all(cells.size());
    for (size_t i = 0; i < cells.size(); ++i) {
        all[i] = TextOf(*cells[i]);
        if (all[i].find(L'\0') != std::wstring_view::npos) {
            return false;
        }
    }
    if (RankAsciiTexts(all, *collator, ranks)) {
        return true;
    }

    std::unordered_map<std::wstring_view, uint32_t> ids;
    std::vector<std::wstring_view> texts;
    std::vector<uint32_t> textOf(cells.size());
    for (size_t i = 0; i < cells.size(); ++i) {
        const auto [it, added] = ids.try_emplace(all[i], static_cast<uint32_t>(texts.size()));
        if (added) {
            texts.push_back(all[i]);
        }
        textOf[i] = it->second;
    }
    std::unordered_map<std::wstring, uint32_t> classes;
    std::vector<uint32_t> classOf(texts.size());
    std::vector<std::string> keys(texts.size());
    for (size_t t = 0; t < texts.size(); ++t) {
        classOf[t] = classes.try_emplace(FoldCase(texts[t]), static_cast<uint32_t>(classes.size()))
                         .first->second;
        keys[t] = collator->SortKey(texts[t]);
    }
    // Collation order through ICU's sort keys, compared byte by byte.
    const auto collates = [&](uint32_t a, uint32_t b) {
        if (texts[a].empty() || texts[b].empty()) {
            return texts[a].empty() && !texts[b].empty();
        }
        return keys[a] < keys[b];
    };
    std::vector<uint32_t> sorted(texts.size());
    std::iota(sorted.begin(), sorted.end(), 0u);
    std::sort(sorted.begin(), sorted.end(), collates);

    std::vector<uint32_t> rankOf(texts.size());
    std::vector<bool> seen(classes.size(), false);
    uint32_t rank = 0;
    for (size_t j = 0; j < sorted.size(); ++j) {
        const uint32_t t = sorted[j];
        if (j > 0 && classOf[t] != classOf[sorted[j - 1]]) {
            if (seen[classOf[t]] || !collates(sorted[j - 1], t)) {
                return false;
            }
            ++rank;
        }
        seen[classOf[t]] = true;
        rankOf[t] = rank;
    }
    ranks.resize(cells.size());
    for (size_t i = 0; i < cells.size(); ++i) {
        ranks[i] = rankOf[textOf[i]];
    }
    return true;
}

// Ranks of one field; false unless every value has the same type and the
// values of that type form an order.
bool RankField(const DbRows& rows, uint64_t field, const std::vector<uint64_t>& sequence,
               Ranks& ranks) {
    std::vector<const VARIANT*> cells(sequence.size());
    for (size_t i = 0; i < sequence.size(); ++i) {
        cells[i] = &rows.GetRow(static_cast<int>(sequence[i]))->GetField(field).GetValue();
        if (cells[i]->vt != cells[0]->vt) {
            return false;  // values of different types are never equal
        }
    }
    switch (cells.empty() ? VARTYPE(VT_EMPTY) : cells[0]->vt) {
        case VT_I2:
            return RankNumbers<int64_t>(
                cells, [](const VARIANT& v) { return v.iVal; }, ranks);
        case VT_I4:
            return RankNumbers<int64_t>(
                cells, [](const VARIANT& v) { return v.lVal; }, ranks);
        case VT_BOOL:
            return RankNumbers<int64_t>(
                cells, [](const VARIANT& v) { return v.boolVal; }, ranks);
        case VT_R4:
            return RankNumbers<float>(
                cells, [](const VARIANT& v) { return v.fltVal; }, ranks);
        case VT_R8:
            return RankNumbers<double>(
                cells, [](const VARIANT& v) { return v.dblVal; }, ranks);
        case VT_BSTR:
            return RankTexts(cells, ranks);
        default:
            return false;
    }
}

// Ranks of the whole key: the first field that differs decides.
bool RankKeys(const DbRows& rows, const std::vector<uint64_t>& fields,
              const std::vector<uint64_t>& sequence, Ranks& ranks) {
    std::vector<Ranks> byField(fields.size());
    for (size_t f = 0; f < fields.size(); ++f) {
        if (!RankField(rows, fields[f], sequence, byField[f])) {
            return false;
        }
    }
    if (byField.size() == 1) {
        ranks = std::move(byField[0]);
        return true;
    }
    std::vector<uint32_t> entries(sequence.size());
    std::iota(entries.begin(), entries.end(), 0u);
    ranks = RankSorted(entries, [&](uint32_t a, uint32_t b) {
        for (const Ranks& field : byField) {
            if (field[a] != field[b]) {
                return field[a] < field[b];
            }
        }
        return false;
    });
    return true;
}

// Counts per rank with prefix sums in O(log n).
class RankCounts {
  public:
    explicit RankCounts(size_t ranks) : m_tree(ranks + 1, 0), m_counts(ranks, 0) {}

    void Add(uint32_t rank) {
        ++m_counts[rank];
        for (size_t i = rank + 1; i < m_tree.size(); i += i & (~i + 1)) {
            ++m_tree[i];
        }
    }
    // How many entries have a smaller rank.
    size_t Below(uint32_t rank) const {
        size_t sum = 0;
        for (size_t i = rank; i > 0; i -= i & (~i + 1)) {
            sum += m_tree[i];
        }
        return sum;
    }
    size_t Of(uint32_t rank) const { return m_counts[rank]; }

  private:
    std::vector<size_t> m_tree;
    std::vector<size_t> m_counts;
};

// The list so far holds the entries of smaller rank first, then those of the
// same rank, then the greater ones; so the comparison at any position of the
// search follows from two counts, without looking at a row.
std::vector<uint64_t> SimulateInsertion(const Ranks& ranks, const std::vector<uint64_t>& sequence) {
    const size_t rankCount = ranks.empty() ? 0 : *std::max_element(ranks.begin(), ranks.end()) + 1;
    if (rankCount == sequence.size()) {
        // No two keys are equal: the search never stops early and every
        // entry lands behind all smaller keys.
        std::vector<uint64_t> order(sequence.size());
        for (size_t i = 0; i < sequence.size(); ++i) {
            order[ranks[i]] = sequence[i];
        }
        return order;
    }
    RankCounts counts(rankCount);
    PositionList order;
    for (size_t i = 0; i < sequence.size(); ++i) {
        const uint32_t rank = ranks[i];
        const size_t below = counts.Below(rank);
        const size_t equal = counts.Of(rank);
        DbTableRow::eCmpResult result;
        const uint64_t pos = BinarySearch(
            order.size(),
            [&](size_t at) {
                if (at < below) {
                    return DbTableRow::cmpGreater;
                }
                return at < below + equal ? DbTableRow::cmpEqual : DbTableRow::cmpLess;
            },
            result);
        order.insert(pos, sequence[i]);
        counts.Add(rank);
    }
    return order.ToVector();
}

// The search over the rows themselves, for keys without a rank.
std::vector<uint64_t> InsertComparingRows(const DbRows& rows, const std::vector<uint64_t>& fields,
                                          const std::vector<uint64_t>& sequence) {
    PositionList order;
    for (const uint64_t r : sequence) {
        const DbTableRow& row = *rows.GetRow(static_cast<int>(r));
        DbTableRow::eCmpResult result;
        const uint64_t pos = BinarySearch(
            order.size(),
            [&](size_t i) {
                return row.CompareEx(fields, *rows.GetRow(static_cast<int>(order.at(i))));
            },
            result);
        order.insert(pos, r);
    }
    return order.ToVector();
}

}  // namespace

std::vector<uint64_t> InsertionOrder(const DbRows& rows, const std::vector<uint64_t>& fields,
                                     const std::vector<uint64_t>& sequence) {
    Ranks ranks;
    if (fields.empty()) {
        ranks.assign(sequence.size(), 0);  // no field: every key is equal
    } else if (!RankKeys(rows, fields, sequence, ranks)) {
        return InsertComparingRows(rows, fields, sequence);
    }
    return SimulateInsertion(ranks, sequence);
}

bool HasKeyRanks(const DbRows& rows, const std::vector<uint64_t>& fields,
                 const std::vector<uint64_t>& sequence) {
    Ranks ranks;
    return fields.empty() || RankKeys(rows, fields, sequence, ranks);
}

}  // namespace korvan
