// Copying between databases and access records: the registry order of the
// header tables, field types from the first record, NULLs, empty tables and
// the import log, the export of rows (damaged ones included), .mdb files
// opened as databases, and whole databases through the serializer.
#include "odbc_tests.h"

#include <string>
#include <vector>

using namespace odbctest;

namespace {

std::vector<std::string> Names(DbDatabase& db) {
    std::vector<std::string> names;
    for (int i = 0; i < db.GetTablesCount(); ++i) {
        names.push_back(db.GetTableName(static_cast<size_t>(i)).ToUtf8());
    }
    return names;
}

std::pair<CString, DBACCESS_VECTOR> Table(const wchar_t* name, int rows) {
    DBACCESS_VECTOR vector;
    for (int r = 0; r < rows; ++r) {
        DBACCESS_RECORD record;
        record[L"title"] = CString(name);
        vector.push_back(record);
    }
    return {name, vector};
}

// A cell's text, "<null>" for a null cell.
std::string Cell(DbDatabase& db, const wchar_t* table, int row, const wchar_t* field) {
    DbTableRow& r = *db.GetTableData(table)->GetRow(row);
    if (r[CString(field)].IsNull()) {
        return "<null>";
    }
    CString text;
    r[CString(field)].ValueToString(text);
    return text.ToUtf8();
}

}  // namespace

TEST(CopyFrom, HeaderTablesComeFirstOrAreCreated) {
    DBACCESS_ALL all;
    all.push_back(Table(L"parts", 1));
    all.push_back(Table(L"Properties", 1));
    all.push_back(Table(L"HEADER", 1));
    DbDatabase db;
    db.Create(L"");
    db.CopyFrom(all);
    EXPECT_EQ(Names(db), (std::vector<std::string>{"Header", "Properties", "parts"}));
    // The existing header tables were refilled from the pairs, column j into
    // field j.
    EXPECT_EQ(Cell(db, L"Header", 0, L"category"), "HEADER");
    EXPECT_EQ(db.GetTableDescr(L"Header")->GetFieldCount(), 6u);

    DbDatabase bare;
    DBACCESS_ALL body;
    body.push_back(Table(L"parts", 2));
    bare.CopyFrom(body);
    EXPECT_EQ(Names(bare), (std::vector<std::string>{"Header", "Properties", "parts"}));
    EXPECT_EQ(bare.GetTableData(L"Header")->size(), 1u);
    EXPECT_EQ(bare.GetTableData(L"Properties")->size(), 1u);
    EXPECT_EQ(bare.GetTableData(L"parts")->size(), 2u);
}

TEST(CopyTableFrom, FieldTypesValuesNullsAndEmptyTables) {
    DBACCESS_VECTOR rows;
    for (int r = 0; r < 2; ++r) {
        DBACCESS_RECORD record;
        record[L"flag"] = r == 1;
        record[L"small"].shortValue = static_cast<SHORT>(r - 5);
        record[L"small"].type = DBACCESS_COLUMN::typeShort;
        record[L"count"] = static_cast<long>(r * 1000);
        record[L"ratio"] = 0.5f;
        record[L"weight"] = 2.25 * r;
        CByteArray bytes;
        bytes.Add(static_cast<BYTE>(r));
        record[L"data"] = bytes;
        record[L"name"] = CString(r == 0 ? L"" : L"Grüße");
        record[L"later"] = 7L;
        record[L"nothing"].type = DBACCESS_COLUMN::typeNone;
        rows.push_back(record);
    }
    // NULL in the first record: the type comes from the next.
    rows[0][L"later"] = CString();
    rows[0][L"later"].SetNull(true);
    rows[1][L"name"].SetNull(false);

    DbDatabase db;
    db.Create(L"");
    db.CopyTableFrom({L"Sample", rows});
    DbTableDescr& descr = *db.GetTableDescr(L"sample");
    std::vector<VARTYPE> types;
    for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
        types.push_back(descr.GetField(static_cast<int>(f)).GetType());
    }
    EXPECT_EQ(types, (std::vector<VARTYPE>{VT_BOOL, VT_I4, VT_I4, VT_R4, VT_R8, VT_ARRAY | VT_UI1,
                                           VT_BSTR, VT_I4, VT_EMPTY}));
    EXPECT_EQ(Cell(db, L"Sample", 1, L"flag"), "true");
    EXPECT_EQ(Cell(db, L"Sample", 0, L"small"), "-5");
    EXPECT_EQ(Cell(db, L"Sample", 1, L"count"), "1000");
    EXPECT_EQ(Cell(db, L"Sample", 1, L"weight"), "2.25");
    EXPECT_EQ(Cell(db, L"Sample", 1, L"name"), "Grüße");
    EXPECT_EQ(Cell(db, L"Sample", 0, L"name"), "");  // empty text, not null
    EXPECT_EQ(Cell(db, L"Sample", 0, L"later"), "<null>");
    EXPECT_EQ(Cell(db, L"Sample", 1, L"later"), "7");

    // Back out: a column per field, values by their variant type, the null
    // marked.
    DBACCESS_VECTOR out;
    db.GetTable(L"SAMPLE", out);
    ASSERT_EQ(out.size(), 2u);
    ASSERT_EQ(out[1].size(), descr.GetFieldCount());
    EXPECT_EQ(out[1][0].type, DBACCESS_COLUMN::typeInt);
    EXPECT_EQ(out[1][0].intValue, 1);
    EXPECT_EQ(out[0][1].type, DBACCESS_COLUMN::typeLong);  // a short came in as a 4-byte field
    EXPECT_EQ(out[0][1].longValue, -5);
    EXPECT_EQ(out[1][3].type, DBACCESS_COLUMN::typeFloat);
    EXPECT_EQ(out[1][5].type, DBACCESS_COLUMN::typeBinary);
    EXPECT_EQ(out[1][5].binaryValue.GetSize(), 1);
    EXPECT_EQ(out[1][6].stringValue, L"Grüße");
    EXPECT_TRUE(out[0][7].IsNull());
    EXPECT_FALSE(out[0][6].IsNull());
    EXPECT_EQ(out[0][8].type, 0);  // an empty variant leaves the column unset
    EXPECT_EQ(out[0][8].name, L"nothing");

    // Refilling keeps the structure; an empty table adds no rows and notes
    // where it was found.
    DBACCESS_VECTOR empty;
    empty.emptyTable = true;
    empty.messages.push_back(L"no rows");
    db.CopyTableFrom({L"SAMPLE", empty});
    EXPECT_EQ(db.GetTableData(L"Sample")->size(), 0u);
    EXPECT_EQ(descr.GetFieldCount(), 9u);
    const std::vector<CString>& log = db.GetImportLog();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0], L"table 'SAMPLE' found in ''");
    EXPECT_EQ(log[1], L"{");
    EXPECT_EQ(log[2], L"   no rows");
    EXPECT_EQ(log[3], L"}");
    db.GetTable(L"unknown", out);  // nothing for an unknown name
    EXPECT_EQ(out.size(), 2u);
}

TEST(GetTable, DamagedRowsAndBooleans) {
    DbDatabase db;
    db.Create(L"");
    DbTableInfo* entry = db.CreateTable(L"t", DbTableInfo::TABLE);
    entry->descr->CreateField(L"a", false, DbFieldDescr::ftBoolean);
    entry->descr->CreateField(L"b", false, DbFieldDescr::ftText);
    entry->data->AddRows(2);
    entry->data->GetRow(0)->GetField(0).GetVariant().boolVal = 1;  // set, but not all bits
    entry->data->GetRow(1)->GetField(0).GetVariant() = true;
    DBACCESS_VECTOR out;
    db.GetTable(entry, out);
    EXPECT_EQ(out[0][0].intValue, 0);
    EXPECT_EQ(out[1][0].intValue, 1);

    // Rows that lost a value to their descriptor are exported as markers.
    entry->data->GetRows()->Update(0, false);
    db.GetTable(entry, out);
    ASSERT_EQ(out.size(), 2u);
    for (const DBACCESS_COLUMN& column : out[0]) {
        EXPECT_EQ(column.type, DBACCESS_COLUMN::typeShort);
        EXPECT_EQ(column.shortValue, -1);
        EXPECT_EQ(column.name, L"");
    }
}

TEST(MdbDatabase, ReadThroughOdbcAndUnchanged) {
    DbSource::ForceXML = false;
    DbDatabase db(FixtureFile("testV1997.mdb"));
    EXPECT_TRUE(db.GetSource()->IsMdbBased());
    EXPECT_EQ(Names(db), (std::vector<std::string>{"Header", "Properties", "Table1", "Table2",
                                                   "Table3", "Table4"}));
    EXPECT_FALSE(db.IsChanged());
    EXPECT_NE(db.GetErrorLog().Find(L"Importing mdb file"), -1);
    EXPECT_EQ(Cell(db, L"Table1", 1, L"E"), "333333333");
    EXPECT_EQ(Cell(db, L"Table1", 1, L"F"), "444.555");
    EXPECT_EQ(Cell(db, L"Table1", 1, L"G"), "1974-09-21 00:00:00");
    EXPECT_EQ(Cell(db, L"Table1", 1, L"H"), "3.5000");
    EXPECT_EQ(Cell(db, L"Table1", 1, L"I"), "true");
    // An empty table keeps the definition of its columns.
    EXPECT_EQ(db.GetTableData(L"Table3")->size(), 0u);
    EXPECT_EQ(db.GetTableDescr(L"Table3")->GetFieldCount(), 2u);
    EXPECT_EQ(db.GetImportLog().size(), 3u);  // Table2, Table3 and Table4 are empty

    // A file that is no Access database fails with the driver named.
    ScratchDir dir;
    WriteBytes(dir.Path("broken.mdb"), std::string(8192, 'x'));
    const std::string message = DbErrorOf([&] {
        DbDatabase broken(dir.File("broken.mdb"));
        broken.GetTablesCount();
    });
    DbSource::ForceXML = true;
    EXPECT_NE(message.find("broken.mdb"), std::string::npos) << message;
}

TEST(Serializer, WholeDatabasesThroughXmlAndSqlite) {
    ScratchDir dir;
    DBACCESS_ALL mdb;
    ASSERT_TRUE(DbSerializer::Load(FixtureFile("test2V2003.mdb"), mdb));
    ASSERT_EQ(mdb.size(), 1u);
    EXPECT_EQ(mdb[0].first, L"MSP_PROJECTS");

    // mdb -> xml -> access records: the same values.
    ASSERT_TRUE(DbSerializer::Save(dir.File("copy.xml"), mdb));
    DBACCESS_ALL xml;
    ASSERT_TRUE(DbSerializer::Load(dir.File("copy.xml"), xml));
    ASSERT_EQ(xml.size(), 3u);  // with the header tables
    DBACCESS_VECTOR projects;
    ASSERT_TRUE(DbSerializer::CopyTableFromDatabase(xml, L"MSP_PROJECTS", projects));
    ASSERT_EQ(projects.size(), 1u);
    const DBACCESS_RECORD& original = mdb[0].second[0];
    for (const DBACCESS_COLUMN& column : original) {
        const DBACCESS_COLUMN& copy = projects[0].find(column.name);
        // Short integers become 4-byte fields on the way in.
        EXPECT_EQ(Text(copy), Text(column)) << column.name.ToUtf8();
    }

    // xml -> SQLite -> access records.
    const CString target = dir.File("whole.sqlite");
    ASSERT_TRUE(DbSerializer::Save(target, xml, SqliteConnection()));
    DBACCESS_ALL sqlite;
    ASSERT_TRUE(DbSerializer::Load(target, sqlite, SqliteConnection()));
    ASSERT_EQ(sqlite.size(), 3u);
    DBACCESS_VECTOR back;
    ASSERT_TRUE(DbSerializer::CopyTableFromDatabase(sqlite, L"MSP_PROJECTS", back));
    ASSERT_EQ(back.size(), 1u);
    for (const DBACCESS_COLUMN& column : projects[0]) {
        EXPECT_EQ(Text(back[0].find(column.name)), Text(column)) << column.name.ToUtf8();
        EXPECT_EQ(back[0].find(column.name).IsNull(), column.IsNull()) << column.name.ToUtf8();
    }
}
