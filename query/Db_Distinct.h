// Internal: DISTINCT over a selection of rows.
#pragma once

#include <korvan/model.h>

#include <cstdint>
#include <vector>

namespace korvan {

// The rows of selection, in order, less every row that is equal on fields to
// a row kept before it, by the filters' variant equality (same type and
// VarCmp equal, two nulls equal, case not ignored). Rows are bucketed by a
// hash that equal values share, so each row is compared only with the kept
// rows of its bucket; the answer is that of comparing with every kept row.
std::vector<uint64_t> DistinctRows(const DbRows& rows, const std::vector<uint64_t>& fields,
                                   const std::vector<uint64_t>& selection);

}  // namespace korvan
