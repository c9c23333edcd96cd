// BSTRs: length-prefixed wide texts in blocks of their own.
#include "platform/posix/bstr.h"

#include <cstdlib>
#include <cwchar>

// A BSTR points just past its prefix: a 32-bit count of its characters and
// the odd last byte of the bytes it was made from, if any. The characters are
// followed by a terminating zero that the count leaves out. Every allocation
// is a block of its own, so two BSTRs never share a buffer.

namespace {

struct Prefix {
    uint32_t length;
    uint32_t oddByte;  // kHasOddByte | the byte, or 0
};

constexpr uint32_t kHasOddByte = 0x100;

// Windows keeps the byte length of a BSTR in 32 bits; longer texts fail as an
// allocation would.
constexpr UINT kMaxLength = (0x7FFFFFFFu - sizeof(Prefix)) / sizeof(OLECHAR) - 1;

Prefix* PrefixOf(BSTR text) {
    return reinterpret_cast<Prefix*>(reinterpret_cast<char*>(text) - sizeof(Prefix));
}

}  // namespace

BSTR SysAllocString(const OLECHAR* psz) {
    if (!psz) {
        return nullptr;
    }
    return SysAllocStringLen(psz, static_cast<UINT>(std::wcslen(psz)));
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
    if (ui > kMaxLength) {
        return nullptr;
    }
    void* block = std::malloc(sizeof(Prefix) + (static_cast<size_t>(ui) + 1) * sizeof(OLECHAR));
    if (!block) {
        return nullptr;
    }
    *static_cast<Prefix*>(block) = Prefix{ui, 0};
    BSTR text = reinterpret_cast<BSTR>(static_cast<char*>(block) + sizeof(Prefix));
    if (strIn) {
        std::wmemcpy(text, strIn, ui);
    } else {
        std::wmemset(text, L'\0', ui);
    }
    text[ui] = L'\0';
    return text;
}

void SysFreeString(BSTR bstrString) {
    if (bstrString) {
        std::free(PrefixOf(bstrString));
    }
}

UINT SysStringLen(BSTR pbstr) {
    return pbstr ? PrefixOf(pbstr)->length : 0;
}

namespace korvan {

BSTR AllocBstrFromBytes(const BYTE* bytes, size_t count) {
    const std::wstring text = DecodeUtf16LE(bytes, count & ~size_t{1});
    BSTR result = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (result && count % 2 != 0) {
        PrefixOf(result)->oddByte = kHasOddByte | bytes[count - 1];
    }
    return result;
}

std::vector<BYTE> BytesOfBstr(BSTR text) {
    std::vector<BYTE> bytes =
        EncodeUtf16LE(std::wstring_view(text ? text : L"", SysStringLen(text)));
    if (text && (PrefixOf(text)->oddByte & kHasOddByte)) {
        bytes.push_back(static_cast<BYTE>(PrefixOf(text)->oddByte & 0xFF));
    }
    return bytes;
}

BSTR CopyBstr(BSTR text) {
    if (!text) {
        return nullptr;
    }
    BSTR copy = SysAllocStringLen(text, SysStringLen(text));
    if (copy) {
        PrefixOf(copy)->oddByte = PrefixOf(text)->oddByte;
    }
    return copy;
}

}  // namespace korvan
