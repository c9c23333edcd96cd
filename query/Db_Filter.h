// Internal: the value comparisons of row filters, shared with query execution
// (DISTINCT uses the same equality as the filters' "==" without case folding).
#pragma once

#include <korvan/query.h>

namespace korvan {

// Both VT_NULL: equal; different variant types: unequal; otherwise the
// variant comparison (CComVariant's ==) decides.
bool VariantEqual(const CComVariant& left, const CComVariant& right);

}  // namespace korvan
