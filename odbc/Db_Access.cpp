// DBACCESS: whole tables between a database reached through ODBC and access
// records.
#include <korvan/model.h>
#include <korvan/odbc.h>

#include <cstring>
#include <memory>

#include "odbc/Db_OdbcRecordset.h"
#include "platform/files.h"

using korvan::odbc::Connection;
using korvan::odbc::CTables;
using korvan::odbc::VostOdbcRecordset;

bool DBACCESS::m_forceExtractTableDefiniton = false;
const wchar_t* const DBACCESS::AccessConnection =
    L"DBQ=%s;Driver={Microsoft Access Driver (*.mdb)}";

namespace {

constexpr unsigned long kDefaultOptions = DBACCESS::openReadOnly | DBACCESS::noOdbcDialog;

// mdbtools' driver fails on a file that is missing or no Access database
// without any diagnostic (its reason goes to standard error), so Access
// files are recognised by their signature before the driver sees them.
void CheckAccessFile(const wchar_t* path) {
    const CString file(path);
    std::unique_ptr<korvan::ReadableFile> in;
    korvan::FileStatus status = korvan::Files().OpenForReading(file, in);
    char head[20] = {};
    size_t count = 0;
    if (status) {
        status = in->Read(head, sizeof head, count);
    }
    if (status && count == sizeof head &&
        (std::memcmp(head + 4, "Standard Jet DB", 15) == 0 ||
         std::memcmp(head + 4, "Standard ACE DB", 15) == 0)) {
        return;
    }
    const CString reason = !status ? status.Reason() : CString(L"the file is no Access database");
    throw new CDBException(
        SQL_ERROR,
        StringBuilder(L"Cannot open '%s' through the ODBC driver 'Microsoft Access Driver "
                      L"(*.mdb)': %s",
                      file.GetString(), reason.GetString()),
        L"State:HY000,Native:0,Origin:");
}

}  // namespace

DBACCESS::DBACCESS(const wchar_t* path) : DBACCESS(path, kDefaultOptions) {}

DBACCESS::DBACCESS(const wchar_t* path, unsigned long options)
    : DBACCESS(path, options, AccessConnection) {}

DBACCESS::DBACCESS(const wchar_t* path, unsigned long options, const wchar_t* connection)
    : m_connect(ConnectionText(path, connection)) {
    if (connection == nullptr || CString(connection) == AccessConnection) {
        CheckAccessFile(path);
    }
    m_database = std::make_unique<Connection>(m_connect, (options & openReadOnly) != 0);
}

DBACCESS::~DBACCESS() = default;

CString DBACCESS::ConnectionText(const wchar_t* path, const wchar_t* connection) {
    CString text(connection != nullptr ? connection : AccessConnection);
    text.Replace(L"%s", path != nullptr ? path : L"");
    return text;
}

void DBACCESS::Close() {
    m_database.reset();
}

bool DBACCESS::IsOpen() const {
    return m_database != nullptr;
}

CString DBACCESS::GetConnect() const {
    return korvan::odbc::WithoutPassword(m_connect);
}

bool DBACCESS::GetTables(std::vector<CString>& names) {
    try {
        CTables tables(m_database.get());
        for (tables.Open(); !tables.IsEOF(); tables.MoveNextTable()) {
            names.push_back(tables.table_name);
        }
        tables.Close();
        return true;
    } catch (CDBException* e) {
        e->Delete();
        return false;
    }
}

// mdbtools types COUNT(*) as text, and reading it as a number gives garbage
// with success: the count is read as text, as every driver can give it.
int DBACCESS::GetRecordsetsNumber(CString table) {
    korvan::odbc::CRecordset count(m_database.get());
    count.Open(L"SELECT COUNT(*) FROM " + m_database->Quote(table));
    CDBVariant value;
    if (count.IsEOF()) {
        return 0;
    }
    count.GetFieldValue(0, value);
    switch (value.m_dwType) {
        case DBVT_LONG:
            return value.m_lVal;
        case DBVT_SHORT:
            return value.m_iVal;
        case DBVT_WSTRING:
            return static_cast<int>(std::wcstol(value.m_pstring->GetString(), nullptr, 10));
        default:
            return 0;
    }
}

bool DBACCESS::GetRecordset(CString table, DBACCESS_RECORD& layout) {
    std::vector<CString> names;
    if (!GetTables(names)) {
        return false;
    }
    const CString* found = nullptr;
    for (const CString& name : names) {
        if (name == table) {
            found = &name;
            break;
        }
        if (found == nullptr && m_database->NamesIgnoreCase() && name.CompareNoCase(table) == 0) {
            found = &name;
        }
    }
    if (found == nullptr) {
        return false;
    }
    korvan::odbc::CRecordset columns(m_database.get());
    columns.Open(L"SELECT * FROM " + m_database->Quote(*found));
    layout.clear();
    for (short i = 0; i < columns.GetODBCFieldCount(); ++i) {
        const korvan::odbc::ColumnInfo& info = columns.GetODBCFieldInfo(i);
        DBACCESS_COLUMN column(info.name);
        column.type = korvan::odbc::ReadTag(info);
        layout.push_back(column);
    }
    return true;
}

bool DBACCESS::GetTableData(CString table, DBACCESS_VECTOR& out) {
    out.clear();
    out.emptyTable = GetRecordsetsNumber(table) <= 0;
    if (out.emptyTable && !m_forceExtractTableDefiniton) {
        return true;
    }
    VostOdbcRecordset rows(m_database.get(), table, DBACCESS_RECORD());
    rows.Open();
    if (out.emptyTable) {
        // A definition only: one column per result column, of a typed zero
        // value.
        DBACCESS_RECORD definition;
        CDBVariant zero;
        for (short i = 0; i < rows.GetODBCFieldCount(); ++i) {
            DBACCESS_COLUMN column(rows.GetODBCFieldInfo(i).name);
            korvan::odbc::ZeroValue(rows.GetODBCFieldInfo(i), zero);
            column.Set(zero);
            definition.push_back(column);
        }
        out.push_back(definition);
    } else {
        for (; !rows.IsEOF(); rows.MoveNext()) {
            rows.ReadRow();
            out.push_back(rows);
        }
    }
    rows.Close();
    return true;
}

bool DBACCESS::SetTableData(CString table, const DBACCESS_VECTOR& data) {
    Connection& connection = *m_database;
    if (connection.IsMdbTools()) {
        throw new CDBException(
            SQL_ERROR,
            StringBuilder(L"Cannot write table '%s' to %s: mdbtools' driver only reads Access "
                          L"files",
                          table.GetString(), connection.Describe().GetString()),
            L"State:HY000,Native:0,Origin:");
    }
    const bool transaction = connection.HasTransactions();
    if (transaction) {
        connection.BeginTransaction();
    }
    try {
        DBACCESS_RECORD layout;
        if (!GetRecordset(table, layout)) {
            if (data.empty() || data[0].empty()) {
                if (transaction) {
                    connection.EndTransaction(false);
                }
                return false;
            }
            layout = data[0];
            CString definitions;
            for (const DBACCESS_COLUMN& column : layout) {
                definitions += (definitions.IsEmpty() ? L"" : L", ") +
                               connection.Quote(column.name) + L" " +
                               connection.TypeName(column.type);
            }
            connection.Execute(
                StringBuilder(L"CREATE TABLE %s (%s)", connection.Quote(table).GetString(),
                              definitions.GetString()),
                StringBuilder(L"Cannot create table '%s' in %s", table.GetString(),
                              connection.Describe().GetString()));
        }
        VostOdbcRecordset target(&connection, table, layout);
        target.DeleteAll();
        // The one record of a table read as empty only defines its columns.
        const size_t rows = data.emptyTable ? 0 : data.size();
        for (size_t i = 0; i < rows; ++i) {
            target.AddNew();
            target.Update(data[i]);
        }
        target.Close();
        if (transaction) {
            connection.EndTransaction(true);
        }
    } catch (...) {
        if (transaction) {
            connection.EndTransaction(false);
        }
        throw;
    }
    return true;
}
