#include <korvan/model.h>

#include <algorithm>
#include <cwchar>

DbException::DbException(const char* file, int line, CString message)
    : m_message(StringBuilder(L"Korvan exception thrown\r\nFile: %s @ %d\r\nMessage: %s",
                              CString(file).GetString(), line, message.GetString())) {}

DbException::DbException(CString message) : m_message(std::move(message)) {}

DbException::~DbException() = default;

int DbException::GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                                 unsigned int* helpContext) const {
    if (helpContext) {
        *helpContext = 0;
    }
    // A secure truncating copy: a missing or empty buffer is an invalid
    // argument, a message that does not fit is cut silently.
    if (!buffer || maxChars == 0) {
        AfxThrowInvalidArgException();
    }
    const size_t count =
        std::min(static_cast<size_t>(m_message.GetLength()), static_cast<size_t>(maxChars - 1));
    std::wmemcpy(buffer, m_message.GetString(), count);
    buffer[count] = L'\0';
    buffer[maxChars - 1] = L'\0';
    return 1;
}

CString StringBuilder(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    CString text;
    text.FormatV(format, args);
    va_end(args);
    return text;
}
