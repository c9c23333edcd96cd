// Internal: DATE values as text and back, in the en-US forms the library's
// LOCALE_USER_DEFAULT stands for: short date "M/d/yyyy", time "h:mm:ss tt".
#pragma once

#include <korvan/platform.h>

#include <string>

namespace korvan {

// "1/2/1900 8:09:36 AM"; only the time when the day part is 0 ("6:00:00 AM"),
// only the date when there is no time of day ("12/30/1900"). The time is
// rounded to the nearest second, half a second up. A negative value counts whole days back
// from 30 December 1899 and its fraction is a time of day (-1.25 is 29
// December 1899, 6:00 AM). E_INVALIDARG outside the years 100 to 9999.
HRESULT FormatDate(DATE value, std::wstring& out);

// Reads "M/D/Y" ("D/M/Y" where only that is a date), "h:mm" or "h:mm:ss" with
// an optional "AM"/"PM" (or "A"/"P"), or a date
// and a time separated by blanks. Two-digit years 0-49 are 2000-2049 and
// 50-99 are 1950-1999. DISP_E_TYPEMISMATCH for anything else or an invalid
// date or time.
HRESULT ParseDate(const wchar_t* text, DATE& out);

}  // namespace korvan
