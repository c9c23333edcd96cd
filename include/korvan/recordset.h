// korvan/recordset.h - the cursor-style interface: DbRecordset walks, searches,
// seeks and edits the rows of one table or query answer; DbTableDef builds a
// table field by field or opens an existing one; DbQueryDef holds a verified
// query text.
//
// None of the three owns the DbDatabase it is given, and each must be used
// only while that database lives (a recordset that had to create its own
// database keeps it until Close). Positions (the cursor, bookmarks, the
// absolute position) count rows in the order of the current index, or in the
// table's own order when no index is current.
//
// Failures that cannot be returned are thrown as a DbException* whose source
// name is "Db_Recordset", "Db_TableDef" or "Db_QueryDef"; the catcher calls
// Delete(). Threads: one at a time; the bookmark counter is process-wide and
// unsynchronised.
#pragma once

#include <korvan/database.h>
#include <korvan/model.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

class DbRecordset;

// A handle on one table of a database: either an existing table (Open) or a
// new one built field by field (Create, CreateField, CreateIndex) and handed
// to the database by Append. Not copyable: it owns a table until Append.
class KORVAN_API DbTableDef {
  public:
    explicit DbTableDef(DbDatabase* db);
    // Discards a table that was created and not appended.
    virtual ~DbTableDef();
    DbTableDef(const DbTableDef&) = delete;
    DbTableDef& operator=(const DbTableDef&) = delete;

    // Starts a new table of that name, not yet part of the database (a
    // second Create discards the first one). Always true.
    virtual bool Create(CString name);
    // Opens the existing table of that name ("[name]" names it too). False
    // when the database has no such table. A created table that was not
    // appended is discarded when another table is opened.
    virtual bool Open(CString name);
    // Discards a created table that was not appended and forgets the table.
    virtual void Close();
    virtual DbTableDescr* GetTableDescr();
    // True on an existing or appended table; a created table is not open
    // until Append.
    virtual bool IsOpen();
    virtual const CString& GetTableName();
    virtual DbDatabase* GetDatabase();
    // An index with the given index's name and fields; false for an empty
    // name or an unknown field.
    virtual bool CreateIndex(DbTableDescr::DbIndex& index);
    // False without a table or when the name is taken (in any case).
    virtual bool CreateField(CString name, DbFieldDescr::eFieldType type);
    virtual bool DeleteField(int i);
    virtual bool DeleteField(CString name);
    // Hands the created table to the database, which owns it from then on.
    // False (with a log line) when nothing was created; false when the
    // database refuses the name (the log says why), and the created table is
    // discarded and the handle closed.
    virtual bool Append();
    virtual bool CanUpdate();
    // Null when there is no such field.
    virtual DbFieldDescr* GetFieldInfo(CString name);
    virtual DbFieldDescr* GetFieldInfo(int i);
    virtual uint64_t GetFieldCount();
    // Throws DbException when no table was opened or created.
    virtual LONG GetRecordCount();

  private:
    // Destroys a created table that was not appended.
    void DiscardPending();

    DbDatabase* m_database;
    CString m_tableName;
    DbTableDescr* m_tableDescr;
    DbTableData* m_tableData;
    DbTableInfo* m_pendingTable;
};

// A named query text, verified against the database when it is created and
// again each time IsOpen is asked. The query is not stored in the database.
class KORVAN_API DbQueryDef {
  public:
    explicit DbQueryDef(DbDatabase* db);
    DbQueryDef(const DbQueryDef&) = default;
    DbQueryDef& operator=(const DbQueryDef&) = default;
    virtual ~DbQueryDef();

    // Forgets the database and the text; the name stays.
    virtual void Close();
    virtual const CString& GetSQL();
    // Keeps name and sql, then throws DbException "Invalid '<sql>' query"
    // when the database does not accept the text (the reasons are in its
    // log).
    virtual void Create(CString name, CString sql);
    virtual bool IsOpen();
    DbDatabase* GetDatabase();

  private:
    DbDatabase* m_database;
    CString m_sql;
    CString m_queryName;
};

// A cursor over the rows of one table or query answer.
//
// Moving past either end is allowed and is how the end is found: the move
// returns false and IsBOF or IsEOF says where the cursor is. Every move, find,
// GetBookmark, SetBookmark and GetLastModifiedBookmark first cancels a
// pending AddNew or Edit.
//
// A derived recordset binds its members to fields in its InitFieldExchange
// override with MapClassMember; Open calls it, every move then copies the
// row into the members, and Update writes them back. A copy of a recordset
// shares its database and position but has no bound members (an assigned one
// keeps its own): a derived class that wants them in its copies maps them
// again in its copy constructor.
class KORVAN_API DbRecordset {
  public:
    enum eFindOperation { foNext = 0, foPrev = 1, foFirst = 2, foLast = 3 };
    enum eFindDirection { fdForward = 0, fdBackward = 1 };

    // The last bookmark id handed out: ids are bookmarkid + 1 after the
    // increment, so the first one of a process is 2. Id 0 is the last
    // modified row's.
    static uint64_t bookmarkid;

    explicit DbRecordset(DbDatabase* db = nullptr);
    DbRecordset(const DbRecordset& other);
    DbRecordset& operator=(const DbRecordset& other);
    // Releases a database Open had to create.
    virtual ~DbRecordset();

    // Open(GetDefaultSQL()).
    virtual bool Open();
    // Runs the SELECT text, or takes the bare table name, through
    // DbDatabase::Query and shows its answer at position 0. Without a
    // database, first creates one on the file GetDefaultDBName() names
    // (throwing when that file cannot be read). False when the query fails.
    virtual bool Open(CString sql);
    // Throw DbException for null; false when the definition is not open.
    virtual bool Open(DbTableDef* def);
    virtual bool Open(DbQueryDef* def);
    // Forgets the table, the current index, the bindings, pending values and
    // bookmarks; releases a database Open created.
    virtual void Close();

    virtual bool Move(long rows);
    virtual bool MoveFirst();
    virtual bool MoveNext();
    // False on an empty table, where the cursor stays.
    virtual bool MoveLast();
    // False before the first row, where the cursor stays at -1.
    virtual bool MovePrev();

    // criteria is a WHERE condition on the recordset's table, e.g.
    // "weight >= 5 and (name = 'bolt' or name = 'nut')". A search that finds
    // nothing, or a condition that does not analyse, leaves the cursor.
    virtual bool Find(eFindOperation operation, CString criteria);
    virtual bool FindFirst(CString criteria);
    virtual bool FindNext(CString criteria);
    virtual bool FindPrev(CString criteria);
    virtual bool FindLast(CString criteria);
    // Through the current index: "=" (or "==") by binary search on the
    // index's keys; any other operator as a condition on the index's fields,
    // searched in index order. False without a current index.
    virtual bool Seek(CString op, CComVariant* keys, uint64_t count);
    virtual bool Seek(CString op, CComVariant* keys);

    virtual bool IsBookmark(uint64_t id);
    virtual uint64_t GetBookmark();
    virtual bool SetBookmark(uint64_t id);
    // Bookmark 0, on the position the last Update wrote.
    virtual uint64_t GetLastModifiedBookmark();
    // Moves to position n without cancelling a pending edit.
    virtual bool SetAbsolutePosition(LONG n);
    virtual LONG GetAbsolutePosition();

    virtual bool IsOpen();
    virtual bool IsEOF();
    virtual bool IsBOF();
    virtual bool IsDeleted();
    // The null flag of the bound member's field in the row whose number is
    // the cursor (no index applies). Throw outside the rows or for a member
    // that is not bound.
    virtual bool IsFieldNull(void* member);
    virtual void SetFieldNull(void* member);
    virtual LONG GetRecordCount();
    virtual uint64_t GetFieldCount();
    // False for a read-only source, an unknown table, and a query answer
    // with rows of its own (not shared with its source table).
    virtual bool CanUpdate();

    // Makes the named index current, building its row order; a name that is
    // not found makes no index current and gives false.
    virtual bool SetCurrentIndex(CString name);
    // Null makes no index current. An index other than the current one with
    // a row order already built is taken as it is; otherwise its row order is
    // built again.
    virtual bool SetCurrentIndex(const DbTableDescr::DbIndex* index);
    // "" when no index is current.
    virtual CString GetCurrentIndex();
    // Null outside the rows.
    virtual DbTableRow* GetCurrentRow();
    // Closes without releasing a database Open created, and takes db.
    virtual void SetDatabase(DbDatabase* db);

    // Throw DbException outside the rows and for an unknown field.
    virtual void GetFieldValue(uint64_t i, CComVariant& value);
    virtual void GetFieldValue(CString name, CComVariant& value);
    virtual CComVariant GetFieldValue(CString name);
    // Keeps value for Update; throws outside AddNew or Edit. The named form
    // ignores a name that is no field.
    virtual void SetFieldValue(uint64_t i, CComVariant& value);
    virtual void SetFieldValue(CString name, CComVariant& value);
    // Null when there is no such field.
    virtual DbFieldDescr* GetFieldInfo(uint64_t i);
    virtual DbFieldDescr* GetFieldInfo(CString name);

    // Hooks for derived recordsets: the file and the query Open() uses, and
    // the place to bind members. Empty in the base class.
    virtual CString GetDefaultDBName();
    virtual CString GetDefaultSQL();
    virtual void InitFieldExchange();

    virtual void AddNew();
    virtual void Edit();
    // Throws on a recordset that cannot be updated. Deletes the row at the
    // cursor and moves the cursor back one; the bookmark of the row before
    // is dropped, those of the deleted row and after it move back one.
    virtual void Delete();
    // Throws on a recordset that cannot be updated. Writes the bound members
    // and the values set since AddNew or Edit into a new row (AddNew, where
    // the cursor then stands) or the row whose number is the cursor (Edit);
    // no index is current afterwards. Without AddNew or Edit it only cancels.
    virtual void Update();
    virtual void CancelUpdate();
    virtual void Requery();
    // Writes the whole table in its own order: field names, then one line
    // per row, values separated by "| ", lines ended by a line feed. The file
    // gets as many bytes as the text has (UTF-16) characters: the first half
    // of its UTF-16LE encoding. Nothing happens when the file cannot be
    // written.
    virtual void ExportCVS(CString path);

    DbDatabase* GetDatabase() const { return m_database; }
    DbTableData* GetTableData() const { return m_tableData; }
    DbTableDescr* GetTableDescr() const { return m_tableDescr; }

  protected:
    // Binds a member to a field of the recordset's table; the first binding
    // of a member stays. Throws DbException for an unknown field. Members
    // must suit the field's type: the converters copy value bits, except the
    // CString and byte-vector ones.
    void MapClassMember(CString name, short* member);
    void MapClassMember(CString name, int* member);
    void MapClassMember(CString name, long* member);
    void MapClassMember(CString name, float* member);
    void MapClassMember(CString name, double* member);
    void MapClassMember(CString name, CString* member);
    void MapClassMember(CString name, std::vector<unsigned char>* member);
    void MapClassMember(CString name, bool* member);

  private:
    // Copy a field's value into a bound member, and back.
    typedef void (*Reader)(const CComVariant& field, void* member);
    typedef void (*Writer)(CComVariant& field, void* member);
    struct Binding {
        uint64_t field;
        Reader reader;
        Writer writer;
    };

    void MapClassMember(CString name, void* member, Reader reader, Writer writer);
    bool FindRow(CString criteria, int64_t start, int64_t end, eFindDirection direction);
    bool ReadTableRow(int64_t position);
    bool WriteTableRow(int64_t position);
    // The row number of a position; -1 when the current index has no entry
    // there. The second form takes the current index as ActiveIndex gave it.
    int64_t RemapRowIndex(int64_t position);
    static int64_t RemapRowIndex(int64_t position, const DbTableDescr::DbIndex* index);
    // The field number of name in the database's descriptor of the table;
    // -1 when there is none.
    int GetFieldIndex(const CString& name);
    // The row at a position, or null outside the rows.
    DbTableRow* RowAt(int64_t position);
    // The same, and null whenever the cursor is outside the rows.
    DbTableRow* TransferRow(int64_t position);
    DbTableRow* RowAt(int64_t position, const DbTableDescr::DbIndex* index);
    // The cell of a bound member's field in the row whose number is the
    // cursor; null for a member that is not bound. REQUIRES: the cursor is
    // on a row.
    DbFieldValue* BoundCell(void* member);
    // The current index, or null when its descriptor has dropped it.
    const DbTableDescr::DbIndex* ActiveIndex();
    void MakeCurrent(const DbTableDescr::DbIndex* index);
    // Orders the table's rows on the index's fields into its row order.
    bool BuildRowOrder(const DbTableDescr::DbIndex* index);
    void SetCursor(int64_t position);
    void CopyState(const DbRecordset& other);

    DbDatabase* m_database;
    bool m_ownsDatabase;
    CString m_tableName;
    DbTableData* m_tableData;
    DbTableDescr* m_tableDescr;
    LONG m_cursor;
    LONG m_lastModified;
    const DbTableDescr::DbIndex* m_currentIndex;
    std::map<void*, Binding> m_bindings;
    std::map<uint64_t, LONG> m_bookmarks;
    std::map<uint64_t, CComVariant> m_pendingValues;
    int m_editMode;

    // The database Open created, shared with copies of this recordset.
    std::shared_ptr<DbDatabase> m_ownedDatabase;
    // The current index was found in the table's descriptor under this key
    // (empty for an index the caller made), so it can be checked to be there
    // still before it is used.
    CString m_currentIndexKey;
};
