// Internal: one ODBC connection with what the driver says about itself: how
// it quotes names, which type names it creates columns with, whether it has
// transactions, and which of its known misbehaviours to work around.
#pragma once

#include <korvan/odbc.h>

#include <map>
#include <memory>

#include "odbc/Db_OdbcCall.h"

namespace korvan::odbc {

class Connection {
  public:
    // Connects through the driver manager without any dialog. With
    // readOnly the connection is asked for read-only access (drivers that do
    // not know the setting are read-only or writable as they are). Throws
    // CDBException* naming the driver and the file or connection.
    Connection(const CString& connect, bool readOnly);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    SQLHDBC hdbc() const { return m_dbc.get(); }
    const Handle& handle() const { return m_dbc; }
    // "driver 'X'" and the file or connection, for messages.
    const CString& Describe() const { return m_describe; }

    // mdbtools: numbers must be read as text (other C types give garbage with
    // SQL_SUCCESS), and it cannot write.
    bool IsMdbTools() const { return m_mdbtools; }
    // SQLite's driver: a bound binary parameter keeps the length it had at
    // the first execution after binding, also across the rows of an array.
    bool LatchesBinaryLength() const { return m_sqlite; }
    // How many rows one INSERT of the given number of columns carries: a
    // value list per row where the DBMS takes several (SQLite, PostgreSQL),
    // as many as its limit on parameters allows; 1 elsewhere.
    size_t RowsPerInsert(size_t columns) const;
    // Access drivers: bracketed names and Access type names.
    bool IsAccess() const { return m_access; }
    // The beginning of an INSERT into table, up to its column list, in the
    // form the driver runs fastest.
    CString InsertInto(const CString& table) const;
    // A name quoted as the driver wants it.
    CString Quote(const CString& name) const;
    // The column definition type for an access column tag.
    CString TypeName(int tag);
    // Whether unquoted and quoted names of different case are one name.
    bool NamesIgnoreCase() const { return m_namesIgnoreCase; }

    // Whether the driver has transactions that include table creation.
    bool HasTransactions() const { return m_transactions; }
    void BeginTransaction();
    void EndTransaction(bool commit);

    // Runs a statement that returns no rows; SQL_NO_DATA (a DELETE that
    // found nothing) is success.
    void Execute(const CString& sql, const CString& what);

  private:
    CString InfoText(SQLUSMALLINT info);
    void LoadTypeNames();

    Handle m_env;
    Handle m_dbc;
    CString m_describe;
    bool m_connected = false;
    bool m_mdbtools = false;
    bool m_access = false;
    bool m_sqlite = false;
    size_t m_parameterLimit = 0;  // of an INSERT with several value lists; 0 for none
    bool m_transactions = false;
    bool m_namesIgnoreCase = true;
    wchar_t m_quote = L'"';
    bool m_typesLoaded = false;
    std::map<int, CString> m_typeNames;
};

// The connection text without its password, for messages.
CString WithoutPassword(const CString& connect);

}  // namespace korvan::odbc
