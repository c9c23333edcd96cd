// Internal: the numeric side of variant conversion and comparison.
#pragma once

#include <korvan/platform.h>

#include <cstdint>

#include "platform/number_parse.h"

namespace korvan {

// DATE counts days from 30 December 1899 and covers the years 100 to 9999.
constexpr double kDateMin = -657434.0;  // 1 January 100
constexpr double kDateMax = 2958465.0;  // 31 December 9999

// The value of a variant of a numeric type: EMPTY (0), BOOL (its 16-bit
// value: VARIANT_TRUE is -1), the integer types, R4, R8 and DATE.
struct VariantNumber {
    enum class Kind { kSigned, kUnsigned, kReal };
    Kind kind = Kind::kSigned;
    int64_t signedValue = 0;
    uint64_t unsignedValue = 0;
    double realValue = 0.0;
};

// False for a variant of any other type.
bool ReadVariantNumber(const VARIANT& v, VariantNumber& out);

// The range of an integer variant type.
struct IntegerType {
    int bits;
    int64_t minimum;
    uint64_t maximum;
    // Reals are accepted from realLow (inclusive) up to realHigh, before they
    // are rounded half to even.
    double realLow;
    double realHigh;
    bool highInclusive;
};

// Null for a type that is not an integer type (VT_INT and VT_UINT are VT_I4
// and VT_UI4).
const IntegerType* IntegerTypeOf(VARTYPE vt);

// The number as the bits of the integer type; DISP_E_OVERFLOW outside its
// range.
HRESULT IntegerFromNumber(const VariantNumber& number, const IntegerType& type, uint64_t& bits);
// Stores the low bits of an integer into the field of the integer type vt.
void StoreInteger(VARIANT& v, VARTYPE vt, uint64_t bits);

double DoubleFromNumber(const VariantNumber& number);
// DISP_E_OVERFLOW for a real beyond the range of R4.
HRESULT FloatFromNumber(const VariantNumber& number, float& out);

}  // namespace korvan
