// Internal: the order of two variants of the same plain type (numbers,
// booleans, reals, dates) as VarCmp gives it, decided in line. Row filters,
// row comparisons and index searches compare such values by the million,
// and every other pair takes the general way through VarCmp.
#pragma once

#include <korvan/platform.h>

namespace korvan {

// VARCMP_EQ for equal values, else VARCMP_LT or VARCMP_GT; NaN on either
// side is greater, as VarCmp has it.
template <typename T>
constexpr HRESULT OrderOf(T left, T right) {
    if (left == right) {
        return VARCMP_EQ;
    }
    return left < right ? VARCMP_LT : VARCMP_GT;
}

// True, with VarCmp's answer in order, when both variants have the same one
// of the types decided here; false for any other pair.
inline bool SameTypeOrder(const VARIANT& left, const VARIANT& right, HRESULT& order) {
    if (left.vt != right.vt) {
        return false;
    }
    switch (left.vt) {
        case VT_I4:
            order = OrderOf(left.lVal, right.lVal);
            return true;
        case VT_R8:
        case VT_DATE:
            order = OrderOf(left.dblVal, right.dblVal);
            return true;
        case VT_I2:
            order = OrderOf(left.iVal, right.iVal);
            return true;
        case VT_R4:
            order = OrderOf(left.fltVal, right.fltVal);
            return true;
        case VT_BOOL:  // compared as the integers -1 and 0
            order = OrderOf(left.boolVal, right.boolVal);
            return true;
        case VT_UI1:
            order = OrderOf(left.bVal, right.bVal);
            return true;
        case VT_I8:
            order = OrderOf(left.llVal, right.llVal);
            return true;
        default:
            return false;
    }
}

}  // namespace korvan
