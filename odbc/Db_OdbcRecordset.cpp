// Record sets over ODBC: reading results into CDBVariants with the defences
// the drivers need, the table catalogue, and the batched writing of records.
#include "odbc/Db_OdbcRecordset.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

#include "platform/number_parse.h"

namespace korvan::odbc {
namespace {

// Binary columns by their declared name too: some drivers (SQLite's) report
// a column declared Binary(n) as long text.
bool IsBinaryColumn(const ColumnInfo& column) {
    switch (column.sqlType) {
        case SQL_BINARY:
        case SQL_VARBINARY:
        case SQL_LONGVARBINARY:
            return true;
        default:
            break;
    }
    CString name = column.typeName;
    name.MakeLower();
    return name.Find(L"binary") >= 0 || name.Find(L"blob") >= 0 || name.Find(L"bytea") >= 0 ||
           name == L"image";
}

// A number in text as the driver writes it (en-US digits, "." decimals).
bool ParseNumber(const std::wstring& text, double& value) {
    ParsedNumber number;
    return SUCCEEDED(number.Parse(text.c_str(), NumberSymbols{})) &&
           SUCCEEDED(number.ToDouble(value));
}

bool ParseInteger(const std::wstring& text, int64_t minimum, uint64_t maximum, int bits,
                  int64_t& value) {
    ParsedNumber number;
    uint64_t raw = 0;
    if (FAILED(number.Parse(text.c_str(), NumberSymbols{})) ||
        FAILED(number.ToInteger(minimum, maximum, bits, raw))) {
        return false;
    }
    value = bits == 64 ? static_cast<int64_t>(raw)
                       : static_cast<int64_t>(raw << (64 - bits)) >> (64 - bits);
    return true;
}

void SetText(CDBVariant& value, std::wstring text) {
    value.m_dwType = DBVT_WSTRING;
    value.m_pstring = new CString(std::move(text));
}

}  // namespace

int ReadTag(const ColumnInfo& column) {
    if (IsBinaryColumn(column)) {
        return DBACCESS_COLUMN::typeBinary;
    }
    switch (column.sqlType) {
        case SQL_BIT:
            return DBACCESS_COLUMN::typeInt;
        case SQL_TINYINT:
        case SQL_SMALLINT:
            return DBACCESS_COLUMN::typeShort;
        case SQL_INTEGER:
        case SQL_BIGINT:
            return DBACCESS_COLUMN::typeLong;
        case SQL_REAL:
            return DBACCESS_COLUMN::typeFloat;
        case SQL_FLOAT:
        case SQL_DOUBLE:
            return DBACCESS_COLUMN::typeDouble;
        default:
            return DBACCESS_COLUMN::typeString;
    }
}

void ZeroValue(const ColumnInfo& column, CDBVariant& value) {
    value.Clear();
    switch (column.sqlType) {
        case SQL_BIT:
            value.m_dwType = DBVT_BOOL;
            value.m_boolVal = 0;
            break;
        case SQL_TINYINT:
        case SQL_INTEGER:
        case SQL_SMALLINT:
            value.m_dwType = DBVT_SHORT;
            value.m_iVal = 0;
            break;
        case SQL_BIGINT:
            value.m_dwType = DBVT_LONG;
            value.m_lVal = 0;
            break;
        case SQL_REAL:
            value.m_dwType = DBVT_SINGLE;
            value.m_fltVal = 0;
            break;
        case SQL_FLOAT:
        case SQL_DOUBLE:
            value.m_dwType = DBVT_DOUBLE;
            value.m_dblVal = 0;
            break;
        case SQL_LONGVARCHAR:
        case SQL_VARCHAR:
            SetText(value, std::wstring());
            break;
        default:
            break;  // no value
    }
}

// ---------------------------------------------------------------------------
// CRecordset

CRecordset::CRecordset(Connection* database) : m_pDatabase(database) {}

CRecordset::~CRecordset() = default;

void CRecordset::Open(const CString& sql) {
    const CString text = sql.IsEmpty() ? GetDefaultSQL() : sql;
    if (m_what.IsEmpty()) {
        m_what = StringBuilder(L"Cannot run \"%s\" on %s", text.GetString(),
                               m_pDatabase->Describe().GetString());
    }
    auto statement = std::make_unique<Statement>(*m_pDatabase);
    statement->ExecDirect(text, m_what);
    Adopt(std::move(statement));
}

void CRecordset::Adopt(std::unique_ptr<Statement> statement) {
    m_statement = std::move(statement);
    const CString& what = m_what;
    const SQLSMALLINT count = m_statement->ColumnCount(what);
    m_columns.clear();
    m_tags.clear();
    for (SQLSMALLINT i = 1; i <= count; ++i) {
        m_columns.push_back(m_statement->Describe(static_cast<SQLUSMALLINT>(i), what));
        m_tags.push_back(ReadTag(m_columns.back()));
    }
    m_eof = count == 0 || !m_statement->Fetch(what);
}

void CRecordset::Close() {
    m_statement.reset();
    m_eof = true;
}

void CRecordset::MoveNext() {
    if (!m_eof) {
        m_eof = !m_statement->Fetch(m_what);
    }
}

// Numbers from mdbtools are read as text and parsed: any C type but the
// column's own (and text) comes back as raw bytes with SQL_SUCCESS there.
// Text that is no number of the column's kind stays text.
void CRecordset::GetFieldValue(short index, CDBVariant& value) {
    value.Clear();
    const auto column = static_cast<SQLUSMALLINT>(index + 1);
    const int tag = m_tags[static_cast<size_t>(index)];
    Statement& st = *m_statement;
    if (tag == DBACCESS_COLUMN::typeBinary) {
        auto binary = std::make_unique<CLongBinary>();
        if (st.GetBinary(column, binary->m_hData, m_what)) {
            binary->m_dwDataLength = static_cast<uint64_t>(binary->m_hData.GetSize());
            value.m_dwType = DBVT_BINARY;
            value.m_pbinary = binary.release();
        }
        return;
    }
    if (tag == DBACCESS_COLUMN::typeString || m_pDatabase->IsMdbTools()) {
        if (!st.GetText(column, m_text, m_what)) {
            return;
        }
        int64_t integer = 0;
        double real = 0;
        switch (tag) {
            case DBACCESS_COLUMN::typeInt:
                if (ParseInteger(m_text, -1, 1, 8, integer)) {
                    value.m_dwType = DBVT_BOOL;
                    value.m_boolVal = integer != 0;
                    return;
                }
                break;
            case DBACCESS_COLUMN::typeShort:
                if (ParseInteger(m_text, INT16_MIN, INT16_MAX, 16, integer)) {
                    value.m_dwType = DBVT_SHORT;
                    value.m_iVal = static_cast<SHORT>(integer);
                    return;
                }
                break;
            case DBACCESS_COLUMN::typeLong:
                if (ParseInteger(m_text, INT32_MIN, INT32_MAX, 32, integer)) {
                    value.m_dwType = DBVT_LONG;
                    value.m_lVal = static_cast<LONG>(integer);
                    return;
                }
                break;
            case DBACCESS_COLUMN::typeFloat:
            case DBACCESS_COLUMN::typeDouble:
                if (ParseNumber(m_text, real)) {
                    value.m_dwType = tag == DBACCESS_COLUMN::typeFloat ? DBVT_SINGLE : DBVT_DOUBLE;
                    if (tag == DBACCESS_COLUMN::typeFloat) {
                        value.m_fltVal = static_cast<float>(real);
                    } else {
                        value.m_dblVal = real;
                    }
                    return;
                }
                break;
            default:
                break;
        }
        SetText(value, m_text);
        return;
    }
    switch (tag) {
        case DBACCESS_COLUMN::typeInt: {
            unsigned char bit = 0;
            if (st.GetFixed(column, SQL_C_BIT, &bit, sizeof bit, m_what)) {
                value.m_dwType = DBVT_BOOL;
                value.m_boolVal = bit != 0;
            }
            return;
        }
        case DBACCESS_COLUMN::typeShort:
            if (st.GetFixed(column, SQL_C_SSHORT, &value.m_iVal, sizeof(SHORT), m_what)) {
                value.m_dwType = DBVT_SHORT;
            }
            return;
        case DBACCESS_COLUMN::typeLong: {
            // Big integers that do not fit 32 bits are kept as text.
            SQLBIGINT number = 0;
            if (st.GetFixed(column, SQL_C_SBIGINT, &number, sizeof number, m_what)) {
                if (number >= INT32_MIN && number <= INT32_MAX) {
                    value.m_dwType = DBVT_LONG;
                    value.m_lVal = static_cast<LONG>(number);
                } else {
                    SetText(value, std::to_wstring(number));
                }
            }
            return;
        }
        case DBACCESS_COLUMN::typeFloat:
            if (st.GetFixed(column, SQL_C_FLOAT, &value.m_fltVal, sizeof(float), m_what)) {
                value.m_dwType = DBVT_SINGLE;
            }
            return;
        default:
            if (st.GetFixed(column, SQL_C_DOUBLE, &value.m_dblVal, sizeof(double), m_what)) {
                value.m_dwType = DBVT_DOUBLE;
            }
            return;
    }
}

// ---------------------------------------------------------------------------
// CTables

void CTables::Open(const CString&) {
    m_what = L"Cannot list the tables of " + m_pDatabase->Describe();
    Close();
    auto statement = std::make_unique<Statement>(*m_pDatabase);
    m_systemTable = false;
    try {
        statement->Tables(m_what);
    } catch (CDBException* e) {
        if (e->m_strStateNativeOrigin.Find(L"State:IM001") != 0) {
            throw;
        }
        e->Delete();
        // The wide build of mdbtools' driver has no catalogue functions; its
        // own system table lists the user tables (flags 0) instead.
        statement = std::make_unique<Statement>(*m_pDatabase);
        statement->ExecDirect(L"SELECT Name, Type, Flags FROM [MSysObjects] WHERE Type = 1",
                              m_what);
        m_systemTable = true;
    }
    Adopt(std::move(statement));
    ReadMembers();
}

void CTables::MoveNextTable() {
    MoveNext();
    ReadMembers();
}

// Moves on to the first row that is a user table and reads it.
void CTables::ReadMembers() {
    CDBVariant value;
    auto text = [&](short column) {
        GetFieldValue(column, value);
        return value.m_dwType == DBVT_WSTRING ? *value.m_pstring : CString();
    };
    for (; !IsEOF(); MoveNext()) {
        if (m_systemTable) {
            table_name = text(0);
            table_type = L"TABLE";
            if (text(2) == L"0") {
                return;
            }
            continue;
        }
        table_type = text(3);
        // Drivers that ignore the type filter (mdbtools) list system tables
        // and views too.
        if (table_type != L"TABLE") {
            continue;
        }
        table_qualifier = text(0);
        table_owner = text(1);
        table_name = text(2);
        remarks = GetODBCFieldCount() > 4 ? text(4) : CString();
        return;
    }
}

// ---------------------------------------------------------------------------
// Writing records

namespace {

constexpr size_t kBatchRows = 512;

double NumberOf(const DBACCESS_COLUMN& column) {
    switch (column.type) {
        case DBACCESS_COLUMN::typeInt:
            return column.intValue;
        case DBACCESS_COLUMN::typeShort:
            return column.shortValue;
        case DBACCESS_COLUMN::typeLong:
            return column.longValue;
        case DBACCESS_COLUMN::typeFloat:
            return column.floatValue;
        case DBACCESS_COLUMN::typeDouble:
            return column.doubleValue;
        case DBACCESS_COLUMN::typeString: {
            double value = 0;
            return ParseNumber(column.stringValue.str(), value) ? value : 0;
        }
        default:
            return 0;
    }
}

CString TextOf(const DBACCESS_COLUMN& column) {
    switch (column.type) {
        case DBACCESS_COLUMN::typeString:
            return column.stringValue;
        case DBACCESS_COLUMN::typeFloat:
        case DBACCESS_COLUMN::typeDouble:
            return StringBuilder(L"%.17g", NumberOf(column));
        case DBACCESS_COLUMN::typeInt:
        case DBACCESS_COLUMN::typeShort:
        case DBACCESS_COLUMN::typeLong:
            return StringBuilder(L"%.0f", NumberOf(column));
        default:
            return CString();
    }
}

// The C and SQL types a tag's values are sent as.
struct ParamType {
    SQLSMALLINT cType;
    SQLSMALLINT sqlType;
    size_t width;  // bytes of one fixed value; 0 for texts and binary values
};

ParamType ParamTypeOf(int tag) {
    switch (tag) {
        case DBACCESS_COLUMN::typeInt:
            return {SQL_C_BIT, SQL_BIT, 1};
        case DBACCESS_COLUMN::typeShort:
            return {SQL_C_SSHORT, SQL_SMALLINT, sizeof(SHORT)};
        case DBACCESS_COLUMN::typeLong:
            return {SQL_C_SLONG, SQL_INTEGER, sizeof(LONG)};
        case DBACCESS_COLUMN::typeFloat:
            return {SQL_C_FLOAT, SQL_REAL, sizeof(float)};
        case DBACCESS_COLUMN::typeDouble:
            return {SQL_C_DOUBLE, SQL_DOUBLE, sizeof(double)};
        case DBACCESS_COLUMN::typeBinary:
            return {SQL_C_BINARY, SQL_LONGVARBINARY, 0};
        default:
            return {SQL_C_WCHAR, SQL_WVARCHAR, 0};
    }
}

bool IsBound(int tag) {
    switch (tag) {
        case DBACCESS_COLUMN::typeInt:
        case DBACCESS_COLUMN::typeShort:
        case DBACCESS_COLUMN::typeLong:
        case DBACCESS_COLUMN::typeFloat:
        case DBACCESS_COLUMN::typeDouble:
        case DBACCESS_COLUMN::typeBinary:
        case DBACCESS_COLUMN::typeString:
            return true;
        default:
            return false;
    }
}

}  // namespace

// The INSERTs of the layout's bound columns. Rows are collected column by
// column, a batch at a time. Where the DBMS takes several value lists in one
// INSERT, a batch is one statement with a value list per row, prepared once
// for full batches and once for the rows left at the end: one execution per
// batch instead of one per row, each of which costs the driver its own work
// (and PostgreSQL a round trip to the server). Elsewhere a batch is one value
// list sent as parameter arrays where the driver takes them, or one row per
// execution. Every batch binds its parameters anew: SQLite's driver keeps the
// first length it saw of a bound binary parameter.
class DBACCESS_RECORDSET::Writer {
  public:
    Writer(Connection& connection, const CString& table, const DBACCESS_RECORD& layout)
        : m_connection(connection),
          m_insertInto(connection.InsertInto(table)),
          m_what(StringBuilder(L"Cannot write table '%s' to %s", table.GetString(),
                               connection.Describe().GetString())) {
        for (size_t i = 0; i < layout.size(); ++i) {
            const DBACCESS_COLUMN& column = layout.columns[i];
            if (!IsBound(column.type)) {
                continue;
            }
            m_columns.push_back({i, column.type, ParamTypeOf(column.type), {}, {}, {}});
            m_names += (m_names.IsEmpty() ? L"" : L", ") + connection.Quote(column.name);
        }
        m_batch = connection.RowsPerInsert(m_columns.size());
        m_multiRow = m_batch > 1;
        if (!m_multiRow) {
            Statement& insert = Insert(1);
            // Binary values of different lengths need a binding of their own
            // per row where the driver latches the length.
            const bool binary =
                std::any_of(m_columns.begin(), m_columns.end(),
                            [](const Column& c) { return c.tag == DBACCESS_COLUMN::typeBinary; });
            m_batch = (binary && connection.LatchesBinaryLength()) || !ArrayBinding(insert)
                          ? 1
                          : kBatchRows;
        }
    }

    void Add(const DBACCESS_RECORD& record) {
        for (Column& column : m_columns) {
            Append(column, column.index < record.size() ? &record.columns[column.index] : nullptr);
        }
        if (++m_rows == m_batch) {
            Flush();
        }
    }

    void Flush() {
        if (m_rows == 0 || m_columns.empty()) {
            m_rows = 0;
            return;
        }
        const size_t lists = m_multiRow ? m_rows : 1;
        Statement& insert = Insert(lists);
        if (m_batch > 1 && !m_multiRow) {
            insert.handle().Check(SQLSetStmtAttr(insert.get(), SQL_ATTR_PARAMSET_SIZE,
                                                 reinterpret_cast<SQLPOINTER>(m_rows), 0),
                                  m_what);
        }
        for (Column& column : m_columns) {
            LayOut(column);
        }
        SQLUSMALLINT number = 0;
        for (size_t row = 0; row < lists; ++row) {
            for (Column& column : m_columns) {
                Bind(insert, ++number, column, row);
            }
        }
        insert.Execute(m_what);
        for (Column& column : m_columns) {
            column.fixed.clear();
            column.lengths.clear();
            column.variable.clear();
        }
        m_rows = 0;
    }

  private:
    struct Column {
        size_t index;  // in the layout and in every record
        int tag;
        ParamType type;
        std::vector<BYTE> fixed;      // m_rows values in slots of slot bytes
        std::vector<SQLLEN> lengths;  // byte counts, or SQL_NULL_DATA
        std::vector<BYTE> variable;   // texts (UTF-16) and binary values, one after another
        size_t slot = 0;              // bytes per value in fixed
        SQLULEN size = 0;             // the column size the values are bound with
    };

    // The INSERT with the given number of value lists, prepared when first
    // needed.
    Statement& Insert(size_t lists) {
        const auto found = m_inserts.find(lists);
        if (found != m_inserts.end()) {
            return *found->second;
        }
        CString marks;
        for (size_t i = 0; i < m_columns.size(); ++i) {
            marks += i == 0 ? L"?" : L", ?";
        }
        CString values;
        for (size_t row = 0; row < lists; ++row) {
            values += (row == 0 ? L"(" : L", (") + marks + L")";
        }
        auto insert = std::make_unique<Statement>(m_connection);
        insert->Prepare(StringBuilder(L"%s (%s) VALUES %s", m_insertInto.GetString(),
                                      m_names.GetString(), values.GetString()),
                        m_what);
        return *m_inserts.emplace(lists, std::move(insert)).first->second;
    }

    // Whether the driver takes parameter arrays: it must accept the array
    // size and report it back.
    static bool ArrayBinding(const Statement& insert) {
        const SQLHSTMT h = insert.get();
        if (!SQL_SUCCEEDED(SQLSetStmtAttr(h, SQL_ATTR_PARAM_BIND_TYPE,
                                          reinterpret_cast<SQLPOINTER>(SQL_PARAM_BIND_BY_COLUMN),
                                          0)) ||
            !SQL_SUCCEEDED(SQLSetStmtAttr(h, SQL_ATTR_PARAMSET_SIZE,
                                          reinterpret_cast<SQLPOINTER>(kBatchRows), 0))) {
            return false;
        }
        SQLULEN size = 0;
        const bool taken =
            SQL_SUCCEEDED(SQLGetStmtAttr(h, SQL_ATTR_PARAMSET_SIZE, &size, 0, nullptr)) &&
            size == kBatchRows;
        SQLSetStmtAttr(h, SQL_ATTR_PARAMSET_SIZE, reinterpret_cast<SQLPOINTER>(1), 0);
        return taken;
    }

    // The value of a record's column as the layout's tag wants it.
    static void Append(Column& column, const DBACCESS_COLUMN* value) {
        if (value == nullptr || value->IsNull()) {
            column.lengths.push_back(SQL_NULL_DATA);
            column.fixed.resize(column.fixed.size() + column.type.width);
            return;
        }
        const bool same = value->type == column.tag;
        BYTE bytes[sizeof(double)] = {};
        switch (column.tag) {
            case DBACCESS_COLUMN::typeInt:
                bytes[0] = (same ? value->intValue : NumberOf(*value)) != 0 ? 1 : 0;
                break;
            case DBACCESS_COLUMN::typeShort: {
                const auto v = same ? value->shortValue : static_cast<SHORT>(NumberOf(*value));
                std::memcpy(bytes, &v, sizeof v);
                break;
            }
            case DBACCESS_COLUMN::typeLong: {
                const auto v = same ? value->longValue : static_cast<LONG>(NumberOf(*value));
                std::memcpy(bytes, &v, sizeof v);
                break;
            }
            case DBACCESS_COLUMN::typeFloat: {
                const auto v = same ? value->floatValue : static_cast<float>(NumberOf(*value));
                std::memcpy(bytes, &v, sizeof v);
                break;
            }
            case DBACCESS_COLUMN::typeDouble: {
                const double v = same ? value->doubleValue : NumberOf(*value);
                std::memcpy(bytes, &v, sizeof v);
                break;
            }
            case DBACCESS_COLUMN::typeBinary: {
                const CByteArray& data = value->binaryValue;
                const int64_t count = same ? data.GetSize() : 0;
                column.variable.insert(column.variable.end(), data.GetData(),
                                       data.GetData() + count);
                column.lengths.push_back(static_cast<SQLLEN>(count));
                return;
            }
            default: {
                const std::u16string text = Wide(same ? value->stringValue : TextOf(*value));
                const auto* units = reinterpret_cast<const BYTE*>(text.data());
                column.variable.insert(column.variable.end(), units,
                                       units + text.size() * sizeof(char16_t));
                column.lengths.push_back(static_cast<SQLLEN>(text.size() * sizeof(char16_t)));
                return;
            }
        }
        column.fixed.insert(column.fixed.end(), bytes, bytes + column.type.width);
        column.lengths.push_back(static_cast<SQLLEN>(column.type.width));
    }

    // Fixed values stay where they lie; texts and binary values are laid out
    // in slots of the batch's longest value, which live until the next
    // batch.
    void LayOut(Column& column) const {
        column.slot = column.type.width;
        if (column.type.width != 0) {
            return;
        }
        size_t longest = 0;
        for (SQLLEN length : column.lengths) {
            longest = std::max(longest, static_cast<size_t>(std::max<SQLLEN>(length, 0)));
        }
        const size_t terminator = column.tag == DBACCESS_COLUMN::typeBinary ? 0 : 2;
        column.slot = std::max<size_t>(longest + terminator, 2);
        // A text or binary column has no fixed values: its slots go there.
        column.fixed.assign(column.slot * m_rows, 0);
        size_t at = 0;
        for (size_t r = 0; r < m_rows; ++r) {
            const auto length = static_cast<size_t>(std::max<SQLLEN>(column.lengths[r], 0));
            std::copy_n(column.variable.begin() + static_cast<std::ptrdiff_t>(at), length,
                        column.fixed.begin() + static_cast<std::ptrdiff_t>(r * column.slot));
            at += length;
        }
        column.size =
            std::max<SQLULEN>(column.tag == DBACCESS_COLUMN::typeBinary ? longest : longest / 2, 1);
    }

    // Binds parameter number to the column's values from row on: the one
    // value of that row in a value list of its own, or the array of the
    // batch's values.
    void Bind(const Statement& insert, SQLUSMALLINT number, Column& column, size_t row) const {
        insert.handle().Check(
            SQLBindParameter(insert.get(), number, SQL_PARAM_INPUT, column.type.cType,
                             column.type.sqlType, column.size, 0,
                             column.fixed.data() + row * column.slot,
                             static_cast<SQLLEN>(column.slot), column.lengths.data() + row),
            m_what);
    }

    Connection& m_connection;
    CString m_insertInto;  // "INSERT INTO <table>" as the driver wants it
    CString m_names;       // the bound columns' quoted names
    CString m_what;
    std::vector<Column> m_columns;
    std::map<size_t, std::unique_ptr<Statement>> m_inserts;  // by their number of value lists
    bool m_multiRow = false;
    size_t m_batch = 1;
    size_t m_rows = 0;
};

// ---------------------------------------------------------------------------
// DBACCESS_RECORDSET and VostOdbcRecordset

DBACCESS_RECORDSET::DBACCESS_RECORDSET(Connection* database, const DBACCESS_RECORD& layout)
    : CRecordset(database), DBACCESS_RECORD(layout), m_layout(layout) {}

DBACCESS_RECORDSET::~DBACCESS_RECORDSET() = default;

void DBACCESS_RECORDSET::ReadRow() {
    columns.resize(static_cast<size_t>(GetODBCFieldCount()));
    CDBVariant value;
    for (short i = 0; i < GetODBCFieldCount(); ++i) {
        DBACCESS_COLUMN& column = columns[static_cast<size_t>(i)];
        column = DBACCESS_COLUMN(GetODBCFieldInfo(i).name);
        GetFieldValue(i, value);
        column.Set(value);
    }
}

void DBACCESS_RECORDSET::AddNew(const CString& table) {
    if (!m_writer) {
        m_writer = std::make_unique<Writer>(*m_pDatabase, table, m_layout);
    }
}

void DBACCESS_RECORDSET::Update() {
    m_writer->Add(*this);
}

void DBACCESS_RECORDSET::Update(const DBACCESS_RECORD& record) {
    m_writer->Add(record);
}

void DBACCESS_RECORDSET::Flush() {
    if (m_writer) {
        m_writer->Flush();
    }
}

void DBACCESS_RECORDSET::Close() {
    Flush();
    m_writer.reset();
    CRecordset::Close();
}

void VostOdbcRecordset::DeleteAll() {
    m_pDatabase->Execute(L"DELETE FROM " + m_pDatabase->Quote(m_table),
                         StringBuilder(L"Cannot empty table '%s' of %s", m_table.GetString(),
                                       m_pDatabase->Describe().GetString()));
}

}  // namespace korvan::odbc
