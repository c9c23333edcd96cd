// The system's message box.
#include "platform/message_box.h"

#include <korvan/platform.h>

#include <string>

void korvan::ShowMessageBox(std::wstring_view caption, std::wstring_view text) {
    const std::wstring captionText(caption);
    const std::wstring body(text);
    MessageBoxW(nullptr, body.c_str(), captionText.c_str(), MB_OK | MB_ICONINFORMATION);
}
