// Internal: reals as text, the way VariantChangeType writes R8 and R4 values.
#pragma once

#include <string>

namespace korvan {

// The value rounded to `precision` significant digits (15 for R8, 7 for R4),
// an exact tie rounding away from zero, trailing zeros dropped. Fixed
// notation, unless the decimal exponent is below -4 or at least `precision`:
// then "1.5E+20" / "5.6789E-12", except that small numbers whose digits fit
// into `precision` decimals stay fixed ("0.000000000056789"). -0 is "0";
// NaN and infinities are "NAN", "INF" and "-INF".
std::wstring FormatReal(double value, int precision, wchar_t decimalPoint);

}  // namespace korvan
