// VarCmp and VarBstrCmp: the order of variants and of texts.
#include <korvan/platform.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "platform/collation.h"
#include "platform/posix/bstr.h"
#include "platform/posix/variant_number.h"

namespace korvan {
namespace {

// The types VarCmp does not order.
bool IsUnorderable(VARTYPE vt) {
    switch (vt) {
        case VT_I1:
        case VT_UI2:
        case VT_UI4:
        case VT_UI8:
        case VT_DISPATCH:
        case VT_VARIANT:
        case VT_UNKNOWN:
        case 15:
            return true;
        default:
            return false;
    }
}

template <typename T>
HRESULT Order(T left, T right) {
    if (left == right) {
        return VARCMP_EQ;
    }
    return left < right ? VARCMP_LT : VARCMP_GT;  // NaN: greater, whatever its side
}

// memcmp over the UTF-16LE bytes of both texts, then the shorter is less: the
// low byte of each unit counts first.
HRESULT CompareUtf16Bytes(BSTR left, BSTR right) {
    const std::vector<BYTE> a = BytesOfBstr(left);
    const std::vector<BYTE> b = BytesOfBstr(right);
    if (a == b) {
        return VARCMP_EQ;
    }
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end()) ? VARCMP_LT
                                                                                : VARCMP_GT;
}

HRESULT CompareNumbers(const VARIANT& left, const VARIANT& right) {
    VariantNumber a;
    VariantNumber b;
    ReadVariantNumber(left, a);
    ReadVariantNumber(right, b);
    if (left.vt == VT_R4 || right.vt == VT_R4) {
        float x = 0.0f;
        float y = 0.0f;
        // A value beyond the range of R4 has both compared as R8.
        if (SUCCEEDED(FloatFromNumber(a, x)) && SUCCEEDED(FloatFromNumber(b, y))) {
            return Order(x, y);
        }
        return Order(DoubleFromNumber(a), DoubleFromNumber(b));
    }
    if (a.kind == VariantNumber::Kind::kReal || b.kind == VariantNumber::Kind::kReal) {
        return Order(DoubleFromNumber(a), DoubleFromNumber(b));
    }
    // EMPTY, BOOL, UI1, I2, I4, INT and I8: all signed but UI1, which fits.
    const auto integer = [](const VariantNumber& n) {
        return n.kind == VariantNumber::Kind::kSigned ? n.signedValue
                                                      : static_cast<int64_t>(n.unsignedValue);
    };
    return Order(integer(a), integer(b));
}

// A text against EMPTY: equal when the text is empty, else greater; against
// any number: always greater.
HRESULT CompareTextWithValue(BSTR text, VARTYPE other) {
    return other == VT_EMPTY && SysStringLen(text) == 0 ? VARCMP_EQ : VARCMP_GT;
}

HRESULT Reverse(HRESULT order) {
    return order == VARCMP_LT ? VARCMP_GT : (order == VARCMP_GT ? VARCMP_LT : order);
}

}  // namespace
}  // namespace korvan

HRESULT VarCmp(const VARIANT* pvarLeft, const VARIANT* pvarRight, LCID lcid, ULONG dwFlags) {
    const VARTYPE left = pvarLeft->vt;
    const VARTYPE right = pvarRight->vt;
    // Flag bits (arrays, references, and the numeric-text modes of
    // VT_RESERVED, which this layer does not offer) and types beyond the
    // comparable ones.
    if (((left | right) & ~VT_TYPEMASK) || left > VT_INT || right > VT_I8) {
        return DISP_E_BADVARTYPE;
    }
    if (korvan::IsUnorderable(left) || korvan::IsUnorderable(right)) {
        return DISP_E_TYPEMISMATCH;
    }
    if (left == VT_CY || left == VT_DECIMAL || right == VT_CY || right == VT_DECIMAL) {
        return DISP_E_BADVARTYPE;  // no currency or decimal values here
    }
    if (left == VT_ERROR || right == VT_ERROR) {
        return left == right ? VARCMP_EQ : DISP_E_TYPEMISMATCH;
    }
    if (left == VT_NULL || right == VT_NULL) {
        return VARCMP_NULL;
    }
    if (left == VT_BSTR && right == VT_BSTR) {
        return VarBstrCmp(pvarLeft->bstrVal, pvarRight->bstrVal, lcid, dwFlags);
    }
    if (left == VT_BSTR) {
        return korvan::CompareTextWithValue(pvarLeft->bstrVal, right);
    }
    if (right == VT_BSTR) {
        return korvan::Reverse(korvan::CompareTextWithValue(pvarRight->bstrVal, left));
    }
    return korvan::CompareNumbers(*pvarLeft, *pvarRight);
}

HRESULT VarBstrCmp(BSTR bstrLeft, BSTR bstrRight, LCID lcid, ULONG dwFlags) {
    // A null BSTR is "". A text starting with U+0000 passes for empty against
    // a text that is not, but is still longer than "".
    const bool leftEmpty = !bstrLeft || !*bstrLeft;
    const bool rightEmpty = !bstrRight || !*bstrRight;
    if (leftEmpty != rightEmpty) {
        return leftEmpty ? VARCMP_LT : VARCMP_GT;
    }
    const UINT leftLength = SysStringLen(bstrLeft);
    const UINT rightLength = SysStringLen(bstrRight);
    if (lcid == 0) {
        return korvan::CompareUtf16Bytes(bstrLeft, bstrRight);
    }
    if (leftLength == 0 || rightLength == 0) {
        return korvan::Order(leftLength, rightLength);
    }
    korvan::TextCollator* collator = korvan::TextCollator::Current();
    if (!collator) {
        return E_OUTOFMEMORY;
    }
    const int order = collator->Compare(std::wstring_view(bstrLeft, leftLength),
                                        std::wstring_view(bstrRight, rightLength),
                                        (dwFlags & NORM_IGNORECASE) != 0);
    return korvan::Order(order, 0);
}
