// Internal: record sets over an ODBC connection. CRecordset reads a result
// row by row into CDBVariants; CTables lists the user tables; a
// DBACCESS_RECORDSET exchanges its own record with a table (reading rows into
// it, or adding it as a new row); VostOdbcRecordset is one over a whole table.
#pragma once

#include <korvan/odbc.h>

#include <memory>
#include <vector>

#include "odbc/Db_OdbcConnection.h"
#include "odbc/Db_OdbcStatement.h"

namespace korvan::odbc {

// The access tag a driver's column is read as: 1 bool, 3 short, 4 long, 6
// single, 7 double, 9 binary, 10 text (dates and decimals included).
int ReadTag(const ColumnInfo& column);
// The typed zero value of a column in a table definition: bit false, the
// small and plain integers a short 0, big integers a long 0, reals a single,
// floats and doubles a double, character columns an empty text; anything
// else no value.
void ZeroValue(const ColumnInfo& column, CDBVariant& value);

class CRecordset {
  public:
    explicit CRecordset(Connection* database);
    virtual ~CRecordset();
    CRecordset(const CRecordset&) = delete;
    CRecordset& operator=(const CRecordset&) = delete;

    virtual CString GetDefaultSQL() { return CString(); }
    // Runs sql (the default SQL when empty) and moves to the first row.
    virtual void Open(const CString& sql = CString());
    void Close();
    bool IsOpen() const { return m_statement != nullptr; }
    bool IsEOF() const { return m_eof; }
    void MoveNext();

    short GetODBCFieldCount() const { return static_cast<short>(m_columns.size()); }
    const ColumnInfo& GetODBCFieldInfo(short index) const {
        return m_columns[static_cast<size_t>(index)];
    }
    // The current row's value of a column, of the kind its tag gives.
    void GetFieldValue(short index, CDBVariant& value);

  protected:
    // Takes over a statement that has run: describes its result's columns
    // and fetches the first row.
    void Adopt(std::unique_ptr<Statement> statement);

    Connection* m_pDatabase;
    CString m_what;  // what a failure message says was being done

  private:
    std::unique_ptr<Statement> m_statement;
    std::vector<ColumnInfo> m_columns;
    std::vector<int> m_tags;
    std::wstring m_text;
    bool m_eof = true;
};

// The table catalogue: one row per user table.
class CTables : public CRecordset {
  public:
    explicit CTables(Connection* database) : CRecordset(database) {}

    CString GetDefaultSQL() override { return L"ODBC;"; }
    // Lists the tables of type 'TABLE'. The rows of other types that some
    // drivers return anyway are skipped; a driver that cannot list tables
    // (IM001) is asked for its Access system table instead.
    void Open(const CString& sql = CString()) override;
    // The next table, or the end.
    void MoveNextTable();

    CString table_qualifier;
    CString table_owner;
    CString table_name;
    CString table_type;
    CString remarks;

  private:
    void ReadMembers();
    bool m_systemTable = false;
};

// A record set whose bound fields are the columns of its own record: the
// layout given at construction names them and gives their tags.
class DBACCESS_RECORDSET : public CRecordset, public DBACCESS_RECORD {
  public:
    DBACCESS_RECORDSET(Connection* database, const DBACCESS_RECORD& layout);
    ~DBACCESS_RECORDSET() override;

    // The current row into this record: one column per result column, named
    // after it.
    void ReadRow();
    // Appends this record's values as a new row of table. Rows are sent to
    // the driver in batches; Flush (and Close) sends the rest.
    void AddNew(const CString& table);
    void Update();
    // Update with record's values in place of this record's: the same row
    // without copying record first.
    void Update(const DBACCESS_RECORD& record);
    void Flush();
    void Close();

  private:
    class Writer;
    DBACCESS_RECORD m_layout;
    std::unique_ptr<Writer> m_writer;
};

// A record set over the whole of one table.
class VostOdbcRecordset : public DBACCESS_RECORDSET {
  public:
    VostOdbcRecordset(Connection* database, const CString& table, const DBACCESS_RECORD& layout)
        : DBACCESS_RECORDSET(database, layout), m_table(table) {}

    CString GetDefaultSQL() override { return L"SELECT * FROM " + m_pDatabase->Quote(m_table); }
    // Every existing row of the table is deleted.
    void DeleteAll();
    void AddNew() { DBACCESS_RECORDSET::AddNew(m_table); }

  private:
    CString m_table;
};

}  // namespace korvan::odbc
