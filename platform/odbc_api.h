// Internal: the ODBC C interface as this system provides it. Windows wants its
// own declarations before the ODBC headers. unixODBC's headers declare
// Windows type names of their own, one of which (ULONG, 64 bits there) clashes
// with the library's 32-bit one: theirs is renamed while they are read. The
// wide functions take SQLWCHAR, which is a 2-byte UTF-16 unit on every system,
// unlike wchar_t.
#pragma once

#include <korvan/platform.h>

#if defined(_WIN32)
#include <sql.h>
#include <sqlext.h>
#include <windows.h>
#else
#define ULONG korvan_odbc_ULONG
#include <sql.h>
#include <sqlext.h>
#undef ULONG
#undef BOOL
#endif

#include <string>

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t), "ODBC wide text must be UTF-16");

namespace korvan {

// The wide ODBC form of a UTF-16 text.
inline SQLWCHAR* OdbcText(std::u16string& text) {
    return reinterpret_cast<SQLWCHAR*>(text.data());
}
inline const char16_t* Utf16Units(const SQLWCHAR* text) {
    return reinterpret_cast<const char16_t*>(text);
}

}  // namespace korvan
