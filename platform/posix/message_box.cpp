// The message box of a system without one: standard error.
#include "platform/message_box.h"

#include <korvan/platform.h>

#include <cstdio>

void korvan::ShowMessageBox(std::wstring_view caption, std::wstring_view text) {
    std::fprintf(stderr, "%s\n%s\n", EncodeUtf8(caption).c_str(), EncodeUtf8(text).c_str());
    std::fflush(stderr);
}
