// Internal: whether the program runs under Wine rather than on Windows or a
// system of its own.
#pragma once

namespace korvan {

// For the few tests of the system's variant functions where Wine is known to
// answer otherwise than Windows (platform/README.md).
bool RunningUnderWine();

}  // namespace korvan
