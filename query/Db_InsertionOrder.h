// Internal: the order that binary insertion gives a sequence of rows, as
// index row orders and ORDER BY answers are defined, computed without the
// quadratic cost of inserting into one flat vector.
#pragma once

#include <korvan/model.h>

#include <cstdint>
#include <vector>

namespace korvan {

// The rows of sequence (row numbers in rows), in the order that inserting
// them one after the other at the position DbTableData::SpatialIndex finds
// for them on fields gives. That search stops at the first equal row it
// meets, so rows with equal keys land where the search puts them, not simply
// behind each other; the answer is exactly the one of inserting into a
// vector.
//
// When the values of every field are of one type whose comparisons form a
// consistent order (integers, booleans, reals without NaN, texts whose case
// variants are neighbours in collation order), each row's key becomes a
// rank and the search is simulated from the counts of smaller and equal
// ranks; otherwise every search compares rows. Either way O(n log n)
// comparisons, never quadratic.
// REQUIRES: every row of sequence has a cell for every field.
std::vector<uint64_t> InsertionOrder(const DbRows& rows, const std::vector<uint64_t>& fields,
                                     const std::vector<uint64_t>& sequence);

// Whether InsertionOrder can rank these keys instead of comparing rows.
bool HasKeyRanks(const DbRows& rows, const std::vector<uint64_t>& fields,
                 const std::vector<uint64_t>& sequence);

}  // namespace korvan
