#include "platform/posix/variant_number.h"

#include <cmath>

namespace korvan {
namespace {

constexpr double kTwoTo62 = 4611686018427387904.0;

constexpr IntegerType kI1{8, -128, 127, -128.5, 127.5, false};
constexpr IntegerType kUI1{8, 0, 255, -0.5, 255.5, false};
constexpr IntegerType kI2{16, -32768, 32767, -32768.5, 32767.5, false};
constexpr IntegerType kUI2{16, 0, 65535, -0.5, 65535.5, false};
constexpr IntegerType kI4{32, INT32_MIN, INT32_MAX, -2147483648.5, 2147483647.5, false};
constexpr IntegerType kUI4{32, 0, UINT32_MAX, -0.5, 4294967295.5, false};
// Reals reach I8 only within +-2^62 and UI8 up to 1.844674407370955e19, as
// on Windows.
constexpr IntegerType kI8{64, INT64_MIN, INT64_MAX, -kTwoTo62, kTwoTo62, false};
constexpr IntegerType kUI8{64, 0, UINT64_MAX, -0.5, 1.844674407370955e19, true};

// Round half to even ("banker's rounding"), whatever the rounding mode of the
// floating-point unit.
double RoundHalfEven(double x) {
    const double below = std::floor(x);
    const double fraction = x - below;
    if (fraction > 0.5 || (fraction == 0.5 && std::fmod(below, 2.0) != 0.0)) {
        return below + 1.0;
    }
    return below;
}

HRESULT IntegerFromReal(double x, const IntegerType& type, uint64_t& bits) {
    const bool inRange =
        x >= type.realLow && (type.highInclusive ? x <= type.realHigh : x < type.realHigh);
    if (!inRange) {
        return DISP_E_OVERFLOW;  // NaN too
    }
    const double rounded = RoundHalfEven(x);
    bits = type.minimum < 0 ? static_cast<uint64_t>(static_cast<int64_t>(rounded))
                            : static_cast<uint64_t>(rounded);
    return S_OK;
}

}  // namespace

bool ReadVariantNumber(const VARIANT& v, VariantNumber& out) {
    using Kind = VariantNumber::Kind;
    out = VariantNumber();
    switch (v.vt) {
        case VT_EMPTY:
            return true;
        case VT_BOOL:
            out.signedValue = v.boolVal;
            return true;
        case VT_I1:
            out.signedValue = static_cast<signed char>(v.cVal);
            return true;
        case VT_I2:
            out.signedValue = v.iVal;
            return true;
        case VT_I4:
        case VT_INT:
            out.signedValue = v.lVal;
            return true;
        case VT_I8:
            out.signedValue = v.llVal;
            return true;
        case VT_UI1:
            out.kind = Kind::kUnsigned;
            out.unsignedValue = v.bVal;
            return true;
        case VT_UI2:
            out.kind = Kind::kUnsigned;
            out.unsignedValue = v.uiVal;
            return true;
        case VT_UI4:
        case VT_UINT:
            out.kind = Kind::kUnsigned;
            out.unsignedValue = v.ulVal;
            return true;
        case VT_UI8:
            out.kind = Kind::kUnsigned;
            out.unsignedValue = v.ullVal;
            return true;
        case VT_R4:
            out.kind = Kind::kReal;
            out.realValue = v.fltVal;
            return true;
        case VT_R8:
            out.kind = Kind::kReal;
            out.realValue = v.dblVal;
            return true;
        case VT_DATE:
            out.kind = Kind::kReal;
            out.realValue = v.date;
            return true;
        default:
            return false;
    }
}

const IntegerType* IntegerTypeOf(VARTYPE vt) {
    switch (vt) {
        case VT_I1:
            return &kI1;
        case VT_UI1:
            return &kUI1;
        case VT_I2:
            return &kI2;
        case VT_UI2:
            return &kUI2;
        case VT_I4:
        case VT_INT:
            return &kI4;
        case VT_UI4:
        case VT_UINT:
            return &kUI4;
        case VT_I8:
            return &kI8;
        case VT_UI8:
            return &kUI8;
        default:
            return nullptr;
    }
}

HRESULT IntegerFromNumber(const VariantNumber& number, const IntegerType& type, uint64_t& bits) {
    switch (number.kind) {
        case VariantNumber::Kind::kSigned:
            if (number.signedValue < type.minimum ||
                (number.signedValue > 0 &&
                 static_cast<uint64_t>(number.signedValue) > type.maximum)) {
                return DISP_E_OVERFLOW;
            }
            bits = static_cast<uint64_t>(number.signedValue);
            return S_OK;
        case VariantNumber::Kind::kUnsigned:
            if (number.unsignedValue > type.maximum) {
                return DISP_E_OVERFLOW;
            }
            bits = number.unsignedValue;
            return S_OK;
        case VariantNumber::Kind::kReal:
            return IntegerFromReal(number.realValue, type, bits);
    }
    return DISP_E_OVERFLOW;
}

void StoreInteger(VARIANT& v, VARTYPE vt, uint64_t bits) {
    switch (vt) {
        case VT_I1:
            v.cVal = static_cast<char>(static_cast<int8_t>(bits));
            break;
        case VT_UI1:
            v.bVal = static_cast<BYTE>(bits);
            break;
        case VT_I2:
            v.iVal = static_cast<SHORT>(bits);
            break;
        case VT_UI2:
            v.uiVal = static_cast<USHORT>(bits);
            break;
        case VT_I4:
        case VT_INT:
            v.lVal = static_cast<LONG>(bits);
            break;
        case VT_UI4:
        case VT_UINT:
            v.ulVal = static_cast<ULONG>(bits);
            break;
        default:  // VT_I8, VT_UI8
            v.ullVal = bits;
            break;
    }
}

double DoubleFromNumber(const VariantNumber& number) {
    switch (number.kind) {
        case VariantNumber::Kind::kSigned:
            return static_cast<double>(number.signedValue);
        case VariantNumber::Kind::kUnsigned:
            return static_cast<double>(number.unsignedValue);
        case VariantNumber::Kind::kReal:
            return number.realValue;
    }
    return 0.0;
}

HRESULT FloatFromNumber(const VariantNumber& number, float& out) {
    switch (number.kind) {
        case VariantNumber::Kind::kSigned:
            out = static_cast<float>(number.signedValue);
            return S_OK;
        case VariantNumber::Kind::kUnsigned:
            out = static_cast<float>(number.unsignedValue);
            return S_OK;
        case VariantNumber::Kind::kReal:
            if (std::fabs(number.realValue) > kR4Max) {
                return DISP_E_OVERFLOW;
            }
            out = static_cast<float>(number.realValue);
            return S_OK;
    }
    return DISP_E_OVERFLOW;
}

}  // namespace korvan
