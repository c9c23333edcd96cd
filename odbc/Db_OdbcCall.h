// Internal: the one checked path every ODBC call takes, and owned handles.
//
// Check lets success, success with information and "no data" through and
// turns every other return code into a CDBException* that names what was
// being done and carries each diagnostic record of the handle: SQLSTATE,
// native code and the driver's own text. A driver that fails without any
// diagnostic record (mdbtools does) is said so in the message.
#pragma once

#include <korvan/model.h>
#include <korvan/odbc.h>

#include <string>

#include "platform/odbc_api.h"

namespace korvan::odbc {

// Every diagnostic record of handle as "[SQLSTATE] (native n) text", joined
// with "; "; empty when there is none. state receives the first SQLSTATE and
// native its native code.
CString Diagnostics(SQLSMALLINT handleType, SQLHANDLE handle, CString* state = nullptr,
                    SQLINTEGER* native = nullptr);

// Throws CDBException* "<what>: <diagnostics>" for the failed call.
[[noreturn]] void Raise(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle,
                        const CString& what);

// rc itself when the call succeeded (also with information) or found no
// data; otherwise Raise.
inline SQLRETURN Check(SQLRETURN rc, SQLSMALLINT handleType, SQLHANDLE handle,
                       const CString& what) {
    if (rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO || rc == SQL_NO_DATA) {
        return rc;
    }
    Raise(rc, handleType, handle, what);
}

// An ODBC handle freed with its owner.
class Handle {
  public:
    // Allocates a handle of type under parent (SQL_NULL_HANDLE for the
    // environment); what names the purpose in a failure.
    Handle(SQLSMALLINT type, SQLHANDLE parent, const CString& what);
    ~Handle();
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    SQLHANDLE get() const { return m_handle; }
    SQLSMALLINT type() const { return m_type; }
    // Check for a call made on this handle.
    SQLRETURN Check(SQLRETURN rc, const CString& what) const {
        return odbc::Check(rc, m_type, m_handle, what);
    }

  private:
    SQLSMALLINT m_type;
    SQLHANDLE m_handle = SQL_NULL_HANDLE;
};

// Wide ODBC text of a CString, and back.
std::u16string Wide(const CString& text);
CString FromWide(const SQLWCHAR* text, size_t count);

}  // namespace korvan::odbc
