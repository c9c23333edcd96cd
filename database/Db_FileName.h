// Helpers for database file names.
#pragma once

#include <korvan/platform.h>

namespace korvan {

// True when the last three characters of file are extension, ignoring case.
inline bool HasExtension(const CString& file, const wchar_t* extension) {
    return file.GetLength() >= 3 && file.Right(3).CompareNoCase(extension) == 0;
}

}  // namespace korvan
