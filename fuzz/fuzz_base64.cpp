// libFuzzer target: the base64 text of binary cells.
//
// Each input is used twice. As bytes, it is encoded: the text must have the
// files' shape (four characters per three bytes, "=" padding only at the
// end, CR LF and a blank after every 76 characters of complete groups) and
// decode to the same bytes. As text, it is decoded: characters outside the
// alphabet are skipped and "=" ends the input, so k alphabet characters give
// 3k/4 bytes (a last group of two or three giving one or two), and when k is
// a multiple of four, encoding those bytes gives back exactly those
// characters.

#include "fuzz/fuzz_support.h"
#include "model/Db_Base64.h"

#include <string>
#include <vector>

using korvan::fuzz::Check;

namespace {

bool InAlphabet(wchar_t ch) {
    return (ch >= L'A' && ch <= L'Z') || (ch >= L'a' && ch <= L'z') || (ch >= L'0' && ch <= L'9') ||
           ch == L'+' || ch == L'/';
}

// The text without its line breaks.
std::wstring Unbroken(const std::wstring& text) {
    std::wstring out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 3, L"\r\n ") == 0) {
            i += 2;
            continue;
        }
        out += text[i];
    }
    return out;
}

void CheckEncoding(const BYTE* bytes, size_t size) {
    const std::wstring text = korvan::Base64Encode(bytes, size);
    const size_t groups = size / 3;
    const size_t breaks = groups / 19;
    Check(text.size() == (size + 2) / 3 * 4 + 3 * breaks, "encoded text has the wrong length",
          std::to_string(size) + " bytes, " + std::to_string(text.size()) + " characters");
    for (size_t line = 1; line <= breaks; ++line) {
        Check(text.compare(line * 79 - 3, 3, L"\r\n ") == 0, "line break missing",
              "after line " + std::to_string(line));
    }
    const std::wstring plain = Unbroken(text);
    const size_t padding = (3 - size % 3) % 3;
    for (size_t i = 0; i < plain.size(); ++i) {
        Check(i >= plain.size() - padding ? plain[i] == L'=' : InAlphabet(plain[i]),
              "encoded text has a character out of place", "at " + std::to_string(i));
    }
    const std::vector<BYTE> decoded = korvan::Base64Decode(text);
    Check(decoded == std::vector<BYTE>(bytes, bytes + size),
          "encoded bytes do not decode to themselves", std::to_string(size) + " bytes");
}

void CheckDecoding(const std::wstring& text) {
    std::wstring alphabet;
    for (const wchar_t ch : text) {
        if (ch == L'=') {
            break;
        }
        if (InAlphabet(ch)) {
            alphabet += ch;
        }
    }
    const std::vector<BYTE> decoded = korvan::Base64Decode(text);
    const size_t k = alphabet.size();
    const size_t tail[] = {0, 0, 1, 2};
    Check(decoded.size() == k / 4 * 3 + tail[k % 4], "decoded text has the wrong length",
          std::to_string(k) + " characters of the alphabet, " + std::to_string(decoded.size()) +
              " bytes");
    Check(korvan::Base64Decode(alphabet) == decoded,
          "characters outside the alphabet change what is decoded");
    if (k % 4 == 0) {
        Check(Unbroken(korvan::Base64Encode(decoded.data(), decoded.size())) == alphabet,
              "decoded groups do not encode back to the same characters");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CheckEncoding(data, size);
    CheckDecoding(korvan::fuzz::Text(data, size).str());
    return 0;
}
