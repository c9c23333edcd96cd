// libFuzzer target: the library's UTF-8 and UTF-16LE coding.
//
// Each input is taken as UTF-8 and held against a reference reading (below)
// that finds the well-formed sequences another way than the library: DecodeUtf8 and IsValidUtf8
// accept exactly the well-formed inputs, decode them to the same characters and encode back to the
// same bytes; DecodeUtf8Lenient replaces each maximal ill-formed part (the longest start of a
// sequence that could still have become well-formed, or one byte) by U+FFFD and keeps everything
// else. Taken as UTF-16LE, an input of even length decodes and encodes back to itself.

#include "fuzz/fuzz_support.h"
#include "platform/utf.h"

#include <string>
#include <vector>

using korvan::fuzz::Check;

namespace {

// The reference: a sequence is well-formed when the plain bit reading of it
// gives a character (no surrogate, at most U+10FFFF) that no shorter sequence
// could carry. Neither step knows the table of byte ranges the
// library works with.
size_t LengthFromLead(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if ((lead & 0xE0) == 0xC0) {
        return 2;
    }
    if ((lead & 0xF0) == 0xE0) {
        return 3;
    }
    return (lead & 0xF8) == 0xF0 ? 4 : 0;
}

// The smallest character a sequence of each length may carry: anything
// smaller has a shorter encoding.
constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};

// The character sequence encodes, or -1 when it is not well-formed.
int64_t WellFormed(std::string_view sequence) {
    const auto lead = static_cast<unsigned char>(sequence[0]);
    if (LengthFromLead(lead) != sequence.size()) {
        return -1;
    }
    char32_t c = sequence.size() == 1 ? lead : lead & (0x7F >> sequence.size());
    for (size_t i = 1; i < sequence.size(); ++i) {
        const auto next = static_cast<unsigned char>(sequence[i]);
        if ((next & 0xC0) != 0x80) {
            return -1;
        }
        c = (c << 6) | (next & 0x3F);
    }
    const bool scalar = c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
    return scalar && c >= kSmallest[sequence.size()] ? static_cast<int64_t>(c) : -1;
}

struct Step {
    bool valid;
    size_t length;  // of the sequence, or of the maximal ill-formed part
    char32_t c;
};

// The next character at bytes[at], or the longest start of a sequence there
// that some continuation bytes would make well-formed (at least one byte).
Step NextSequence(std::string_view bytes, size_t at) {
    const size_t length = LengthFromLead(static_cast<unsigned char>(bytes[at]));
    if (length > 0 && at + length <= bytes.size()) {
        if (const int64_t c = WellFormed(bytes.substr(at, length)); c >= 0) {
            return {true, length, static_cast<char32_t>(c)};
        }
    }
    if (length > 1) {
        for (size_t part = std::min(length - 1, bytes.size() - at); part > 1; --part) {
            std::string completed(bytes.substr(at, part));
            completed.append(length - part, '\x80');
            if (WellFormed(completed) >= 0) {
                return {false, part, 0};
            }
        }
    }
    return {false, 1, 0};
}

void AppendUtf16(std::vector<BYTE>& out, char32_t c) {
    auto unit = [&out](char32_t u) {
        out.push_back(static_cast<BYTE>(u & 0xFF));
        out.push_back(static_cast<BYTE>(u >> 8));
    };
    if (c >= 0x10000) {
        unit(0xD800 + ((c - 0x10000) >> 10));
        unit(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
        unit(c);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes = korvan::fuzz::Bytes(data, size);

    bool valid = true;
    std::string lenient;      // the expected lenient reading, as UTF-8
    std::vector<BYTE> utf16;  // the expected reading of a valid input, as UTF-16LE
    for (size_t at = 0; at < bytes.size();) {
        const Step step = NextSequence(bytes, at);
        if (step.valid) {
            lenient.append(bytes.substr(at, step.length));
            AppendUtf16(utf16, step.c);
        } else {
            valid = false;
            lenient += "\xEF\xBF\xBD";
        }
        at += step.length;
    }

    std::wstring decoded;
    Check(korvan::DecodeUtf8(bytes, decoded) == valid, "DecodeUtf8 misjudges the input",
          valid ? "well-formed, refused" : "ill-formed, accepted");
    Check(korvan::IsValidUtf8(bytes) == valid, "IsValidUtf8 misjudges the input",
          valid ? "well-formed, refused" : "ill-formed, accepted");
    if (valid) {
        Check(korvan::EncodeUtf16LE(decoded) == utf16, "DecodeUtf8 reads other characters");
        Check(korvan::EncodeUtf8(decoded) == bytes, "decoded text does not encode back");
    } else {
        Check(decoded.empty(), "DecodeUtf8 leaves text behind on refusal");
    }
    Check(korvan::EncodeUtf8(korvan::DecodeUtf8Lenient(bytes)) == lenient,
          "DecodeUtf8Lenient replaces other parts than the ill-formed ones");

    if (size % 2 == 0) {
        Check(korvan::EncodeUtf16LE(korvan::DecodeUtf16LE(data, size)) ==
                  std::vector<BYTE>(data, data + size),
              "UTF-16LE does not decode and encode back to itself");
    }
    return 0;
}
