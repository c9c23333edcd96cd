// The columns of a text on a terminal, from the library's own table.
#include "platform/display_width.h"

#include <algorithm>
#include <iterator>

#include "platform/display_width_tables.h"
#include "platform/utf.h"

namespace korvan {
namespace {

size_t Columns(char32_t c) {
    const auto code = static_cast<uint32_t>(c);
    const WidthRun* run =
        std::lower_bound(std::begin(kWidthRuns), std::end(kWidthRuns), code,
                         [](const WidthRun& r, uint32_t value) { return r.last < value; });
    return run != std::end(kWidthRuns) && code >= run->first ? static_cast<size_t>(run->width) : 1;
}

}  // namespace

size_t DisplayWidth(std::wstring_view text) {
    size_t width = 0;
    ForEachCodePoint(text, [&width](char32_t c) { width += Columns(c); });
    return width;
}

}  // namespace korvan
