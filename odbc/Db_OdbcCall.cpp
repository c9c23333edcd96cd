// The checked path of ODBC calls, owned handles, and the exception and value
// types drivers hand over.
#include "odbc/Db_OdbcCall.h"

#include <algorithm>
#include <cwchar>

#include "platform/utf.h"

// ---------------------------------------------------------------------------
// CDBVariant and CDBException

CDBVariant::CDBVariant() : m_dwType(DBVT_NULL), m_pdate(nullptr) {}

CDBVariant::~CDBVariant() {
    Clear();
}

void CDBVariant::Clear() {
    switch (m_dwType) {
        case DBVT_DATE:
            delete m_pdate;
            break;
        case DBVT_STRING:
        case DBVT_WSTRING:
            delete m_pstring;
            break;
        case DBVT_ASTRING:
            delete m_pstringA;
            break;
        case DBVT_BINARY:
            delete m_pbinary;
            break;
        default:
            break;
    }
    m_dwType = DBVT_NULL;
    m_pdate = nullptr;
}

CDBException::CDBException(SHORT retCode, CString error, CString stateNativeOrigin)
    : m_nRetCode(retCode),
      m_strError(std::move(error)),
      m_strStateNativeOrigin(std::move(stateNativeOrigin)) {}

CDBException::~CDBException() = default;

int CDBException::GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                                  unsigned int* helpContext) const {
    if (helpContext != nullptr) {
        *helpContext = 0;
    }
    if (buffer == nullptr || maxChars == 0) {
        return 0;
    }
    const size_t count = std::min<size_t>(m_strError.GetLength(), maxChars - 1);
    std::wmemcpy(buffer, m_strError.GetString(), count);
    buffer[count] = 0;
    return 1;
}

namespace korvan::odbc {

// ---------------------------------------------------------------------------
// Diagnostics

CString Diagnostics(SQLSMALLINT handleType, SQLHANDLE handle, CString* state, SQLINTEGER* native) {
    CString text;
    if (handle == SQL_NULL_HANDLE) {
        return text;
    }
    for (SQLSMALLINT record = 1;; ++record) {
        SQLWCHAR sqlState[6] = {};
        SQLINTEGER code = 0;
        SQLWCHAR message[1024] = {};
        SQLSMALLINT length = 0;
        const SQLRETURN rc = SQLGetDiagRecW(handleType, handle, record, sqlState, &code, message,
                                            static_cast<SQLSMALLINT>(std::size(message)), &length);
        if (rc != SQL_SUCCESS && rc != SQL_SUCCESS_WITH_INFO) {
            break;
        }
        const CString stateText = FromWide(sqlState, 5);
        const size_t shown = std::min<size_t>(static_cast<size_t>(std::max<SQLSMALLINT>(length, 0)),
                                              std::size(message) - 1);
        CString line = StringBuilder(L"[%s] (native %d) %s", stateText.GetString(),
                                     static_cast<int>(code), FromWide(message, shown).GetString());
        line.TrimRight();
        if (record == 1) {
            if (state != nullptr) {
                *state = stateText;
            }
            if (native != nullptr) {
                *native = code;
            }
        } else {
            text += L"; ";
        }
        text += line;
    }
    return text;
}

void Raise(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle, const CString& what) {
    CString state;
    SQLINTEGER native = 0;
    CString details = Diagnostics(handleType, handle, &state, &native);
    if (details.IsEmpty()) {
        details = StringBuilder(L"the driver failed (return code %d) without saying why",
                                static_cast<int>(rc));
    }
    throw new CDBException(
        static_cast<SHORT>(rc), what + L": " + details,
        StringBuilder(L"State:%s,Native:%d,Origin:", state.GetString(), static_cast<int>(native)));
}

// ---------------------------------------------------------------------------
// Handles and text

Handle::Handle(SQLSMALLINT type, SQLHANDLE parent, const CString& what) : m_type(type) {
    const SQLRETURN rc = SQLAllocHandle(type, parent, &m_handle);
    if (rc != SQL_SUCCESS && rc != SQL_SUCCESS_WITH_INFO) {
        const SQLSMALLINT parentType = type == SQL_HANDLE_DBC    ? SQL_HANDLE_ENV
                                       : type == SQL_HANDLE_STMT ? SQL_HANDLE_DBC
                                                                 : SQL_HANDLE_ENV;
        m_handle = SQL_NULL_HANDLE;
        Raise(rc, parentType, parent, what);
    }
}

Handle::~Handle() {
    if (m_handle != SQL_NULL_HANDLE) {
        SQLFreeHandle(m_type, m_handle);
    }
}

std::u16string Wide(const CString& text) {
    return EncodeUtf16(text.str());
}

CString FromWide(const SQLWCHAR* text, size_t count) {
    std::wstring out;
    out.reserve(count);
    AppendUtf16(Utf16Units(text), count, out);
    // Fixed-size fields (the SQLSTATE) end at their first zero.
    const size_t end = out.find(L'\0');
    if (end != std::wstring::npos) {
        out.resize(end);
    }
    return CString(std::move(out));
}

}  // namespace korvan::odbc
