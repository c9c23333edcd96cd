#include "query/Db_Distinct.h"

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "model/Db_RowCells.h"
#include "platform/collation.h"
#include "query/Db_Filter.h"

namespace korvan {
namespace {

size_t Mix(size_t seed, size_t value) {
    return seed ^ (value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

template <typename T>
size_t HashOf(T value) {
    return std::hash<T>{}(value);
}

// 0.0 and -0.0 compare equal and must share a hash.
template <typename Real>
size_t RealHash(Real value) {
    return HashOf<Real>(value == 0 ? Real(0) : value);
}

// Hashes of texts by their collation sort keys, kept per raw text: texts
// equal code point by code point are collation-equal, so only each distinct
// raw text pays for a sort key, and a column of few values costs a lookup
// per row. The views point into the rows' own texts, which outlive the walk.
class TextHashes {
  public:
    size_t Get(BSTR text) {
        const std::wstring_view raw(text, SysStringLen(text));
        const auto [known, added] = m_hashes.try_emplace(raw, 0);
        if (added) {
            TextCollator* collator = TextCollator::Current();
            known->second = collator == nullptr ? 0 : HashOf(collator->SortKey(raw));
        }
        return known->second;
    }

  private:
    std::unordered_map<std::wstring_view, size_t> m_hashes;
};

// A hash that values equal by VariantEqual share: equality needs the same
// type, and within a type VarCmp's equality is value equality for numbers
// and collation equality for texts, whose sort keys are then equal. Other
// types hash by type alone, which costs comparisons but is never wrong. False for a value that is
// not even equal to itself (a byte array, which VarCmp refuses, or NaN): such a value equals
// nothing, so its row is distinct from every other.
bool ValueHash(const CComVariant& v, TextHashes& texts, size_t& hash) {
    switch (v.vt) {
        case VT_I2:
            hash = HashOf(v.iVal);
            break;
        case VT_I4:
        case VT_INT:
            hash = HashOf(v.lVal);
            break;
        case VT_I8:
            hash = HashOf(v.llVal);
            break;
        case VT_UI8:
            hash = HashOf(v.ullVal);
            break;
        case VT_UI4:
            hash = HashOf(v.ulVal);
            break;
        case VT_UI2:
            hash = HashOf(v.uiVal);
            break;
        case VT_I1:
            hash = HashOf(v.cVal);
            break;
        case VT_UI1:
            hash = HashOf(v.bVal);
            break;
        case VT_BOOL:
            hash = HashOf(v.boolVal);
            break;
        case VT_R4:
            if (!VariantEqual(v, v)) {
                return false;
            }
            hash = RealHash(v.fltVal);
            break;
        case VT_R8:
        case VT_DATE:
            if (!VariantEqual(v, v)) {
                return false;
            }
            hash = RealHash(v.dblVal);
            break;
        case VT_BSTR:
            hash = texts.Get(v.bstrVal);
            break;
        case VT_EMPTY:
        case VT_NULL:
        case VT_ERROR:
            hash = 0;
            break;
        default:
            if (!VariantEqual(v, v)) {
                return false;
            }
            hash = 0;
            break;
    }
    hash = Mix(v.vt, hash);
    return true;
}

}  // namespace

std::vector<uint64_t> DistinctRows(const DbRows& rows, const std::vector<uint64_t>& fields,
                                   const std::vector<uint64_t>& selection) {
    std::vector<uint64_t> kept;
    std::unordered_map<size_t, std::vector<uint64_t>> buckets;
    TextHashes texts;
    for (const uint64_t r : selection) {
        const DbTableRow& row = *rows.GetRow(static_cast<int>(r));
        size_t hash = fields.size();
        bool comparable = true;
        for (size_t i = 0; i < fields.size() && comparable; ++i) {
            size_t valueHash = 0;
            comparable = ValueHash(RowCells::At(row, fields[i]).GetVariant(), texts, valueHash);
            hash = Mix(hash, valueHash);
        }
        if (!comparable) {
            kept.push_back(r);
            continue;
        }
        std::vector<uint64_t>& bucket = buckets[hash];
        const bool seen = std::any_of(bucket.begin(), bucket.end(), [&](uint64_t k) {
            return row.Compare(fields, VariantEqual, *rows.GetRow(static_cast<int>(k)));
        });
        if (!seen) {
            bucket.push_back(r);
            kept.push_back(r);
        }
    }
    return kept;
}

}  // namespace korvan
