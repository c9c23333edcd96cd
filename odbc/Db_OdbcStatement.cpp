// ODBC statements: running SQL, describing columns, fetching rows and reading
// values in pieces.
#include "odbc/Db_OdbcStatement.h"

#include <algorithm>

#include "odbc/Db_OdbcConnection.h"
#include "platform/utf.h"

namespace korvan::odbc {
namespace {

constexpr size_t kTextPiece = 4096;     // characters per SQLGetData of a text
constexpr size_t kBinaryPiece = 65536;  // bytes per SQLGetData of a binary value

// The length of a text piece up to its terminating zero.
size_t TerminatedLength(const SQLWCHAR* text, size_t capacity) {
    return static_cast<size_t>(std::find(text, text + capacity, SQLWCHAR(0)) - text);
}

}  // namespace

Statement::Statement(Connection& connection)
    : m_connection(connection),
      m_stmt(SQL_HANDLE_STMT, connection.hdbc(),
             L"Cannot start a statement on " + connection.Describe()) {}

Statement::~Statement() = default;

void Statement::ExecDirect(const CString& sql, const CString& what) {
    std::u16string text = Wide(sql);
    m_stmt.Check(SQLExecDirectW(get(), OdbcText(text), SQL_NTS), what);
}

void Statement::Prepare(const CString& sql, const CString& what) {
    std::u16string text = Wide(sql);
    m_stmt.Check(SQLPrepareW(get(), OdbcText(text), SQL_NTS), what);
}

bool Statement::Execute(const CString& what) {
    return m_stmt.Check(SQLExecute(get()), what) != SQL_NO_DATA;
}

void Statement::Tables(const CString& what) {
    std::u16string type = u"'TABLE'";
    m_stmt.Check(SQLTablesW(get(), nullptr, 0, nullptr, 0, nullptr, 0, OdbcText(type), SQL_NTS),
                 what);
}

void Statement::TypeInfo(const CString& what) {
    m_stmt.Check(SQLGetTypeInfoW(get(), SQL_ALL_TYPES), what);
}

SQLSMALLINT Statement::ColumnCount(const CString& what) {
    SQLSMALLINT count = 0;
    m_stmt.Check(SQLNumResultCols(get(), &count), what);
    return count;
}

ColumnInfo Statement::Describe(SQLUSMALLINT column, const CString& what) {
    ColumnInfo info;
    SQLWCHAR name[512] = {};
    SQLSMALLINT length = 0;
    m_stmt.Check(
        SQLDescribeColW(get(), column, name, static_cast<SQLSMALLINT>(std::size(name)), &length,
                        &info.sqlType, &info.size, &info.decimals, &info.nullable),
        what);
    info.name =
        FromWide(name, std::min<size_t>(std::max<SQLSMALLINT>(length, 0), std::size(name) - 1));
    SQLWCHAR typeName[128] = {};
    SQLSMALLINT typeLength = 0;
    // Not every driver names its types; the name only refines the SQL type.
    if (SQL_SUCCEEDED(SQLColAttributeW(get(), column, SQL_DESC_TYPE_NAME, typeName, sizeof typeName,
                                       &typeLength, nullptr))) {
        info.typeName = FromWide(typeName, TerminatedLength(typeName, std::size(typeName)));
    }
    return info;
}

bool Statement::Fetch(const CString& what) {
    return m_stmt.Check(SQLFetch(get()), what) != SQL_NO_DATA;
}

void Statement::CloseCursor() {
    SQLFreeStmt(get(), SQL_CLOSE);
}

bool Statement::GetText(SQLUSMALLINT column, std::wstring& out, const CString& what) {
    out.clear();
    m_text.resize(kTextPiece);
    for (;;) {
        SQLLEN indicator = 0;
        const SQLRETURN rc = m_stmt.Check(
            SQLGetData(get(), column, SQL_C_WCHAR, m_text.data(),
                       static_cast<SQLLEN>(m_text.size() * sizeof(SQLWCHAR)), &indicator),
            what);
        if (rc == SQL_NO_DATA) {
            return true;  // every piece was read
        }
        if (indicator == SQL_NULL_DATA) {
            return false;
        }
        // A piece fills the buffer but for its terminator when more follows
        // (01004); otherwise the indicator tells its length, unless the driver
        // cannot say (SQL_NO_TOTAL) or says more than there is room for.
        const size_t room = m_text.size() - 1;
        size_t count = TerminatedLength(m_text.data(), m_text.size());
        if (rc == SQL_SUCCESS && indicator >= 0 &&
            static_cast<size_t>(indicator) / sizeof(SQLWCHAR) <= room) {
            count = static_cast<size_t>(indicator) / sizeof(SQLWCHAR);
        }
        AppendUtf16(Utf16Units(m_text.data()), count, out);
        if (rc == SQL_SUCCESS) {
            return true;
        }
    }
}

bool Statement::GetBinary(SQLUSMALLINT column, CByteArray& out, const CString& what) {
    out.RemoveAll();
    m_bytes.resize(kBinaryPiece);
    for (;;) {
        SQLLEN indicator = 0;
        const SQLRETURN rc =
            m_stmt.Check(SQLGetData(get(), column, SQL_C_BINARY, m_bytes.data(),
                                    static_cast<SQLLEN>(m_bytes.size()), &indicator),
                         what);
        if (rc == SQL_NO_DATA) {
            return true;
        }
        if (indicator == SQL_NULL_DATA) {
            return false;
        }
        size_t count = m_bytes.size();
        if (rc == SQL_SUCCESS && indicator >= 0) {
            count = std::min<size_t>(static_cast<size_t>(indicator), m_bytes.size());
        }
        const int64_t at = out.GetSize();
        out.SetSize(at + static_cast<int64_t>(count));
        std::copy(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(count),
                  out.GetData() + at);
        if (rc == SQL_SUCCESS) {
            return true;
        }
    }
}

bool Statement::GetFixed(SQLUSMALLINT column, SQLSMALLINT cType, void* value, SQLLEN size,
                         const CString& what) {
    SQLLEN indicator = 0;
    m_stmt.Check(SQLGetData(get(), column, cType, value, size, &indicator), what);
    return indicator != SQL_NULL_DATA;
}

}  // namespace korvan::odbc
