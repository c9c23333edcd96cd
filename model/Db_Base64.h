// Base64 text of binary cell values, as the database files store it.
#pragma once

#include <korvan/platform.h>

#include <string>
#include <string_view>
#include <vector>

namespace korvan {

// Standard alphabet with "=" padding. After every 19th complete group (76
// characters) comes CR LF and a space, the line break the files have always
// carried; none follows a padded last group.
std::wstring Base64Encode(const BYTE* data, size_t size);

// Reads the alphabet's characters and skips every other one (line breaks,
// blanks, junk); "=" ends the input. A last group of two or three
// characters gives one or two bytes, a lone last character none.
std::vector<BYTE> Base64Decode(std::wstring_view text);

}  // namespace korvan
