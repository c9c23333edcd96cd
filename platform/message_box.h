// Internal: showing a message to the person at the machine.
#pragma once

#include <string_view>

namespace korvan {

// A message box with the caption and the text where the system has one;
// elsewhere the caption and the text on standard error.
void ShowMessageBox(std::wstring_view caption, std::wstring_view text);

}  // namespace korvan
