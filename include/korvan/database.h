// korvan/database.h - the database object with its registry of tables and
// queries, and the data source file it is read from.
//
// A DbDatabase owns its DbSource, every registry entry, and the descriptor and
// data of every table and query. It reads its file in stages on demand (the
// two header tables, then the body structure, then table data: all at once,
// or one table at a time for a sequential XML source) and writes the whole
// database back on Save, or from the destructor when something changed.
// Reading never counts as a change.
//
// Soft refusals and progress are appended to the database's message log
// (GetErrorLog); malformed files and unreadable sources throw DbException*.
// Threads: one at a time; the static counters and settings are process-wide
// and unsynchronised.
#pragma once

#include <korvan/model.h>
#include <korvan/odbc.h>
#include <korvan/query.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class DbDatabase;

namespace korvan {
class TableXml;
}

// One registry entry: a table or a query answer.
class KORVAN_API DbTableInfo {
  public:
    enum eType { TABLE = 1, QUERY = 2 };

    DbTableInfo() = default;
    DbTableInfo(const CString& name, eType type, uint64_t index, const CString& sql,
                DbTableDescr* descr, DbTableData* data, DbTableInfo* related);

    // Clears the descriptor, then the data.
    void Clear();
    // A QUERY is in sync when the change id recorded for it equals the current
    // change id of the TABLE data it was computed from (through any chain of
    // queries); anything else is always in sync.
    bool IsQuerySync() const;
    // True when other is reached by following the related links of this
    // QUERY through queries.
    bool IsRelatedWith(const DbTableInfo* other) const;

    eType type = TABLE;
    uint64_t index = 0;  // position in the database's descriptor and data vectors
    CString sql;         // the query text; empty for a TABLE
    CString name;        // as the caller spelled it
    DbTableDescr* descr = nullptr;
    DbTableData* data = nullptr;
    DbTableInfo* related = nullptr;  // for a QUERY, the entry it was computed from
    LONG syncId = 0;                 // for a QUERY, the source's change id when computed
};

// The file a database comes from: classified by extension as XML (kind 1) or
// mdb (kind 2), checked, and for sequential XML reading handed out one element
// at a time from fixed-size chunks.
class KORVAN_API DbSource {
  public:
    // An ".mdb" name opens the ".xml" file of the same base name (default true).
    static bool ForceXML;
    // Bytes per read of the streaming reader (default 16384).
    static int MaxBufferSize;

    explicit DbSource(DbDatabase* db);
    // Throws DbException "Invalid source file '%s'" when the file does not open.
    DbSource(DbDatabase* db, const CString& file);
    DbSource(const DbSource& other);
    DbSource& operator=(const DbSource& other);
    virtual ~DbSource();

    // Resets the stream, classifies the name, clears the owning database and
    // checks the file (throws when it cannot be read; marks it read only when
    // it cannot be written).
    void SetFile(const CString& file, bool readOnly);
    // Starts a new file: classification without any check.
    void Create(const CString& file);

    bool IsXmlBased() const { return m_kind == 1; }
    bool IsMdbBased() const { return m_kind == 2; }
    bool IsReadOnly() const { return m_readOnly; }
    bool IsSequentialAccess() const { return m_sequential; }
    bool IsEof() const { return m_eof; }
    bool IsValid() const { return m_valid; }
    const CString& GetFile() const { return m_file; }
    // The text between the last path separator and the last ".".
    CString GetBareName() const;
    // Takes effect for XML sources only.
    void SetSequentialAccess(bool sequential);
    // Closes the stream and marks the end of file.
    void Release();
    // The text of the next element at path (element names joined by "\",
    // e.g. "\database\body\data\table", compared exactly); false when the
    // file has no further such element, and then the stream is released.
    bool ExtractXmlNode(const CString& path, CString& text);

  protected:
    bool CheckSource();

  private:
    friend class DbDatabase;
    struct Stream;
    // How far a search for the next element goes, and how its path compares.
    enum class Search {
        // To the end of the file, every name compared exactly; at the end
        // without a match the stream is released.
        WholeFile,
        // Within the element that holds the path's last element: the search
        // ends without a match when that element closes, so a missing
        // element never makes the reader pass over the sections after it.
        // The root is matched without regard to case, as the whole-document
        // reader finds it. The database reads its sections so.
        Section,
    };
    void Reset();
    void Classify(bool create);
    bool OpenStream();
    bool NextByte(BYTE& b);
    // ExtractXmlNode's element as the UTF-8 bytes of the file, checked but
    // not decoded; the database keeps and parses table text in this form.
    bool ExtractXmlText(const CString& path, std::string& utf8, Search search);

    DbDatabase* m_database;
    int m_kind;
    int m_formatChecked;
    CString m_currentPath;
    CString m_file;
    std::unique_ptr<Stream> m_stream;
    int m_bufferSize;
    int m_bufferPosition;
    CByteArray m_buffer;
    bool m_eof;
    bool m_readOnly;
    bool m_sequential;
    bool m_valid;
};

// The root of one in-memory database.
class KORVAN_API DbDatabase : public DbItem, public DbTableOwner {
  public:
    static LONG m_openDbCount;   // databases alive in the process
    static LONG m_queriesCount;  // running number of "Query_%d" names

    // Nothing is read until the first access. Throws DbException when the
    // file does not open.
    explicit DbDatabase(const CString& file);
    DbDatabase();
    // A deep, independent copy of the whole database (every table is read
    // first) with the same file name and the same change state; assignment
    // drops the previous content without saving it.
    DbDatabase(const DbDatabase& other);
    DbDatabase& operator=(const DbDatabase& other);
    // Saves to the source file when something changed, then releases all.
    // A database whose file failed to read is never written back over it.
    ~DbDatabase() override;

    uint64_t GetSize() const override;

    // Always false: mdb files are written through the serializer.
    virtual bool SaveMdb(const CString& file);
    // Writes the database to file: XML for an "xml" extension (any case),
    // SaveMdb for "mdb", false for anything else. Stale queries are
    // recomputed and every table is read first; queries are never written.
    // The XML goes to a temporary file that replaces file only when complete,
    // so a failed save (false, with a log line naming the file and the
    // reason) leaves an existing file as it was. Saving to the database's own
    // file leaves it unchanged.
    virtual bool Save(const CString& file);
    // Appends the "database" element (header and body) to parent, or to the
    // document when parent is empty. False when any table failed.
    virtual bool Save(pugi::xml_document& document, pugi::xml_node parent);

    // Starts a new empty database for file with the "Header" and "Properties"
    // tables, one empty row each.
    bool Create(CString file);

    // Registry. Every lookup reads the structure first. Names are matched
    // without regard to case; positions run from 0 in creation order without
    // gaps.
    // Null (and a log line) when the name is taken.
    DbTableInfo* CreateTable(CString name, DbTableInfo::eType type, const CString& sql = CString(),
                             DbTableInfo* related = nullptr);
    // Registers info's name, type, sql and related entry; the database takes
    // over info's descriptor and data (new ones when null). On a refused name
    // they stay the caller's.
    DbTableInfo* CreateTable(DbTableInfo* info);
    // Also deletes every query computed from the table, directly or not.
    void DeleteTable(const CString& name);
    // The entry keeps its address and position. False when from is unknown,
    // or (with a log line) when to names another table: both stay as they
    // are.
    bool RenameTable(CString from, CString to);
    // True for any registry entry, a table or a query.
    bool IsTable(const CString& name);
    DbTableInfo* GetTableInfo(CString name);
    bool GetTableInfo(CString name, DbTableInfo& info);
    DbTableInfo* FindTableInfo(const CString& name);
    // Deliberately reads nothing: table data asks it while being read.
    DbTableInfo* FindTableInfo(const DbTableData* data);
    // The data as it stands, without reading or recomputing.
    DbTableData* FindTableData(const CString& name);
    // The data, read from a sequential source and recomputed when it is a
    // stale query; null for an unknown name or an index past the end.
    DbTableData* GetTableData(const CString& name);
    DbTableData* GetTableData(size_t index);
    DbTableDescr* GetTableDescr(const CString& name);
    DbTableDescr* GetTableDescr(size_t index);
    // An empty name for an index at or past GetTablesCount().
    CString GetTableName(size_t index);
    int GetTablesCount();

    DbTableDescr* GetHeaderDescr();
    DbTableData* GetHeaderData();
    DbSource* GetSource() { return m_source.get(); }
    // The source's full file name.
    CString GetName() const override;
    bool IsOpen() const;
    bool CanUpdate() const;

    // The message log joined with "\r\n"; GetError hands the entries over and
    // empties the log; ShowErrorLog shows it in a message box with the
    // caption "Korvan" (on standard error where the system has none).
    CString GetErrorLog() const;
    void GetError(std::vector<CString>& messages);
    void ShowErrorLog() const;

    // Copying from access records. CopyFrom builds the tables of every pair:
    // "Header" and "Properties" first (created empty when all has none and the
    // database neither), then the others in list order. CopyTableFrom creates
    // a missing table with fields typed by the first record's columns (a
    // column that is NULL there by the first record where it is not) or
    // empties an existing one, then adds one row per record; a vector read as
    // an empty table adds none and notes "table '%s' found in '%s'" in the
    // import log. Texts are converted under the active language
    // (LangMappings); NULL values become null cells.
    void CopyFrom(const DBACCESS_ALL& all);
    void CopyTableFrom(const std::pair<CString, DBACCESS_VECTOR>& table);
    void CopyTableFrom(const DBACCESS_ALL& all, int position);
    // One table's rows as access records, a column per field named after it;
    // null cells are marked. A row whose value count differs from the field
    // count gives unnamed columns of tag 3 and value -1. Nothing for an
    // unknown name.
    void GetTable(DbTableInfo* entry, DBACCESS_VECTOR& out);
    void GetTable(const CString& name, DBACCESS_VECTOR& out);
    // Notes written while tables are copied in from access records.
    const std::vector<CString>& GetImportLog() const { return m_importLog; }

    // SQL: analysis of a SELECT into params (false and log lines when it is
    // not usable), verification, and execution into a query table whose
    // registry name is returned in name.
    bool AnalyzeSQL(CString sql, parser::QueryAnalysisParams* params);
    bool VerifySQL(CString sql);
    bool Query(CString sql, CString& name);

    // Joins of two tables on "field1 op field2" into a QUERY entry named
    // after the join ("t1 INNER JOIN t2 ON f1 = f2"), whose name is returned.
    // The fields of table1, then those of table2, are named "table.field"
    // (without the prefix for a query). The searched table gets an index
    // "LABEL" on its join field (an existing "LABEL" is kept) and is sought
    // with op for the join value of every row of the other table.
    // inner_join scans the table with more rows (table2 when equal) and adds
    // one row per hit; right_join scans table2 and adds one row for each of
    // its rows, with table1's fields left at their defaults on a miss.
    // left_join does nothing and returns "".
    CString inner_join(CString table1, CString table2, CString field1, CString op, CString field2);
    CString right_join(CString table1, CString table2, CString field1, CString op, CString field2);
    CString left_join(CString table1, CString table2, CString field1, CString op, CString field2);

  protected:
    void ReadHeader();
    void ReadStructure();
    void LoadTables();
    // Sequential XML source: hands the next body data element to the first
    // table, by registry position, that has no data yet (whatever the
    // element's name says) and returns that table's data; null at the end.
    // A data element left over when every table has its data is an error.
    DbTableData* ReadNextTable();
    void ParseXmlDatabase();
    void ParseXmlStructure(const CString& xml);
    // Loads one "table" data element into the table named by its first
    // attribute.
    void ParseXmlTableData(const CString& xml);

    void Clear();
    void ClearTable(const CString& name);
    void DeleteTableInfo(DbTableInfo* info);
    // Keeps every table using descr in step with a new or deleted field.
    void Update(const DbTableDescr* descr, size_t field, bool insert) override;
    void Log(const CString& message) override;

  private:
    friend class DbSource;
    friend class DbSerializer;
    // Recordsets and table definitions write their lines into the log.
    friend class DbRecordset;
    friend class DbTableDef;

    void SetReadFailed() override;

    DbTableInfo* Create(const CString& name, DbTableInfo::eType type, DbTableDescr* descr,
                        DbTableData* data, const CString& sql, DbTableInfo* related);
    DbTableInfo* Create(const CString& name, DbTableInfo::eType type, const CString& sql,
                        DbTableInfo* related);
    // The entry under name, without reading anything.
    DbTableInfo* Lookup(const CString& name);
    // The first TABLE, by registry position, whose data has neither rows nor
    // text yet; null when there is none.
    DbTableInfo* NextUnreadTable();
    // Every entry, by registry position.
    std::vector<DbTableInfo*> EntriesInOrder();
    void CreateHeaderTables();
    // Reads an mdb source through ODBC into the registry.
    void ImportMdb();
    // Replaces the content by a deep copy of other's.
    void Assign(const DbDatabase& other);
    void RefreshQueries();
    // True when file is the source file and reading it failed.
    bool WouldOverwriteUnreadSource(const CString& file);
    // The forms of ParseXmlStructure and ParseXmlTableData for UTF-8 text,
    // which the reading of the file uses: no wide copy is ever made.
    void ParseStructureText(std::string_view utf8);
    void ParseTableText(std::string_view utf8);
    void LoadStructureSection(const korvan::TableXml& xml, pugi::xml_node section);
    void LoadTableStructure(const korvan::TableXml& xml, pugi::xml_node table);
    // Into the table named by the element's first attribute.
    void LoadTableData(const korvan::TableXml& xml, pugi::xml_node table);
    bool SaveSection(pugi::xml_document& document, pugi::xml_node section, bool header,
                     bool structure);

    std::unique_ptr<DbSource> m_source;
    std::vector<std::pair<CString, DbTableDescr*>> m_descriptors;
    std::vector<std::pair<CString, DbTableData*>> m_data;
    std::map<CString, DbTableInfo> m_registry;
    bool m_headerPending;
    bool m_structurePending;
    std::vector<CString> m_errorLog;
    std::vector<CString> m_importLog;
    // Reading the file failed: the database holds only part of it, so it is
    // never written back over the file (WouldOverwriteUnreadSource).
    bool m_readFailed;
    // Every entry before this registry position has its data (or is a
    // query), so finding the next table to read never starts from the front.
    size_t m_firstUnread;
};

// Whole databases as access records: loaded from and saved to an XML database
// file or, for any other name, a database reached through ODBC (an Access
// file by default, or the target of a connection text of the caller's).
class KORVAN_API DbSerializer {
  public:
    // Every table in registry (or catalogue) order. Driver failures are thrown
    // as CDBException*; false when the tables cannot be listed.
    static bool Load(const CString& file, DBACCESS_ALL& all);
    static bool Load(const CString& file, DBACCESS_ALL& all, const wchar_t* connection);
    // Writes every pair in order: an XML file as a new database of these
    // tables, or each table through DBACCESS::SetTableData. Always true;
    // driver failures are thrown as CDBException*.
    static bool Save(const CString& file, const DBACCESS_ALL& all);
    static bool Save(const CString& file, const DBACCESS_ALL& all, const wchar_t* connection);

    // The first pair named exactly name (case-sensitive) into out; false and
    // out emptied when there is none.
    static bool CopyTableFromDatabase(const DBACCESS_ALL& all, const CString& name,
                                      DBACCESS_VECTOR& out);
    // Replaces the vector of the first pair named exactly name, or appends a
    // new pair. Always true.
    static bool CopyTableToDatabase(DBACCESS_ALL& all, const CString& name,
                                    const DBACCESS_VECTOR& in);
    // out receives in's records with only the named columns, in the order
    // given (a name finds a column as DBACCESS_RECORD::findIdx does; a missing
    // one gives an empty column of that name). With distinct, a record equal
    // to one already selected is left out.
    static void Select(const DBACCESS_VECTOR& in, DBACCESS_VECTOR& out,
                       std::vector<const wchar_t*>& columns, bool distinct);
    // Orders the records on the named columns (found in the first record;
    // names not found are ignored), by the record order of the access layer;
    // descending reverses it. Records equal on every key keep their order.
    static void OrderBy(DBACCESS_VECTOR& records, std::vector<const wchar_t*>& columns,
                        bool descending);
};
