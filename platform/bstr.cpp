#include <korvan/platform.h>

#include <cstdlib>
#include <cwchar>

// A BSTR points just past a 32-bit count of its characters; the characters
// are followed by a terminating zero that the count leaves out. Every
// allocation is a block of its own, so two BSTRs never share a buffer.

namespace {

constexpr size_t kPrefixSize = sizeof(uint32_t);

// Windows keeps the byte length of a BSTR in 32 bits; longer texts fail as an
// allocation would.
constexpr UINT kMaxLength = (0x7FFFFFFFu - kPrefixSize) / sizeof(OLECHAR) - 1;

uint32_t* PrefixOf(BSTR text) {
    return reinterpret_cast<uint32_t*>(reinterpret_cast<char*>(text) - kPrefixSize);
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
    void* block = std::malloc(kPrefixSize + (static_cast<size_t>(ui) + 1) * sizeof(OLECHAR));
    if (!block) {
        return nullptr;
    }
    *static_cast<uint32_t*>(block) = ui;
    BSTR text = reinterpret_cast<BSTR>(static_cast<char*>(block) + kPrefixSize);
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
    return pbstr ? *PrefixOf(pbstr) : 0;
}
