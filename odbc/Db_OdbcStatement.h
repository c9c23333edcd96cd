// Internal: one ODBC statement: running SQL, describing result columns,
// fetching rows and reading their values whole, however long.
#pragma once

#include <korvan/odbc.h>

#include <string>
#include <vector>

#include "odbc/Db_OdbcCall.h"

namespace korvan::odbc {

class Connection;

// A result column as the driver describes it.
struct ColumnInfo {
    CString name;
    SQLSMALLINT sqlType = SQL_UNKNOWN_TYPE;
    SQLULEN size = 0;
    SQLSMALLINT decimals = 0;
    SQLSMALLINT nullable = SQL_NULLABLE_UNKNOWN;
    CString typeName;  // the declared type, as the driver names it
};

class Statement {
  public:
    explicit Statement(Connection& connection);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    SQLHSTMT get() const { return m_stmt.get(); }
    const Handle& handle() const { return m_stmt; }
    Connection& connection() const { return m_connection; }

    // Each throws CDBException* "<what>: <diagnostics>" on failure.
    void ExecDirect(const CString& sql, const CString& what);
    void Prepare(const CString& sql, const CString& what);
    // False when the statement found nothing to do (SQL_NO_DATA).
    bool Execute(const CString& what);
    // The catalogue's tables of type 'TABLE' (the driver may not filter).
    void Tables(const CString& what);
    void TypeInfo(const CString& what);

    SQLSMALLINT ColumnCount(const CString& what);
    ColumnInfo Describe(SQLUSMALLINT column, const CString& what);
    // False after the last row.
    bool Fetch(const CString& what);
    void CloseCursor();

    // Values of the current row; each returns false for an SQL NULL. Text
    // and binary values are read in pieces, so nothing is cut at a buffer
    // size.
    bool GetText(SQLUSMALLINT column, std::wstring& out, const CString& what);
    bool GetBinary(SQLUSMALLINT column, CByteArray& out, const CString& what);
    bool GetFixed(SQLUSMALLINT column, SQLSMALLINT cType, void* value, SQLLEN size,
                  const CString& what);

  private:
    Connection& m_connection;
    Handle m_stmt;
    std::vector<SQLWCHAR> m_text;
    std::vector<BYTE> m_bytes;
};

}  // namespace korvan::odbc
