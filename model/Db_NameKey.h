// Internal: the key under which names of tables, fields and indexes are
// looked up. Names match without regard to case, by Unicode simple case
// mapping, whatever the process locale.
#pragma once

#include <korvan/platform.h>

#include "platform/unicode.h"

namespace korvan {

inline CString NameKey(const CString& name) {
    return CString(ToLower(name.str()));
}

}  // namespace korvan
