// Internal: the binary search of DbTableData::SpatialIndex, for callers that
// keep a sorted sequence in another container and must find exactly the
// positions SpatialIndex would.
#pragma once

#include <korvan/model.h>

#include <cstddef>
#include <cstdint>

namespace korvan {

// The binary search shared by the SpatialIndex forms: compare(i) compares
// the searched key with the i-th of count entries. lo and hi are signed; an
// equal entry ends the search at once, so it need not be the first of
// several equal ones.
template <typename Compare>
uint64_t BinarySearch(size_t count, Compare compare, DbTableRow::eCmpResult& result) {
    int64_t lo = 0;
    int64_t hi = static_cast<int64_t>(count) - 1;
    result = DbTableRow::cmpEqual;
    while (hi >= lo) {
        const int64_t mid = (lo + hi) / 2;
        result = compare(static_cast<size_t>(mid));
        if (result == DbTableRow::cmpEqual) {
            lo = mid;
            hi = mid - 1;
        } else if (result == DbTableRow::cmpLess) {
            hi = mid - 1;
        } else {
            lo = mid + 1;
        }
    }
    return static_cast<uint64_t>(lo);
}

}  // namespace korvan
