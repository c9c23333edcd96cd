// Whole tables written through SQLite's ODBC driver and read back: column
// types from the driver, values of every tag, long texts and binary values of
// changing lengths, NULL beside empty text, replacement in full, and writes
// that fail without leaving anything behind.
#include "odbc_tests.h"

#include <sqlite3.h>

using namespace odbctest;

namespace {

DBACCESS_RECORD Row(long id, const wchar_t* name, double weight, bool flag, short small,
                    float ratio, const std::vector<BYTE>& bytes) {
    DBACCESS_RECORD record;
    record[L"id"] = id;
    record[L"name"] = CString(name);
    record[L"weight"] = weight;
    record[L"flag"] = flag;
    record[L"small"].shortValue = small;
    record[L"small"].type = DBACCESS_COLUMN::typeShort;
    record[L"ratio"] = ratio;
    CByteArray binary;
    for (BYTE b : bytes) {
        binary.Add(b);
    }
    record[L"data"] = binary;
    return record;
}

// The column types of a table as SQLite itself records them.
std::string DeclaredTypes(const std::string& file, const std::string& table) {
    sqlite3* db = nullptr;
    std::string types;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* st = nullptr;
        const std::string sql = "SELECT type FROM pragma_table_info('" + table + "')";
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr) == SQLITE_OK) {
            while (sqlite3_step(st) == SQLITE_ROW) {
                types += std::string(types.empty() ? "" : " ") +
                         reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
            }
        }
        sqlite3_finalize(st);
    }
    sqlite3_close(db);
    return types;
}

}  // namespace

TEST(DbAccessWrite, SqliteTablesRoundTripEveryTag) {
    ScratchDir dir;
    const CString file = dir.File("target.sqlite");
    std::wstring longText(100000, L'x');
    longText += L"€ end";  // beyond the text read piece, and beyond ASCII
    DBACCESS_VECTOR rows;
    rows.push_back(Row(1, L"Grüße 日本", 2.5, true, -7, 0.25f, {1, 2, 3}));
    rows.push_back(Row(333333333, longText.c_str(), -1e300, false, 32767, 1e-3f,
                       std::vector<BYTE>(70000, 0xAB)));
    rows.push_back(Row(3, L"", 0, false, 0, 0, {}));
    rows[2][L"name"].SetNull(false);  // empty text, not NULL
    rows.push_back(Row(4, L"", 0, false, 0, 0, {9}));
    for (DBACCESS_COLUMN& column : rows[3]) {
        if (column.name != L"id") {
            column.SetNull(true);
        }
    }
    {
        DBACCESS access(file, DBACCESS::noOdbcDialog, SqliteConnection());
        ASSERT_TRUE(access.SetTableData(L"My Table", rows));
    }
    EXPECT_EQ(CString(DeclaredTypes(dir.Path("target.sqlite"), "My Table").c_str()).MakeLower(),
              L"integer text double bit smallint float longvarbinary");

    DBACCESS access(file, DBACCESS::openReadOnly, SqliteConnection());
    std::vector<CString> tables;
    ASSERT_TRUE(access.GetTables(tables));
    ASSERT_EQ(tables.size(), 1u);
    EXPECT_EQ(tables[0], L"My Table");
    DBACCESS_VECTOR back;
    ASSERT_TRUE(access.GetTableData(L"My Table", back));
    ASSERT_EQ(back.size(), rows.size());
    for (size_t r = 0; r < rows.size(); ++r) {
        SCOPED_TRACE(r);
        const DBACCESS_RECORD& in = rows[r];
        const DBACCESS_RECORD& out = back[r];
        EXPECT_EQ(out.GetLong(L"id"), in.GetLong(L"id"));
        EXPECT_EQ(out.find(L"name").IsNull(), in.find(L"name").IsNull());
        EXPECT_EQ(out.GetString(L"name"), in.GetString(L"name"));
        if (in.find(L"weight").IsNull()) {
            for (const DBACCESS_COLUMN& column : out) {
                EXPECT_EQ(column.IsNull(), column.name != L"id") << column.name.ToUtf8();
            }
            continue;
        }
        EXPECT_EQ(out.find(L"id").type, DBACCESS_COLUMN::typeLong);
        EXPECT_EQ(out.GetDouble(L"weight"), in.GetDouble(L"weight"));
        EXPECT_EQ(out.find(L"flag").type, DBACCESS_COLUMN::typeInt);
        EXPECT_EQ(out.GetBool(L"flag"), in.GetBool(L"flag"));
        EXPECT_EQ(out.find(L"small").type, DBACCESS_COLUMN::typeShort);
        EXPECT_EQ(out.find(L"small").shortValue, in.find(L"small").shortValue);
        // SQLite keeps reals as doubles: a single comes back as a double of
        // the same value.
        EXPECT_EQ(out.find(L"ratio").type, DBACCESS_COLUMN::typeDouble);
        EXPECT_EQ(static_cast<float>(out.find(L"ratio").doubleValue), in.GetFloat(L"ratio"));
        EXPECT_TRUE(Text(out.find(L"data")) == Text(in.find(L"data")))
            << out.find(L"data").binaryValue.GetSize() << " bytes";
    }

    // A second write replaces the rows in full.
    DBACCESS writer(file, DBACCESS::noOdbcDialog, SqliteConnection());
    DBACCESS_VECTOR one;
    one.push_back(rows[0]);
    ASSERT_TRUE(writer.SetTableData(L"My Table", one));
    EXPECT_EQ(writer.GetRecordsetsNumber(L"My Table"), 1);
    // An empty vector cannot create a table.
    EXPECT_FALSE(writer.SetTableData(L"Nothing", DBACCESS_VECTOR()));
    EXPECT_EQ(writer.GetRecordsetsNumber(L"My Table"), 1);
}

TEST(DbAccessWrite, EmptyTablesAndDefinitions) {
    ScratchDir dir;
    const CString file = dir.File("empty.sqlite");
    DBACCESS access(file, DBACCESS::noOdbcDialog, SqliteConnection());
    DBACCESS_VECTOR definition;
    definition.push_back(Row(0, L"", 0, false, 0, 0, {}));
    definition.emptyTable = true;  // the record only defines the columns
    ASSERT_TRUE(access.SetTableData(L"defined", definition));
    EXPECT_EQ(access.GetRecordsetsNumber(L"defined"), 0);

    DBACCESS_VECTOR read;
    ASSERT_TRUE(access.GetTableData(L"defined", read));
    EXPECT_TRUE(read.emptyTable);
    EXPECT_TRUE(read.empty());

    DBACCESS::m_forceExtractTableDefiniton = true;
    ASSERT_TRUE(access.GetTableData(L"defined", read));
    DBACCESS::m_forceExtractTableDefiniton = false;
    EXPECT_TRUE(read.emptyTable);
    ASSERT_EQ(read.size(), 1u);
    std::vector<std::string> columns;
    for (const DBACCESS_COLUMN& column : read[0]) {
        columns.push_back(column.name.ToUtf8() + ":" + std::to_string(column.type));
    }
    // Typed zero values: integers as shorts, reals as doubles, a binary
    // column no value (an empty text).
    EXPECT_EQ(columns, (std::vector<std::string>{"id:3", "name:10", "weight:7", "flag:1", "small:3",
                                                 "ratio:7", "data:10"}));
}

TEST(DbAccessWrite, FailuresNameTheTargetAndLeaveNothingBehind) {
    ScratchDir dir;
    const CString file = dir.File("fail.sqlite");
    DBACCESS access(file, DBACCESS::noOdbcDialog, SqliteConnection());
    DBACCESS_VECTOR rows;
    rows.push_back(Row(1, L"a", 1, true, 1, 1, {1}));
    rows.push_back(Row(2, L"b", 2, false, 2, 2, {2}));
    ASSERT_TRUE(access.SetTableData(L"kept", rows));

    // A table with a unique key refuses the second row: the new table is
    // gone again, and an existing table keeps its rows.
    access.SetTableData(L"unique", DBACCESS_VECTOR());
    DBACCESS_VECTOR duplicate;
    duplicate.push_back(Row(1, L"a", 1, true, 1, 1, {1}));
    duplicate.push_back(duplicate[0]);
    {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(dir.Path("fail.sqlite").c_str(), &db), SQLITE_OK);
        sqlite3_exec(db, "CREATE UNIQUE INDEX one_id ON kept (id)", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    }
    const std::string message = OdbcErrorOf([&] { access.SetTableData(L"kept", duplicate); });
    EXPECT_NE(message.find("Cannot write table 'kept'"), std::string::npos) << message;
    EXPECT_NE(message.find("fail.sqlite"), std::string::npos) << message;
    EXPECT_NE(message.find("UNIQUE"), std::string::npos) << message;
    EXPECT_EQ(access.GetRecordsetsNumber(L"kept"), 2);

    std::vector<CString> before;
    ASSERT_TRUE(access.GetTables(before));
    // A column name the driver refuses after the table was created.
    DBACCESS_VECTOR bad;
    DBACCESS_RECORD record;
    record[L"a"] = 1L;
    record[L"A"] = 2L;  // the same column name to SQLite
    bad.push_back(record);
    EXPECT_NE(OdbcErrorOf([&] { access.SetTableData(L"new table", bad); }), "");
    std::vector<CString> after;
    ASSERT_TRUE(access.GetTables(after));
    EXPECT_EQ(after.size(), before.size());

    // Missing drivers and files.
    const std::string noDriver =
        OdbcErrorOf([&] { DBACCESS missing(file, 0, L"Driver={No Such Driver};Database=%s"); });
    EXPECT_NE(noDriver.find("No Such Driver"), std::string::npos) << noDriver;
    EXPECT_NE(noDriver.find("fail.sqlite"), std::string::npos) << noDriver;
    const std::string noFile = OdbcErrorOf([&] { DBACCESS missing(dir.File("none.mdb")); });
    EXPECT_NE(noFile.find("none.mdb"), std::string::npos) << noFile;
    EXPECT_NE(noFile.find("Microsoft Access Driver (*.mdb)"), std::string::npos) << noFile;

    // mdbtools reads only.
    DBACCESS mdb(FixtureFile("testV1997.mdb"));
    const std::string readOnly = OdbcErrorOf([&] { mdb.SetTableData(L"Table3", rows); });
    EXPECT_NE(readOnly.find("only reads"), std::string::npos) << readOnly;
}

// Rows go to SQLite a batch per statement. Counts on either side of what
// one statement carries, for a layout of one column and of five, come back
// in order, with their NULLs, empty texts and binary values whose lengths
// change from row to row and from batch to batch; each write replaces the
// rows of the one before.
TEST(DbAccessWrite, BatchedRowsComeBackInOrder) {
    ScratchDir dir;
    DBACCESS access(dir.File("batches.sqlite"), DBACCESS::noOdbcDialog, SqliteConnection());
    for (size_t columns : {1u, 5u}) {
        for (size_t count : {1u, 198u, 199u, 200u, 256u, 257u, 1000u}) {
            SCOPED_TRACE(std::to_string(columns) + " columns, " + std::to_string(count) + " rows");
            const DBACCESS_VECTOR rows = MixedRows(count, columns);
            const CString table = StringBuilder(L"columns %d", static_cast<int>(columns));
            ASSERT_TRUE(access.SetTableData(table, rows));
            DBACCESS_VECTOR back;
            ASSERT_TRUE(access.GetTableData(table, back));
            ExpectSameRows(rows, back);
        }
    }
}

// A refusal in a later batch, after earlier ones went to the file, or in
// the rows left over after the last full batch, rolls the whole write back:
// the table keeps exactly the rows it had.
TEST(DbAccessWrite, RefusalAfterEarlierBatchesKeepsTheOldRows) {
    ScratchDir dir;
    DBACCESS access(dir.File("refusal.sqlite"), DBACCESS::noOdbcDialog, SqliteConnection());
    const DBACCESS_VECTOR old = MixedRows(300);
    ASSERT_TRUE(access.SetTableData(L"kept", old));
    {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(dir.Path("refusal.sqlite").c_str(), &db), SQLITE_OK);
        sqlite3_exec(db, "CREATE UNIQUE INDEX one_id ON kept (id)", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    }
    for (size_t at : {700u, 999u}) {
        SCOPED_TRACE(at);
        DBACCESS_VECTOR rows = MixedRows(1000);
        rows[at][L"id"] = 10L;  // the id of an earlier row
        const std::string message = OdbcErrorOf([&] { access.SetTableData(L"kept", rows); });
        EXPECT_NE(message.find("UNIQUE"), std::string::npos) << message;
        DBACCESS_VECTOR back;
        ASSERT_TRUE(access.GetTableData(L"kept", back));
        ExpectSameRows(old, back);
    }
}
