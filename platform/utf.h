// Internal text coding helpers beside the public ones of korvan/platform.h.
#pragma once

#include <string>
#include <string_view>

namespace korvan {

// Decodes UTF-8 replacing every invalid sequence by U+FFFD; for texts that
// come from the host program rather than from a file.
std::wstring DecodeUtf8Lenient(std::string_view bytes);

// Whether DecodeUtf8 would accept bytes, without decoding them: for text
// that is checked once and then kept, or handed on, as UTF-8.
bool IsValidUtf8(std::string_view bytes);

}  // namespace korvan
