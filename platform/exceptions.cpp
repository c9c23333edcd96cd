#include <korvan/platform.h>

#include <cwchar>

namespace {

// Copies a message the way the MFC exceptions do: cut to fit, always
// terminated.
int CopyMessage(const wchar_t* message, wchar_t* buffer, unsigned int maxChars,
                unsigned int* helpContext) {
    if (helpContext) {
        *helpContext = 0;
    }
    if (!buffer || maxChars == 0) {
        return 0;
    }
    std::wcsncpy(buffer, message, maxChars - 1);
    buffer[maxChars - 1] = L'\0';
    return 1;
}

}  // namespace

CException::~CException() = default;

int CException::GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                                unsigned int* helpContext) const {
    if (helpContext) {
        *helpContext = 0;
    }
    if (buffer && maxChars > 0) {
        buffer[0] = L'\0';
    }
    return 0;
}

void CException::Delete() {
    delete this;
}

int CMemoryException::GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                                      unsigned int* helpContext) const {
    return CopyMessage(L"Out of memory.", buffer, maxChars, helpContext);
}

int CInvalidArgException::GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                                          unsigned int* helpContext) const {
    return CopyMessage(L"Encountered an improper argument.", buffer, maxChars, helpContext);
}

void AfxThrowMemoryException() {
    throw new CMemoryException();
}

void AfxThrowInvalidArgException() {
    throw new CInvalidArgException();
}

void AtlThrow(HRESULT hr) {
    throw CAtlException(hr);
}
