// Internal: how many columns a terminal gives a text. Exported from the
// shared library only because the korvan tool aligns its tables with it.
#pragma once

#include <korvan/platform.h>

#include <cstddef>
#include <string_view>

namespace korvan {

// East Asian wide and full-width characters take two columns, combining
// marks and other zero-width characters none, every other character one
// (control characters too): the same on every system.
KORVAN_API size_t DisplayWidth(std::wstring_view text);

}  // namespace korvan
