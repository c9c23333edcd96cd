#include "model/Db_DecimalSeparator.h"

#include <korvan/platform.h>

namespace korvan {
namespace {

// Forces the process separator to be taken while the library loads, even if
// nothing asks for it before the host changes its locale.
[[maybe_unused]] const wchar_t g_takenAtLoad = ProcessDecimalSeparator();

}  // namespace

wchar_t ProcessDecimalSeparator() {
    static const wchar_t separator = CurrentDecimalSeparator();
    return separator;
}

wchar_t CurrentDecimalSeparator() {
    CComVariant value(1.1);
    if (FAILED(VariantChangeType(&value, &value, 0, VT_BSTR)) || SysStringLen(value.bstrVal) < 2) {
        return L'.';
    }
    return value.bstrVal[1];
}

}  // namespace korvan
