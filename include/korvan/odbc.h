// korvan/odbc.h - the ODBC access layer: whole tables as plain value records,
// their transfer to and from databases reached through ODBC, and the table of
// language mappings used when catalogue texts are converted.
//
// DBACCESS_COLUMN is one typed value with its column name, DBACCESS_RECORD one
// row, DBACCESS_VECTOR one table and DBACCESS_ALL a whole database. DBACCESS
// opens a database through the ODBC driver manager (by default an Access file
// through the driver "Microsoft Access Driver (*.mdb)"; any ODBC connection
// string can be given instead), lists its user tables, reads a table into a
// DBACCESS_VECTOR and replaces a table's contents from one.
//
// Driver failures are thrown as CDBException* (created with new, deleted by
// the catcher with Delete()), carrying the SQLSTATE, the driver's native code
// and its own message, and naming the connection or table concerned.
//
// Threads: one thread at a time. DBACCESS::m_forceExtractTableDefiniton, the
// shared fallback columns of DBACCESS_RECORD::find and the stack of active
// languages are process-wide and unsynchronised.
#pragma once

#include <korvan/platform.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

// ---------------------------------------------------------------------------
// The values a driver hands over, with the kind numbers of MFC's CDBVariant.

constexpr DWORD DBVT_NULL = 0;
constexpr DWORD DBVT_BOOL = 1;
constexpr DWORD DBVT_UCHAR = 2;
constexpr DWORD DBVT_SHORT = 3;
constexpr DWORD DBVT_LONG = 4;
constexpr DWORD DBVT_SINGLE = 5;
constexpr DWORD DBVT_DOUBLE = 6;
constexpr DWORD DBVT_DATE = 7;
constexpr DWORD DBVT_STRING = 8;
constexpr DWORD DBVT_BINARY = 9;
constexpr DWORD DBVT_ASTRING = 10;
constexpr DWORD DBVT_WSTRING = 11;

// A date and time as ODBC gives it.
struct CDBTimestamp {
    SHORT year = 0;
    USHORT month = 0;
    USHORT day = 0;
    USHORT hour = 0;
    USHORT minute = 0;
    USHORT second = 0;
    ULONG fraction = 0;  // nanoseconds
};

// The memory block of a binary value: m_dwDataLength bytes of m_hData count.
class KORVAN_API CLongBinary {
  public:
    CByteArray m_hData;
    uint64_t m_dwDataLength = 0;
};

// One value of a result column. The variant owns what its pointers point at.
class KORVAN_API CDBVariant {
  public:
    CDBVariant();
    ~CDBVariant();
    CDBVariant(const CDBVariant&) = delete;
    CDBVariant& operator=(const CDBVariant&) = delete;

    // Frees what the value owns and makes it DBVT_NULL.
    void Clear();

    DWORD m_dwType;
    union {
        int m_boolVal;
        unsigned char m_chVal;
        SHORT m_iVal;
        LONG m_lVal;
        float m_fltVal;
        double m_dblVal;
        CDBTimestamp* m_pdate;
        CString* m_pstring;
        CLongBinary* m_pbinary;
        std::string* m_pstringA;  // UTF-8
        CString* m_pstringW;
    };
};

// A failure reported by the driver manager or a driver.
class KORVAN_API CDBException : public CException {
  public:
    CDBException(SHORT retCode, CString error, CString stateNativeOrigin);
    ~CDBException() override;

    // The whole of m_strError.
    int GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                        unsigned int* helpContext = nullptr) const override;

    SHORT m_nRetCode;  // the ODBC return code of the failed call
    // What failed, with every diagnostic record: "[SQLSTATE] (native n) text".
    CString m_strError;
    // The first record's "State:SQLSTATE,Native:n,Origin:" form, as MFC has it.
    CString m_strStateNativeOrigin;
};

// ---------------------------------------------------------------------------
// Access records.

// One value with its column name. The tag (type) says which slot holds the
// value: 0 none, 1 intValue (integers and booleans), 3 shortValue, 4
// longValue, 6 floatValue, 7 doubleValue, 9 binaryValue, 10 stringValue.
class KORVAN_API DBACCESS_COLUMN {
  public:
    enum eType {
        typeNone = 0,
        typeInt = 1,
        typeShort = 3,
        typeLong = 4,
        typeFloat = 6,
        typeDouble = 7,
        typeBinary = 9,
        typeString = 10,
    };

    DBACCESS_COLUMN();
    explicit DBACCESS_COLUMN(const wchar_t* columnName);
    DBACCESS_COLUMN(const DBACCESS_COLUMN&) = default;
    DBACCESS_COLUMN& operator=(const DBACCESS_COLUMN&) = default;

    // Each sets its slot and the tag; the other slots stay as they were.
    DBACCESS_COLUMN& operator=(int value);    // tag 1
    DBACCESS_COLUMN& operator=(bool value);   // tag 1, 0 or 1
    DBACCESS_COLUMN& operator=(long value);   // tag 4, 32 bits kept
    DBACCESS_COLUMN& operator=(float value);  // tag 6
    DBACCESS_COLUMN& operator=(double value);
    DBACCESS_COLUMN& operator=(const CString& value);  // tag 10
    DBACCESS_COLUMN& operator=(const wchar_t* value);  // tag 10; null gives ""
    DBACCESS_COLUMN& operator=(const CByteArray& value);

    // By the variant's kind: null gives tag 10 with "" (and IsNull), bool
    // tag 1, short 3, long 4, single 6, double 7, any string 10, binary 9
    // (a binary kind without a block leaves the column as it was); unsigned
    // char, date and anything else tag 0.
    void Set(const CDBVariant& value);

    // Every slot but the binary one, the tag and the name, case-sensitively.
    bool operator==(const DBACCESS_COLUMN& other) const;
    bool operator!=(const DBACCESS_COLUMN& other) const { return !(*this == other); }
    // The slot of this column's tag only; false for tags 0 and 9.
    bool equal(const DBACCESS_COLUMN& other) const;
    // The slot of this column's tag: numbers by value, texts by Compare;
    // false for tags 0 and 9.
    bool operator<(const DBACCESS_COLUMN& other) const;
    // Neither == nor <. Since == also compares the names, equal values under
    // different names are "greater".
    bool operator>(const DBACCESS_COLUMN& other) const;

    // A fixed size figure of the class.
    static long SIZE() { return 80; }

    // Whether the value came from an SQL NULL. The column then holds what the
    // tag table gives a null (tag 10, ""), so it reads as an empty text; the
    // mark lets copies into a database and writes through ODBC keep the NULL.
    // Assigning a value clears it.
    bool IsNull() const { return m_null; }
    void SetNull(bool null) { m_null = null; }

    LONG longValue;
    double doubleValue;
    SHORT shortValue;
    float floatValue;
    CString stringValue;
    int32_t intValue;
    int32_t type;
    CString name;  // may carry a table prefix: "T1.Price"
    CByteArray binaryValue;

  private:
    bool m_null = false;
};

// Named double parameters.
class KORVAN_API IDbParamValues {
  public:
    IDbParamValues() = default;
    IDbParamValues(const IDbParamValues&) = default;
    IDbParamValues& operator=(const IDbParamValues&) = default;
    virtual ~IDbParamValues();
    virtual IDbParamValues& SetParam(const wchar_t* name, double value) = 0;
    virtual bool GetParam(const wchar_t* name, double& value) const = 0;
};

// One row: its columns in order. A name lookup matches a column named exactly
// so (case-sensitively) or one whose tail after a "." is: "A.B.C" is tried
// as "A.B.C", "B.C" and "C".
class KORVAN_API DBACCESS_RECORD : public IDbParamValues {
  public:
    DBACCESS_RECORD() = default;
    DBACCESS_RECORD(const DBACCESS_RECORD&) = default;
    DBACCESS_RECORD& operator=(const DBACCESS_RECORD&) = default;
    ~DBACCESS_RECORD() override;

    // The first matching column's index; -1 when none matches.
    int findIdx(const wchar_t* name) const;
    // The first matching column; when none matches, one shared empty column
    // (one for each form, process-wide). Writes through the non-const
    // fallback are seen by every later failed lookup.
    DBACCESS_COLUMN& find(const wchar_t* name);
    const DBACCESS_COLUMN& find(const wchar_t* name) const;
    // REQUIRES: i below size() (no check).
    DBACCESS_COLUMN& operator[](int i) { return columns[static_cast<size_t>(i)]; }
    const DBACCESS_COLUMN& operator[](int i) const { return columns[static_cast<size_t>(i)]; }
    // Appends an empty column of that name first when none matches.
    DBACCESS_COLUMN& operator[](const wchar_t* name);

    // The slot as it is, whatever the tag; a missing column gives the shared
    // empty column's value.
    const CByteArray& GetBinary(const wchar_t* name) const;
    int GetBool(const wchar_t* name) const;  // intValue
    // The short slot widened without sign, not intValue.
    int GetInt(const wchar_t* name) const;
    LONG GetLong(const wchar_t* name) const;
    float GetFloat(const wchar_t* name) const;
    double GetDouble(const wchar_t* name) const;
    CString GetString(const wchar_t* name) const;
    // floatValue of name, else of altName, else 0.
    float GetFloatEx(const wchar_t* name, const wchar_t* altName) const;

    // False when no column matches; else value = doubleValue, whatever the tag.
    bool GetParam(const wchar_t* name, double& value) const override;
    // Appends a column of that name when none matches; sets tag 7 and value.
    IDbParamValues& SetParam(const wchar_t* name, double value) override;

    void GetData(DBACCESS_RECORD& out) const { out = *this; }
    void SetData(const DBACCESS_RECORD& in) { *this = in; }

    // Column by column over other's columns (this record must have at least
    // as many); the counts are not compared.
    bool operator==(const DBACCESS_RECORD& other) const;
    bool operator!=(const DBACCESS_RECORD& other) const { return !(*this == other); }
    bool IsEqual(const DBACCESS_RECORD& other) const { return other == *this; }

    // The order of records on key columns: the first key whose columns are
    // not == decides, by <.
    static bool Less(const DBACCESS_RECORD& a, const DBACCESS_RECORD& b,
                     const std::vector<int>& keys);

    size_t size() const { return columns.size(); }
    bool empty() const { return columns.empty(); }
    void resize(size_t count) { columns.resize(count); }
    void push_back(const DBACCESS_COLUMN& column) { columns.push_back(column); }
    void clear() { columns.clear(); }
    std::vector<DBACCESS_COLUMN>::iterator begin() { return columns.begin(); }
    std::vector<DBACCESS_COLUMN>::iterator end() { return columns.end(); }
    std::vector<DBACCESS_COLUMN>::const_iterator begin() const { return columns.begin(); }
    std::vector<DBACCESS_COLUMN>::const_iterator end() const { return columns.end(); }

    std::vector<DBACCESS_COLUMN> columns;
};

// One table: its records, whether it was read as an empty table (then a
// single record, if any, only defines the columns), and notes on how it was
// read.
class KORVAN_API DBACCESS_VECTOR {
  public:
    DBACCESS_VECTOR() = default;
    DBACCESS_VECTOR(const DBACCESS_VECTOR&) = default;
    DBACCESS_VECTOR& operator=(const DBACCESS_VECTOR&) = default;

    size_t size() const { return records.size(); }
    bool empty() const { return records.empty(); }
    void resize(size_t count) { records.resize(count); }
    void push_back(const DBACCESS_RECORD& record) { records.push_back(record); }
    void clear() { records.clear(); }
    DBACCESS_RECORD& operator[](size_t i) { return records[i]; }
    const DBACCESS_RECORD& operator[](size_t i) const { return records[i]; }
    std::vector<DBACCESS_RECORD>::iterator begin() { return records.begin(); }
    std::vector<DBACCESS_RECORD>::iterator end() { return records.end(); }
    std::vector<DBACCESS_RECORD>::const_iterator begin() const { return records.begin(); }
    std::vector<DBACCESS_RECORD>::const_iterator end() const { return records.end(); }

    std::vector<DBACCESS_RECORD> records;
    bool emptyTable = false;
    std::vector<CString> messages;
};

// A whole database: (table name, table) pairs in order.
class KORVAN_API DBACCESS_ALL {
  public:
    typedef std::pair<CString, DBACCESS_VECTOR> value_type;

    DBACCESS_ALL() = default;
    DBACCESS_ALL(const DBACCESS_ALL&) = default;
    DBACCESS_ALL& operator=(const DBACCESS_ALL&) = default;

    size_t size() const { return tables.size(); }
    bool empty() const { return tables.empty(); }
    void push_back(const value_type& table) { tables.push_back(table); }
    void clear() { tables.clear(); }
    value_type& operator[](size_t i) { return tables[i]; }
    const value_type& operator[](size_t i) const { return tables[i]; }
    std::vector<value_type>::iterator begin() { return tables.begin(); }
    std::vector<value_type>::iterator end() { return tables.end(); }
    std::vector<value_type>::const_iterator begin() const { return tables.begin(); }
    std::vector<value_type>::const_iterator end() const { return tables.end(); }

    std::vector<value_type> tables;
};

// ---------------------------------------------------------------------------
// ODBC database access.

namespace korvan::odbc {
class Connection;
}

// Whole tables moved between a database reached through ODBC and access
// records.
//
// The connection text is the Access template "DBQ=%s;Driver={Microsoft Access
// Driver (*.mdb)}" with the path in place of %s, unless a connection text of
// the caller's own is given: a template with %s (the path goes there) or a
// complete ODBC connection string. Names are quoted and columns typed as the
// driver wants: for Access drivers with brackets and Access type names, for
// any other driver with its SQL_IDENTIFIER_QUOTE_CHAR and the type names of
// its SQLGetTypeInfo.
class KORVAN_API DBACCESS {
  public:
    // Open options, with the values of MFC's CDatabase.
    enum OpenOptions {
        openExclusive = 0x01,
        openReadOnly = 0x02,
        useCursorLib = 0x04,
        noOdbcDialog = 0x08,
        forceOdbcDialog = 0x10,
    };

    // Read the definition of an empty table as one record of typed zero
    // values (default false).
    static bool m_forceExtractTableDefiniton;
    // The Access template.
    static const wchar_t* const AccessConnection;

    // Connect with the options (read-only and no dialog by default). A
    // connection that fails throws CDBException* naming the driver, the file
    // and the driver's message.
    explicit DBACCESS(const wchar_t* path);
    DBACCESS(const wchar_t* path, unsigned long options);
    DBACCESS(const wchar_t* path, unsigned long options, const wchar_t* connection);
    virtual ~DBACCESS();
    DBACCESS(const DBACCESS&) = delete;
    DBACCESS& operator=(const DBACCESS&) = delete;

    // The connection text for path: connection with %s replaced by path, or
    // connection itself when it has no %s.
    static CString ConnectionText(const wchar_t* path, const wchar_t* connection);

    void Close();
    bool IsOpen() const;
    // The connection text in use (without its password).
    CString GetConnect() const;

    // The user tables, in catalogue order; false on a driver failure.
    bool GetTables(std::vector<CString>& names);
    // The table's row count.
    int GetRecordsetsNumber(CString table);
    // The table's columns (name and tag of each, typed zero values); false
    // when there is no such table.
    bool GetRecordset(CString table, DBACCESS_RECORD& layout);
    // The table's rows. An empty table sets out.emptyTable and gives no
    // record, or with m_forceExtractTableDefiniton one record of typed zero
    // values that only defines the columns.
    bool GetTableData(CString table, DBACCESS_VECTOR& out);
    // Replaces the table's rows by data's, creating the table from data's
    // first record when it does not exist (false when there is none, or it
    // has no column). Where the driver has transactions all of it is one:
    // a failure (thrown) leaves the target as it was.
    bool SetTableData(CString table, const DBACCESS_VECTOR& data);

  private:
    CString m_connect;
    std::unique_ptr<korvan::odbc::Connection> m_database;
};

// ---------------------------------------------------------------------------
// Language mappings.

// The fixed table tying each language key (also the C runtime locale name
// under which that language's texts are converted) to the names its material
// is found under: the three-digit language number, then its description
// column names, all lower case. One static instance, never changed.
class KORVAN_API LangMappings {
  public:
    struct Entry {
        int kind = 1;
        CString key;
        std::vector<CString> names;  // lower case
    };

    LangMappings();
    virtual ~LangMappings();
    LangMappings(const LangMappings&) = delete;
    LangMappings& operator=(const LangMappings&) = delete;

    static const LangMappings& Instance();

    // Key "C", no names.
    const Entry& GetDefault() const { return m_default; }
    // english, french, spanish, portuguese, italian, romanian, polish, russian.
    const std::vector<Entry>& GetLanguages() const { return m_languages; }
    // The language entry of a key (case-sensitive); null when none.
    const Entry* Find(const wchar_t* key) const;
    // The first language entry one of whose names is name, without regard to
    // case; null when none.
    const Entry* FindByName(const wchar_t* name) const;

    // The stack of active languages. Texts are converted under the entry on
    // top; the default entry when the stack is empty.
    static void Push(const Entry& entry);
    static void Pop();
    static const Entry& Active();

    // The text as a new BSTR, built under the active language's character
    // type locale (LC_CTYPE); the locale is "C" again afterwards.
    static BSTR Convert(const wchar_t* text);

    // Pushes an entry for the lifetime of the scope.
    class KORVAN_API Scope {
      public:
        explicit Scope(const Entry& entry) { Push(entry); }
        ~Scope() { Pop(); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
    };

  private:
    Entry m_default;
    std::vector<Entry> m_languages;
};
