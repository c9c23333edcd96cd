#include "model/Db_Base64.h"

namespace korvan {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kGroupsPerLine = 19;

int DecodeChar(wchar_t ch) {
    if (ch >= L'A' && ch <= L'Z') {
        return ch - L'A';
    }
    if (ch >= L'a' && ch <= L'z') {
        return ch - L'a' + 26;
    }
    if (ch >= L'0' && ch <= L'9') {
        return ch - L'0' + 52;
    }
    if (ch == L'+') {
        return 62;
    }
    if (ch == L'/') {
        return 63;
    }
    return -1;
}

}  // namespace

std::wstring Base64Encode(const BYTE* data, size_t size) {
    std::wstring out;
    const size_t groups = size / 3;
    out.reserve((groups + 1) * 4 + (groups / kGroupsPerLine) * 3);
    int inLine = 0;
    size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const uint32_t bits =
            (uint32_t{data[i]} << 16) | (uint32_t{data[i + 1]} << 8) | data[i + 2];
        out += static_cast<wchar_t>(kAlphabet[(bits >> 18) & 0x3F]);
        out += static_cast<wchar_t>(kAlphabet[(bits >> 12) & 0x3F]);
        out += static_cast<wchar_t>(kAlphabet[(bits >> 6) & 0x3F]);
        out += static_cast<wchar_t>(kAlphabet[bits & 0x3F]);
        if (++inLine == kGroupsPerLine) {
            out += L"\r\n ";
            inLine = 0;
        }
    }
    const size_t rest = size - i;
    if (rest > 0) {
        const uint32_t bits =
            (uint32_t{data[i]} << 16) | (rest == 2 ? uint32_t{data[i + 1]} << 8 : 0);
        out += static_cast<wchar_t>(kAlphabet[(bits >> 18) & 0x3F]);
        out += static_cast<wchar_t>(kAlphabet[(bits >> 12) & 0x3F]);
        out += rest == 2 ? static_cast<wchar_t>(kAlphabet[(bits >> 6) & 0x3F]) : L'=';
        out += L'=';
    }
    return out;
}

std::vector<BYTE> Base64Decode(std::wstring_view text) {
    std::vector<BYTE> out;
    out.reserve(text.size() / 4 * 3 + 2);
    uint32_t bits = 0;
    int count = 0;
    for (const wchar_t ch : text) {
        if (ch == L'=') {
            break;
        }
        const int value = DecodeChar(ch);
        if (value < 0) {
            continue;
        }
        bits = (bits << 6) | static_cast<uint32_t>(value);
        if (++count == 4) {
            out.push_back(static_cast<BYTE>(bits >> 16));
            out.push_back(static_cast<BYTE>(bits >> 8));
            out.push_back(static_cast<BYTE>(bits));
            bits = 0;
            count = 0;
        }
    }
    if (count == 2) {
        out.push_back(static_cast<BYTE>(bits >> 4));
    } else if (count == 3) {
        out.push_back(static_cast<BYTE>(bits >> 10));
        out.push_back(static_cast<BYTE>(bits >> 2));
    }
    return out;
}

}  // namespace korvan
