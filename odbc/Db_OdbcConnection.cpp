// ODBC connections: connecting, what the driver says about itself (quoting,
// type names, transactions) and statements without results.
#include "odbc/Db_OdbcConnection.h"

#include <algorithm>
#include <string>
#include <vector>

#include "odbc/Db_OdbcStatement.h"

namespace korvan::odbc {
namespace {

// The value of key (without regard to case) in a connection text, braces
// removed; empty when absent.
CString ConnectionValue(const CString& connect, const wchar_t* key) {
    const CString wanted = CString(key).MakeLower();
    int start = 0;
    while (start < connect.GetLength()) {
        const int equals = connect.Find(L'=', start);
        if (equals < 0) {
            break;
        }
        CString name = connect.Mid(start, equals - start);
        name.Trim();
        int end = equals + 1;
        if (end < connect.GetLength() && connect[end] == L'{') {
            const int close = connect.Find(L'}', end);
            end = close < 0 ? connect.GetLength() : close + 1;
        }
        const int semicolon = connect.Find(L';', end);
        end = semicolon < 0 ? connect.GetLength() : semicolon;
        if (name.MakeLower() == wanted) {
            CString value = connect.Mid(equals + 1, end - equals - 1);
            value.Trim();
            return value.Trim(L"{}");
        }
        start = end + 1;
    }
    return CString();
}

CString Describe(const CString& connect) {
    CString driver = ConnectionValue(connect, L"Driver");
    CString file = ConnectionValue(connect, L"DBQ");
    if (file.IsEmpty()) {
        file = ConnectionValue(connect, L"Database");
    }
    CString text = driver.IsEmpty() ? CString(L"ODBC")
                                    : StringBuilder(L"the ODBC driver '%s'", driver.GetString());
    if (!file.IsEmpty()) {
        text = StringBuilder(L"'%s' through %s", file.GetString(), text.GetString());
    } else {
        text = StringBuilder(L"%s (%s)", text.GetString(), WithoutPassword(connect).GetString());
    }
    return text;
}

// The types tried, in order, for the columns of each access tag.
std::vector<SQLSMALLINT> PreferredTypes(int tag) {
    switch (tag) {
        case DBACCESS_COLUMN::typeInt:
            return {SQL_BIT, SQL_SMALLINT, SQL_INTEGER};
        case DBACCESS_COLUMN::typeShort:
            return {SQL_SMALLINT, SQL_INTEGER};
        case DBACCESS_COLUMN::typeLong:
            return {SQL_INTEGER, SQL_BIGINT};
        case DBACCESS_COLUMN::typeFloat:
            return {SQL_REAL, SQL_FLOAT, SQL_DOUBLE};
        case DBACCESS_COLUMN::typeDouble:
            return {SQL_DOUBLE, SQL_FLOAT};
        case DBACCESS_COLUMN::typeBinary:
            return {SQL_LONGVARBINARY, SQL_VARBINARY, SQL_BINARY};
        default:
            return {SQL_WLONGVARCHAR, SQL_LONGVARCHAR, SQL_WVARCHAR, SQL_VARCHAR};
    }
}

// The Access type names of column definitions.
const wchar_t* AccessTypeName(int tag) {
    switch (tag) {
        case DBACCESS_COLUMN::typeInt:
            return L"bit";
        case DBACCESS_COLUMN::typeShort:
            return L"int";
        case DBACCESS_COLUMN::typeLong:
            return L"long";
        case DBACCESS_COLUMN::typeFloat:
            return L"float";
        case DBACCESS_COLUMN::typeDouble:
            return L"double";
        case DBACCESS_COLUMN::typeBinary:
            return L"Binary(32768)";
        default:
            return L"Char(50)";
    }
}

// More rows per INSERT than this save no measurable time, and every row of a
// batch is held in memory until the batch is sent.
constexpr size_t kMaxRowsPerInsert = 256;

// The parameters one INSERT with several value lists may carry, for the
// DBMSs known to take such lists; 0 for the others. SQLite builds before
// 3.32 allow 999, and its driver cannot tell which build it runs on;
// PostgreSQL's protocol counts a statement's parameters in 16 bits, of which
// half is used.
size_t ParameterLimit(const CString& dbms) {
    if (dbms.CompareNoCase(L"SQLite") == 0) {
        return 999;
    }
    if (dbms.CompareNoCase(L"PostgreSQL") == 0) {
        return 32767;
    }
    return 0;
}

// The environment, set up for ODBC 3 behaviour.
SQLHANDLE Odbc3(const Handle& env) {
    env.Check(SQLSetEnvAttr(env.get(), SQL_ATTR_ODBC_VERSION,
                            reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
              L"Cannot start the ODBC driver manager");
    return env.get();
}

}  // namespace

CString WithoutPassword(const CString& connect) {
    CString out;
    int start = 0;
    while (start < connect.GetLength()) {
        int end = connect.Find(L';', start);
        const int brace = connect.Find(L'{', start);
        if (brace >= 0 && (end < 0 || brace < end)) {
            const int close = connect.Find(L'}', brace);
            end = close < 0 ? -1 : connect.Find(L';', close);
        }
        if (end < 0) {
            end = connect.GetLength();
        }
        CString item = connect.Mid(start, end - start);
        CString key = item.Left(std::max(item.Find(L'='), 0));
        key.Trim().MakeLower();
        if (key != L"pwd" && key != L"password") {
            out += item + (end < connect.GetLength() ? L";" : L"");
        }
        start = end + 1;
    }
    return out;
}

Connection::Connection(const CString& connect, bool readOnly)
    : m_env(SQL_HANDLE_ENV, SQL_NULL_HANDLE, L"Cannot start the ODBC driver manager"),
      m_dbc(SQL_HANDLE_DBC, Odbc3(m_env), L"Cannot start an ODBC connection"),
      m_describe(odbc::Describe(connect)) {
    if (readOnly) {
        // A driver that does not know the setting keeps its own behaviour.
        SQLSetConnectAttrW(hdbc(), SQL_ATTR_ACCESS_MODE,
                           reinterpret_cast<SQLPOINTER>(SQL_MODE_READ_ONLY), 0);
    }
    std::u16string text = Wide(connect);
    m_dbc.Check(SQLDriverConnectW(hdbc(), nullptr, OdbcText(text), SQL_NTS, nullptr, 0, nullptr,
                                  SQL_DRIVER_NOPROMPT),
                L"Cannot open " + m_describe);
    m_connected = true;

    const CString dbms = InfoText(SQL_DBMS_NAME);
    m_mdbtools = dbms.CompareNoCase(L"MDBTOOLS") == 0;
    m_access = m_mdbtools || dbms.CompareNoCase(L"ACCESS") == 0;
    m_sqlite = dbms.CompareNoCase(L"SQLite") == 0;
    m_parameterLimit = ParameterLimit(dbms);
    const CString quote = InfoText(SQL_IDENTIFIER_QUOTE_CHAR);
    m_quote = quote.IsEmpty() || quote[0] == L' ' ? L'\0' : quote[0];
    SQLUSMALLINT value = 0;
    if (SQL_SUCCEEDED(SQLGetInfoW(hdbc(), SQL_TXN_CAPABLE, &value, sizeof value, nullptr))) {
        m_transactions = value == SQL_TC_ALL || value == SQL_TC_DDL_COMMIT;
    }
    if (SQL_SUCCEEDED(
            SQLGetInfoW(hdbc(), SQL_QUOTED_IDENTIFIER_CASE, &value, sizeof value, nullptr))) {
        m_namesIgnoreCase = value != SQL_IC_SENSITIVE;
    }
}

Connection::~Connection() {
    if (m_connected) {
        SQLDisconnect(hdbc());
    }
}

// The ANSI form, into a zeroed buffer of our own: mdbtools does not
// terminate what it writes, and the driver manager's wide form then reads
// past the end of its own copy. The texts asked for are plain ASCII names.
CString Connection::InfoText(SQLUSMALLINT info) {
    char text[256] = {};
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetInfo(hdbc(), info, text, sizeof text - 1, &length))) {
        return CString();
    }
    const size_t count =
        std::min<size_t>(static_cast<size_t>(std::max<SQLSMALLINT>(length, 0)), sizeof text - 1);
    return CString(std::string(text, std::find(text, text + count, '\0')).c_str());
}

size_t Connection::RowsPerInsert(size_t columns) const {
    if (m_parameterLimit == 0 || columns == 0) {
        return 1;
    }
    return std::clamp<size_t>(m_parameterLimit / columns, 1, kMaxRowsPerInsert);
}

// SQLite's driver compiles a statement once, when it is prepared, only when
// it takes it for a query (it begins with SELECT, PRAGMA or WITH); any other
// statement it compiles again at every execution, which costs more than
// inserting the rows. A WITH clause that nothing refers to leaves the INSERT
// as it is, and the driver keeps it compiled.
CString Connection::InsertInto(const CString& table) const {
    const CString insert = L"INSERT INTO " + Quote(table);
    return m_sqlite ? L"WITH unused AS (SELECT 1) " + insert : insert;
}

CString Connection::Quote(const CString& name) const {
    if (m_access) {
        CString escaped = name;
        escaped.Replace(L"]", L"]]");
        return L"[" + escaped + L"]";
    }
    if (m_quote == L'\0') {
        return name;
    }
    CString escaped = name;
    escaped.Replace(CString(m_quote), CString(m_quote, 2));
    return CString(m_quote) + escaped + m_quote;
}

CString Connection::TypeName(int tag) {
    if (m_access) {
        return AccessTypeName(tag);
    }
    LoadTypeNames();
    for (SQLSMALLINT type : PreferredTypes(tag)) {
        const auto found = m_typeNames.find(type);
        if (found != m_typeNames.end()) {
            return found->second;
        }
    }
    return AccessTypeName(tag);
}

// The first type name the driver lists for each SQL type. A type whose
// length must be given (the character types) gets its largest.
void Connection::LoadTypeNames() {
    if (m_typesLoaded) {
        return;
    }
    m_typesLoaded = true;
    const CString what = L"Cannot read the data types of " + m_describe;
    Statement types(*this);
    types.TypeInfo(what);
    std::wstring name;
    std::wstring params;
    while (types.Fetch(what)) {
        SQLSMALLINT type = 0;
        SQLINTEGER size = 0;
        if (!types.GetText(1, name, what) || !types.GetFixed(2, SQL_C_SSHORT, &type, 0, what) ||
            m_typeNames.count(type) != 0) {
            continue;
        }
        CString typeName(name);
        const bool sized = type == SQL_VARCHAR || type == SQL_WVARCHAR || type == SQL_CHAR ||
                           type == SQL_WCHAR || type == SQL_VARBINARY || type == SQL_BINARY;
        if (sized && types.GetText(6, params, what) && !params.empty() &&
            types.GetFixed(3, SQL_C_SLONG, &size, 0, what) && size > 0) {
            typeName.AppendFormat(L"(%d)", static_cast<int>(size));
        }
        m_typeNames.emplace(type, typeName);
    }
}

void Connection::BeginTransaction() {
    m_dbc.Check(SQLSetConnectAttrW(hdbc(), SQL_ATTR_AUTOCOMMIT,
                                   reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0),
                L"Cannot start a transaction on " + m_describe);
}

void Connection::EndTransaction(bool commit) {
    const SQLRETURN rc = SQLEndTran(SQL_HANDLE_DBC, hdbc(), commit ? SQL_COMMIT : SQL_ROLLBACK);
    SQLSetConnectAttrW(hdbc(), SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                       0);
    if (commit) {
        m_dbc.Check(rc, L"Cannot commit the changes to " + m_describe);
    }
}

void Connection::Execute(const CString& sql, const CString& what) {
    Statement statement(*this);
    statement.ExecDirect(sql, what);
}

}  // namespace korvan::odbc
