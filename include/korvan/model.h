// korvan/model.h - the table model: the item tree with change tracking, the
// library's exception, field descriptors and values, table descriptors with
// indexes, rows, row containers and table data.
//
// Every model object is a DbItem: a node that knows its parent and children,
// stamps its changes from one process-wide clock and estimates its size. The
// child lists never own; the concrete classes delete what they own:
//   DbDatabase owns its DbTableDescr and DbTableData objects;
//   DbTableDescr owns its fields (DbFieldDescr), indexes and filters;
//   DbTableData owns its DbRows; DbRows owns its row store unless it is bound
//   to another container's store; DbTableRow owns its cells (DbFieldValue).
// Names of fields and indexes are matched without regard to case. The model
// reaches the database that owns its tables only through DbTableOwner.
//
// Failures that cannot be returned are thrown as a DbException* created with
// new; the catcher reads Message() and calls Delete().
//
// Threads: one thread at a time. The change clock and the decimal separator
// are process-wide and unsynchronised.
#pragma once

#include <korvan/platform.h>

#include <pugixml.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

class DbDatabase;
class DbFilter;
class DbTableDescr;
class DbTableRow;
class DbRows;

// ---------------------------------------------------------------------------
// Item tree and change tracking.

class KORVAN_API DbItem {
  public:
    // Registers the new item at the end of the parent's child list.
    explicit DbItem(DbItem* parent = nullptr);
    // Copies parent and (shallowly) the child list without registering the
    // copy anywhere; both stamps are copied.
    DbItem(const DbItem& other);
    DbItem& operator=(const DbItem& other);
    // Removes the first occurrence of this item from the parent's child list;
    // the children are not destroyed.
    virtual ~DbItem();

    virtual DbItem* GetParent() const;
    // True when this item or any descendant changed since its last Sync. Every
    // child is asked, also when the answer is already known.
    virtual bool IsChanged() const;
    // Stamps this item (only) with the next value of the change clock.
    virtual void SetChanged();
    // Marks this item and its whole subtree as unchanged.
    virtual void Sync();
    // The newest stamp in the subtree; 0 when nothing was ever changed.
    virtual LONG GetChangeId() const;
    // Estimated bytes of this item alone: 8 + 22 per child.
    virtual uint64_t GetSize() const;
    // Estimated bytes of the whole subtree.
    virtual uint64_t CalcSize() const;

  protected:
    void AddChild(DbItem* child);
    void RemoveChild(DbItem* child);
    // Forgets every child without touching them; an owner about to destroy
    // all its children calls this first so that each removal is immediate.
    void ReleaseChildren();
    // Makes room for count more children in one step.
    void ReserveChildren(size_t count);
    size_t GetChildCount() const { return m_children.size(); }
    // Gives "to" the change stamps of "from"; the links of both stay as they
    // are. Owners use it when they copy their parts.
    static void CopyStamps(DbItem& to, const DbItem& from);

  private:
    DbItem* m_parent;
    std::vector<DbItem*> m_children;
    LONG m_changeId;
    LONG m_syncId;

    static LONG m_changeCounter;
};

// Objects that write themselves into an XML document and read themselves
// back. Save appends this object's element(s) under element, creating nodes
// in doc; Load fills the object from the element Save wrote. Both return
// true on success.
class KORVAN_API DbXmlSerializable {
  public:
    DbXmlSerializable() = default;
    DbXmlSerializable(const DbXmlSerializable&) = default;
    DbXmlSerializable(DbXmlSerializable&&) = default;
    DbXmlSerializable& operator=(const DbXmlSerializable&) = default;
    DbXmlSerializable& operator=(DbXmlSerializable&&) = default;
    virtual ~DbXmlSerializable() = default;

    virtual bool Save(pugi::xml_document& doc, pugi::xml_node element) = 0;
    virtual bool Load(pugi::xml_node element) = 0;
};

// ---------------------------------------------------------------------------
// Exceptions and messages.

// The library's exception, thrown by pointer: throw new DbException(...).
class KORVAN_API DbException : public CException {
  public:
    DbException() = default;
    // Message: "Korvan exception thrown\r\nFile: <file> @ <line>\r\nMessage: <message>".
    DbException(const char* file, int line, CString message);
    explicit DbException(CString message);
    DbException(const DbException& other) = default;
    ~DbException() override;

    // Copies the message, cut to maxChars - 1 characters; always returns 1.
    int GetErrorMessage(wchar_t* buffer, unsigned int maxChars,
                        unsigned int* helpContext = nullptr) const override;
    const CString& Message() const { return m_message; }

  private:
    CString m_message;
};

// printf-style formatting with the rules of CString::FormatV.
KORVAN_API CString StringBuilder(const wchar_t* format, ...);

// ---------------------------------------------------------------------------
// The owner of the tables.

// What the table model asks of the database that owns its tables, and all it
// asks: descriptors and table data reach their database only through this.
// DbDatabase is the one implementation.
class KORVAN_API DbTableOwner {
  public:
    virtual ~DbTableOwner() = default;

    // Appends one line to the owner's message log.
    virtual void Log(const CString& message) = 0;
    // Every table data using descr gains (insert) or loses the cell at
    // position field.
    virtual void Update(const DbTableDescr* descr, size_t field, bool insert) = 0;
    // The file the owner's tables are read from; messages about their XML
    // name it.
    virtual CString GetName() const = 0;
    // Reading the owner's file failed somewhere: the owner holds only part of
    // it and must never write it back over the file.
    virtual void SetReadFailed() = 0;
};

// ---------------------------------------------------------------------------
// Field values and field descriptors.

class DbFieldDescr;

// One cell: a null flag and a variant whose type is the field's type.
class KORVAN_API DbFieldValue : public DbItem {
  public:
    DbFieldValue(DbItem* parent, int index);
    DbFieldValue(const DbFieldValue& other);
    // Copies the null flag and the value; index and tree links stay.
    DbFieldValue& operator=(const DbFieldValue& other);
    ~DbFieldValue() override;

    uint64_t GetSize() const override;

    // Copies v in, converts it back to the cell's current type (a failed
    // conversion keeps v's type) and marks the cell changed. A failed copy
    // leaves VT_ERROR and throws CAtlException.
    virtual void SetValue(const CComVariant& v);
    virtual const CComVariant& GetVariant() const;
    virtual CComVariant& GetVariant();
    virtual int GetIndex() const;

    VARTYPE GetType() const { return m_value.vt; }
    const CComVariant& GetValue() const { return m_value; }
    bool IsNull() const { return m_null; }
    // Neither touches the value nor marks a change.
    void SetNull(bool null) { m_null = null; }

    // Through the descriptor's text conversion: empty real texts become 0 and
    // the decimal separator is normalised; a text that does not convert stays
    // text.
    void ValueFromString(const DbFieldDescr& descr, const wchar_t* const& text);
    // Plain conversion to the descriptor's type (base64 for binary fields), no
    // normalisation; a text that does not convert stays text.
    void ValueFromString(const DbFieldDescr& descr, const CString& text);
    // The value's text: numbers as VariantChangeType gives them, booleans
    // "true" (exactly VARIANT_TRUE) or "false", binary as base64, "" for
    // anything else.
    void ValueToString(CString& out) const;

  protected:
    int m_index;
    bool m_null;
    CComVariant m_value;

  private:
    // The owners renumber the cells and fields that move.
    friend class DbRows;
    friend class DbTableDescr;
};

// A column: name, flags and a default value whose variant type is the
// column's type.
class KORVAN_API DbFieldDescr : public DbFieldValue {
  public:
    enum eFieldType {
        ftUnknown = 0,
        ftBoolean = 1,
        ftInteger = 2,
        ftLong = 3,
        ftFloat = 4,
        ftDouble = 5,
        ftText = 6,
        ftBinary = 7,
    };
    // Converts a text into the target variant for this column's type.
    typedef void (*FromStringFn)(CComVariant& target, const wchar_t* const& text);

    DbFieldDescr();
    DbFieldDescr(DbItem* parent, int index);
    DbFieldDescr(const DbFieldDescr& other);
    // Copies name, flags, default value and conversion; index and tree links
    // stay.
    DbFieldDescr& operator=(const DbFieldDescr& other);

    static VARTYPE FieldTypeToVariantType(eFieldType type);
    static eFieldType VariantTypeToFieldType(VARTYPE vt);
    // DAO codes: 3 integer, 4 long, 7 double, 10 text; others unknown.
    static eFieldType DbTypeToFieldType(short dbType);
    // True for the integer, long, float and double types.
    static bool IsNumericType(eFieldType type);

    eFieldType GetDbType() const;
    void SetDbType(eFieldType type);
    void SetType(VARTYPE vt);

    const CString& GetName() const { return m_name; }
    const CString& GetSafeName() const { return m_safeName; }
    // Also recomputes the safe name (an XML-safe escape of the name).
    void SetName(const CString& name);
    bool IsKey() const { return m_key; }
    void SetKey(bool key) { m_key = key; }
    bool IsRequired() const { return m_required; }

    // Writes a "field" element (name, key, type, required) under parent.
    virtual bool Save(pugi::xml_document& doc, pugi::xml_node parent);
    // Reads "name", "type" and "key"; every other attribute is ignored.
    virtual bool Load(pugi::xml_node element);
    // "empty", "integer", "long", "float", "double", "text", "boolean",
    // "binary" or "unknown".
    virtual CString GetTypeString() const;

    uint64_t GetSize() const override;

  protected:
    void SetDefaultValue(VARTYPE vt, CComVariant& value);

  private:
    friend class DbFieldValue;

    bool m_required;
    bool m_key;
    CString m_name;
    CString m_safeName;
    FromStringFn m_fromString;
};

// Stores text into target as a VT_BSTR, unless target already holds that very
// buffer.
KORVAN_API void ConvertToMultibyte(CComVariant& target, const CString& text);

// ---------------------------------------------------------------------------
// Table descriptor and indexes.

class KORVAN_API DbTableDescr : public DbXmlSerializable, public DbItem {
  public:
    // A named index: the fields it orders by, and the table's row numbers in
    // ascending key order (filled by its users).
    class KORVAN_API DbIndex {
      public:
        explicit DbIndex(const CString& name);
        DbIndex(const CString& name, const std::vector<CString>& fields);
        DbIndex(const CString& name, const CString& field);
        void AddField(CString name);

        CString m_name;
        std::vector<uint64_t> m_fieldPositions;
        std::vector<CString> m_fieldNames;
        std::vector<uint64_t> m_rowOrder;
    };

    explicit DbTableDescr(DbDatabase* db);
    // A copy belongs to the same database and, like every item copy, names
    // the same parent without being registered there; its fields, indexes
    // and filters are copies of its own, its fields registered under it.
    DbTableDescr(const DbTableDescr& other);
    // Replaces fields, indexes and filters by copies of other's and takes its
    // change stamps; the descriptor keeps its database and its place in the
    // tree.
    DbTableDescr& operator=(const DbTableDescr& other);
    ~DbTableDescr() override;

    // Every field writes its "field" element directly under element.
    bool Save(pugi::xml_document& doc, pugi::xml_node element) override;
    // Appends one field per child element of element.
    bool Load(pugi::xml_node element) override;

    // Creates (or finds) the index without fields.
    virtual DbIndex* CreateIndex(CString name);
    // False for an empty name or a field that does not exist; creating an
    // existing index succeeds and keeps the first one.
    virtual bool CreateIndex(CString name, const std::vector<CString>& fields);
    virtual bool CreateIndex(CString name, const CString& field);
    // Lets every filter compute its outcome for the row.
    virtual void Evaluate(const DbTableRow& row);
    // Creates a filter comparing a field with a constant or another field;
    // null when no filter can be made.
    virtual DbFilter* AddFilter(CString left, CString op, CString right);
    virtual void ClearFilters();
    virtual bool DeleteIndex(CString name);
    // Destroys all fields, indexes and filters.
    virtual void Clear();

    uint64_t GetSize() const override;

    // False when a field of that name (in any case) exists. Every row of every
    // table using this descriptor gains the cell.
    bool CreateField(const CString& name, bool key, DbFieldDescr::eFieldType type);
    bool CreateField(const DbFieldDescr& field);
    // Every row of every table using this descriptor loses the cell.
    bool DeleteField(int i);
    bool DeleteField(const CString& name);
    // -1 when absent.
    int GetFieldIndex(const CString& name) const;
    bool IsField(CString name) const;
    bool IsField(uint64_t i) const;
    size_t GetFieldCount() const { return m_fields.size(); }
    // REQUIRES: the field exists (no range check).
    DbFieldDescr& GetField(const CString& name);
    DbFieldDescr& GetField(int i);
    DbFieldDescr& GetField(int i) const;
    DbFieldDescr& operator[](const CString& name);
    DbFieldDescr& operator[](uint64_t i);

    // Null when absent.
    DbIndex* FindIndex(const CString& name);
    // True when every field name of the index is a field of the table.
    bool CheckIndexFields(const DbIndex* index);

    DbDatabase* GetDatabase() const { return m_database; }
    // The database as the table model reaches it; null without one.
    DbTableOwner* GetOwner() const;
    const std::vector<DbFilter*>& GetFilters() const { return m_filters; }
    // Every index, keyed by its lower-case name.
    const std::map<CString, DbIndex*>& GetIndexes() const { return m_indexes; }

  protected:
    virtual bool CreateIndex(CString name, DbIndex* index);

  private:
    void RebuildNameMap() const;
    // Adds copies of other's fields, indexes and filters.
    void CopyParts(const DbTableDescr& other);

    std::vector<DbFieldDescr*> m_fields;
    DbDatabase* m_database;
    mutable bool m_nameMapDirty;
    mutable std::unordered_map<CString, int> m_nameMap;
    std::map<CString, DbIndex*> m_indexes;
    std::vector<DbFilter*> m_filters;
};

// ---------------------------------------------------------------------------
// Rows and table data.

class KORVAN_API DbTableRow : public DbXmlSerializable, public DbItem {
  public:
    enum eCmpResult { cmpEqual = 0, cmpLess = 1, cmpGreater = 2 };
    typedef bool (*ValueTest)(const CComVariant& left, const CComVariant& right);

    explicit DbTableRow(DbItem* parent);
    // A copy follows the same descriptor and, like every item copy, names the
    // same parent without being registered there; its cells are copies of
    // its own, registered under it.
    DbTableRow(const DbTableRow& other);
    // Replaces the cells by copies of other's and takes its descriptor and
    // change stamps; the row keeps its place in the tree.
    DbTableRow& operator=(const DbTableRow& other);
    ~DbTableRow() override;

    // A "row" element with one attribute per field, named by its safe name.
    bool Save(pugi::xml_document& doc, pugi::xml_node parent) override;
    // Fills the cells from the attributes named by the fields' safe names
    // (through each field's text conversion); unknown attributes are ignored,
    // a field without an attribute gets its default value.
    bool Load(pugi::xml_node element) override;
    uint64_t GetSize() const override;

    // REQUIRES: i below GetFieldCount() (no range check).
    DbFieldValue& operator[](uint64_t i) { return *m_fields[i]; }
    const DbFieldValue& operator[](uint64_t i) const { return *m_fields[i]; }
    DbFieldValue& GetField(uint64_t i) { return *m_fields[i]; }
    const DbFieldValue& GetField(uint64_t i) const { return *m_fields[i]; }
    // REQUIRES: the descriptor has the field.
    DbFieldValue& operator[](const CString& name);
    size_t GetFieldCount() const { return m_fields.size(); }
    DbTableDescr* GetTableDescr() const { return m_descr; }
    void SetTableDescr(DbTableDescr* descr) { m_descr = descr; }

    // Nothing happens for a field the descriptor does not have.
    void SetValue(const CString& field, const CString& text);
    void SetValue(const CString& field, const CComVariant& v);

    // Value comparison of two cells. Equal: text on the left compares with
    // the right text without regard to case; otherwise different types are
    // unequal, two nulls are equal, same types compare with VarCmp. Greater:
    // VarCmp says greater (two nulls are not greater).
    static bool IsEqual(const VARIANT& left, const VARIANT& right);
    static bool IsGreater(const VARIANT& left, const VARIANT& right);

    // True when this row is equal to or greater than other on the fields.
    bool Compare(const std::vector<uint64_t>& fields, const DbTableRow& other) const;
    // True when test(this cell, other cell) holds for every listed field.
    bool Compare(const std::vector<uint64_t>& fields, ValueTest test,
                 const DbTableRow& other) const;
    bool Compare(const std::vector<CString>& names, ValueTest test, const DbTableRow& other) const;
    // The first unequal listed field decides: cmpGreater when this cell is
    // greater, else cmpLess; cmpEqual when all are equal.
    eCmpResult CompareEx(const std::vector<uint64_t>& fields, const DbTableRow& other) const;
    // The same with key values on the left: keys[i] against row's cell
    // fields[i].
    static eCmpResult CompareEx(const std::vector<uint64_t>& fields,
                                const std::vector<CComVariant>& keys, const DbTableRow& row);
    static eCmpResult CompareEx(const std::vector<uint64_t>& fields, const CComVariant* keys,
                                int count, const DbTableRow& row);

    // Lets the descriptor's filters compute their outcome for this row.
    void Evaluate();

  protected:
    void SetFieldValuePtr(uint64_t i, DbFieldValue* v);

  private:
    friend class DbRows;

    // The position of the named field's cell; -1 when there is none.
    int FindCell(const CString& field) const;
    // Room for count cells in one allocation, and in the child list.
    void AllocateCells(size_t count);
    // Makes one cell per field of the descriptor, all in one allocation.
    void CreateCells(bool withDefaults);
    // Makes copies of other's cells, all in one allocation.
    void CopyCells(const DbTableRow& other);
    void DestroyCells();
    // Destroys a cell of this row, made with the row or added later.
    void DestroyCell(DbFieldValue* cell);

    std::vector<DbFieldValue*> m_fields;
    DbTableDescr* m_descr;
    DbFieldValue* m_cellBlock;  // the cells made with the row
    size_t m_cellBlockSize;
};

// The rows of a table, as positions into a row store. A container bound to
// another container's store shows a chosen subset in a chosen order without
// copying rows.
class KORVAN_API DbRows : public DbItem {
  public:
    DbRows(DbItem* parent, DbTableDescr* descr);
    // A copy shows the same rows in the same order: bound, it shares the same
    // source's store; otherwise it shows copies of the rows, registered under
    // it. Like every item copy it names the same parent without being
    // registered there.
    DbRows(const DbRows& other);
    // The same in place, taking other's change stamps; the container keeps
    // its place in the tree. Its own rows are destroyed first.
    DbRows& operator=(const DbRows& other);
    // Destroys the rows this container made for its own store, also when it
    // was bound to another store since.
    ~DbRows() override;

    // Returns the new row's position in this container.
    uint64_t AddRow(bool withDefaults);
    // Returns the position of the first new row.
    uint64_t AddRows(uint64_t count, bool withDefaults);
    // Nothing happens for i at or past the end.
    void DeleteRow(uint64_t i);
    // Inserts (insert true) or removes the cell at position field in every
    // row of this container; a new cell is not null and holds an empty
    // variant. The cells after it are renumbered.
    void Update(uint64_t field, bool insert);
    // Shows source's store from now on; the positions of order go in front of
    // this container's own. The rows of this container's own store are not
    // destroyed: they stay its children until it is destroyed.
    void Bind(DbRows* source, std::vector<uint64_t>& order);

    // REQUIRES: i below GetRowsCount() (no range check).
    DbTableRow* GetRow(int i) const { return (*m_store)[m_order[static_cast<size_t>(i)]]; }
    DbTableRow* GetLastRow() const;
    uint64_t GetRowsCount() const { return m_order.size(); }
    bool IsBinded() const { return m_boundTo != nullptr; }
    DbTableDescr* GetTableDescr() const { return m_descr; }
    const std::vector<uint64_t>& GetOrder() const { return m_order; }

  private:
    DbTableRow* NewRow(bool withDefaults);
    // Adds copies of the rows of other's own store to this one's.
    void CopyOwnRows(const DbRows& other);
    void DestroyOwnRows();

    DbTableDescr* m_descr;
    std::vector<uint64_t> m_order;
    std::vector<DbTableRow*>* m_store;  // the store shown: the own one, or the source's
    DbRows* m_boundTo;
    std::vector<DbTableRow*>* m_ownStore;  // made by the constructor; owned
};

// A table's rows with lazy parsing from stored XML text and index search.
class KORVAN_API DbTableData : public DbXmlSerializable, public DbItem {
  public:
    DbTableData(DbDatabase* db, DbTableDescr* descr);
    // A copy belongs to the same database, follows the same descriptor and,
    // like every item copy, names the same parent without being registered
    // there; its row container is a copy of its own (a pending XML text is
    // copied unparsed), and it keeps other's name for its messages.
    DbTableData(const DbTableData& other);
    // The same in place, taking other's change stamps; the data keeps its
    // database, its name and its place in the tree.
    DbTableData& operator=(const DbTableData& other);
    ~DbTableData() override;

    // Every row, in container order, writes its element under parent. A
    // failure is logged in the database and stops the loop.
    bool Save(pugi::xml_document& doc, pugi::xml_node parent) override;
    // Adds one row per child element and logs the parsing time.
    bool Load(pugi::xml_node element) override;
    // Drops a pending XML source and every row; marks the data changed.
    virtual void Clear();
    // Keeps the XML text of the rows for parsing on first access.
    virtual void SetXmlSource(const CString& xml);
    uint64_t GetSize() const override;

    // Add rows with the descriptor's defaults after parsing a pending XML
    // source; mark the data changed. Return the position of the first new row.
    uint64_t AddRow();
    uint64_t AddRows(uint64_t count);
    // Parses a pending XML source first; marks the data changed when a row
    // was deleted.
    void DeleteRow(uint64_t i);
    void Update(uint64_t field, bool insert);
    // Parses a pending XML source first.
    void Bind(DbRows* source, std::vector<uint64_t>& order);

    // These parse a pending XML source first; on a failed parse they give
    // null or 0.
    DbRows* GetRows();
    DbTableRow* GetRow(int i);
    DbTableRow* operator[](uint64_t i);
    uint64_t size();

    DbTableDescr* GetTableDescr() const { return m_descr; }
    DbDatabase* GetDatabase() const { return m_database; }
    // The database as the table model reaches it; null without one.
    DbTableOwner* GetOwner() const;
    bool IsInitialized() const { return m_initialized; }
    // The table's name, for the data's messages: the database sets it when
    // it registers or renames the table.
    const CString& GetName() const { return m_name; }
    void SetName(const CString& name) { m_name = name; }
    // SetXmlSource for text that is UTF-8 already, as the database reads it.
    void SetXmlText(std::string utf8);

    // Binary search over the index's row order (or the rows in their own order
    // when the index has none) on the index's fields. pos is the match or the
    // insertion position; the result is that of the last comparison (cmpEqual
    // with pos 0 for an empty table).
    DbTableRow::eCmpResult SpatialIndex(DbTableDescr::DbIndex* index, const CComVariant* keys,
                                        int count, uint64_t& pos);
    // The same search over a sorted list of row numbers; returns the position.
    uint64_t SpatialIndex(const std::vector<uint64_t>& sorted, const std::vector<uint64_t>& fields,
                          const DbTableRow& row);
    uint64_t SpatialIndex(const std::vector<uint64_t>& sorted, const std::vector<uint64_t>& fields,
                          const std::vector<CComVariant>& keys);

  private:
    bool ParseXmlData();
    // Empties the pending text and gives its memory back.
    void DropXmlText();
    // Destroys the rows from position count on.
    void DropRowsFrom(uint64_t count);
    // Appends message to the owner's log; nothing without an owner.
    void Log(const CString& message) const;

    DbRows* m_rows;
    std::string m_xmlSource;  // UTF-8
    bool m_xmlPending;
    DbDatabase* m_database;
    DbTableDescr* m_descr;
    bool m_initialized;
    CString m_name;
};
