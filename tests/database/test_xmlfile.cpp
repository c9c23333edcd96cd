// The XML database file: what the project writes reads back equal in both
// reading modes, hand-written files are read by position, damaged files are
// refused, and saving follows its extension rules without ever losing the
// previous file.
#include "files.h"

#include <gmock/gmock.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

namespace {

const std::string kData = KORVAN_TEST_DATA "/database/";

// Everything a reader can see of a database, one line per table, field and
// row, read through the public accessors (which read the file as needed).
std::string Dump(DbDatabase& db) {
    std::ostringstream out;
    for (int i = 0; i < db.GetTablesCount(); ++i) {
        const DbTableInfo* entry = db.GetTableInfo(db.GetTableName(static_cast<size_t>(i)));
        out << "table " << entry->name.ToUtf8() << " " << entry->type << "\n";
        const DbTableDescr& descr = *db.GetTableDescr(static_cast<size_t>(i));
        for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
            const DbFieldDescr& field = descr.GetField(static_cast<int>(f));
            out << " field " << field.GetName().ToUtf8() << " " << field.GetType() << " "
                << field.IsKey() << "\n";
        }
        DbTableData* data = db.GetTableData(static_cast<size_t>(i));
        for (uint64_t r = 0; r < data->size(); ++r) {
            out << " row";
            const DbTableRow& row = *data->GetRow(static_cast<int>(r));
            for (size_t f = 0; f < row.GetFieldCount(); ++f) {
                out << " [" << testtables::TextOf(row[f]).ToUtf8() << "]";
            }
            out << "\n";
        }
    }
    return out.str();
}

std::string DumpFile(const CString& file, bool sequential) {
    DbDatabase db(file);
    db.GetSource()->SetSequentialAccess(sequential);
    return Dump(db);
}

// A database with a table of every field type, awkward texts and a query.
void Fill(DbDatabase& db) {
    DbTableRow& header = *db.GetHeaderData()->GetRow(0);
    header.SetValue(L"title", CComVariant(L"Types \u0141\u00f3d\u017a \u0416"));
    DbTableInfo* table = db.CreateTable(L"all types", DbTableInfo::TABLE);
    DbTableDescr& descr = *table->descr;
    descr.CreateField(L"name (text)", true, DbFieldDescr::ftText);
    descr.CreateField(L"flag", false, DbFieldDescr::ftBoolean);
    descr.CreateField(L"count", false, DbFieldDescr::ftLong);
    descr.CreateField(L"ratio", false, DbFieldDescr::ftFloat);
    descr.CreateField(L"mass/m", false, DbFieldDescr::ftDouble);
    descr.CreateField(L"blob", false, DbFieldDescr::ftBinary);
    const wchar_t* const texts[] = {L"plain", L"quote \" apostrophe ' amp & lt < gt >",
                                    L"two\r\nlines\tand tab", L""};
    for (int i = 0; i < 4; ++i) {
        DbTableRow& row = *table->data->GetRow(static_cast<int>(table->data->AddRow()));
        row.SetValue(L"name (text)", CString(texts[i]));
        row.SetValue(L"flag", CComVariant(i % 2 == 0));
        row.SetValue(L"count", CComVariant(-7 * i));
        row.SetValue(L"ratio", CComVariant(0.5f * static_cast<float>(i)));
        row.SetValue(L"mass/m", CComVariant(12.375 * i));
        std::wstring blob;
        for (int b = 0; b < 40 * i; ++b) {
            blob += static_cast<wchar_t>(L'A' + b % 64);
        }
        row.SetValue(L"blob", CString(blob.c_str()));
    }
    db.CreateTable(L"empty", DbTableInfo::TABLE)
        ->descr->CreateField(L"x", false, DbFieldDescr::ftText);
    db.CreateTable(L"Query_77", DbTableInfo::QUERY, L"select * from empty",
                   db.GetTableInfo(L"empty"));
}

// A database whose staged reading can be driven directly.
class Reader : public DbDatabase {
  public:
    using DbDatabase::DbDatabase;
    using DbDatabase::LoadTables;
};

// Reads every table; the outcome is the message of the DbException thrown,
// or the log when a table's rows could not be read, or "".
std::string ReadOutcome(const std::string& path, bool sequential) {
    std::string refusal;
    const std::string failure = DbErrorOf([&] {
        Reader db(CString(path.c_str()));
        db.GetSource()->SetSequentialAccess(sequential);
        for (int i = 0; i < db.GetTablesCount(); ++i) {
            if (db.GetTableData(static_cast<size_t>(i))->GetRows() == nullptr) {
                refusal = db.GetErrorLog().ToUtf8();
            }
        }
        db.LoadTables();
    });
    return failure.empty() ? refusal : failure;
}

}  // namespace

TEST(XmlFile, WrittenFilesReadBackEqualInBothModes) {
    ScratchDir dir;
    std::string written;
    {
        DbDatabase db;
        db.Create(dir.File("types.xml"));
        Fill(db);
        EXPECT_EQ(db.GetTablesCount(), 5);
        written = Dump(db);
        ASSERT_TRUE(db.Save(dir.File("types.xml")));
        EXPECT_FALSE(db.IsChanged());
    }
    const std::string bytes = ReadBytes(dir.Path("types.xml"));
    EXPECT_EQ(bytes.rfind("<?xml version='1.0' encoding='UTF-8'?>\n", 0), 0u) << bytes;
    EXPECT_EQ(bytes.find("Query_77"), std::string::npos);  // queries are never written
    // The query is the last entry; without it the dump is the same.
    written = written.substr(0, written.find("table Query_77"));
    EXPECT_EQ(DumpFile(dir.File("types.xml"), false), written);
    EXPECT_EQ(DumpFile(dir.File("types.xml"), true), written);
    // Writing again what was read gives the same bytes.
    {
        DbDatabase db(dir.File("types.xml"));
        ASSERT_TRUE(db.Save(dir.File("again.xml")));
    }
    EXPECT_EQ(ReadBytes(dir.Path("again.xml")), bytes);
}

// Hand-written files are read by position: body data goes to the body
// structure of the same place, whatever its name. Reading is no change; a
// change is saved by the destructor.
TEST(XmlFile, HandWrittenFilesAreReadByPosition) {
    ScratchDir dir;
    const std::string original = ReadBytes(kData + "handwritten.xml");
    WriteBytes(dir.Path("hand.xml"), original);
    for (bool sequential : {false, true}) {
        SCOPED_TRACE(sequential);
        DbDatabase db(dir.File("hand.xml"));
        db.GetSource()->SetSequentialAccess(sequential);
        EXPECT_EQ(db.GetTableName(2), L"steel");
        EXPECT_EQ((*db.GetHeaderData()->GetRow(0))[0].GetValue(), CComVariant(L"Hand-written"));
        // Read in one go the data goes by name, read in sequence by position.
        EXPECT_EQ(db.GetTableData(CString(L"steel"))->size(), sequential ? 1u : 2u);
        EXPECT_EQ(db.GetTableData(CString(L"timber"))->size(), sequential ? 2u : 1u);
        const std::string log = db.GetErrorLog().ToUtf8();
        const auto extracted = ::testing::ContainsRegex(
            "Table 'steel' xml source extracted in [0-9]+\\.[0-9]{4} \\[s\\]");
        EXPECT_EQ(::testing::Value(log, extracted), sequential) << log;
        EXPECT_FALSE(db.IsChanged());
        EXPECT_FALSE(DbDatabase(db).IsChanged());
    }
    EXPECT_EQ(ReadBytes(dir.Path("hand.xml")), original);  // nobody wrote the file
    {
        DbDatabase db(dir.File("hand.xml"));
        db.GetSource()->SetSequentialAccess(true);
        (*db.GetTableData(CString(L"steel"))->GetRow(0))[1].SetValue(CComVariant(240.0));
    }
    // The timber row read into "steel" was changed and saved so.
    DbDatabase db(dir.File("hand.xml"));
    EXPECT_EQ((*db.GetTableData(CString(L"timber"))->GetRow(1))[0].GetValue(),
              CComVariant(L"S355"));
    EXPECT_EQ((*db.GetTableData(CString(L"steel"))->GetRow(0))[0].GetValue(), CComVariant(L"C24"));
    EXPECT_EQ((*db.GetTableData(CString(L"steel"))->GetRow(0))[1].GetValue().dblVal, 240.0);

    DbDatabase positional(CString((kData + "positional.xml").c_str()));
    ASSERT_EQ(positional.GetTablesCount(), 4);
    EXPECT_EQ(positional.GetTableName(0), L"parts");
    EXPECT_EQ(positional.GetTableName(1), L"notes");
    EXPECT_EQ(positional.GetTableName(2), L"Header");  // added, at the end
    EXPECT_EQ(positional.GetTableName(3), L"Properties");
    DbTableData& parts = *positional.GetTableData(size_t{0});
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ((*parts.GetRow(1))[0].GetValue(), CComVariant(9));
    EXPECT_EQ((*parts.GetRow(1))[1].GetValue(), CComVariant(false));
    EXPECT_EQ((*positional.GetTableData(size_t{1})->GetRow(0))[0].GetValue(),
              CComVariant(L"a & b <c>"));
    EXPECT_FALSE(positional.IsChanged());
}

TEST(XmlFile, DamagedFilesAreRefused) {
    // file, what reading the whole document reports, what sequential
    // reading reports (the DbException message or the logged refusal).
    const struct {
        const char* file;
        const char* whole;
        const char* sequential;
    } cases[] = {
        {"truncated.xml", "XML error", "the file ends inside markup"},
        {"not_xml.xml", "XML error", "text outside the root element"},
        {"empty.xml", "XML error", "no root element"},
        {"binary_junk.xml", "Invalid UTF-8", "Malformed XML"},
        {"wrong_nesting.xml", "XML error", "end tag does not match"},
        {"invalid_utf8.xml", "Invalid UTF-8", "Invalid UTF-8"},
        {"data_without_structure.xml", "has data but no structure", "has no table structure"},
        {"unknown_attribute.xml", "Attribute 'b' of table 't'", "Attribute 'b' of table 't'"},
        {"unknown_type.xml", "unknown type '99'", "unknown type '99'"},
        {"duplicate_table.xml", "is defined twice", "is defined twice"},
        {"no_header.xml", "Invalid pointer", "Invalid pointer"},
        {"empty_header_structure.xml", "Invalid pointer", "Invalid pointer"},
        {"unnamed_table.xml", "has no name", "has no name"},
    };
    ScratchDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string path = dir.Path(c.file);
        const std::string bytes = ReadBytes(kData + "damaged/" + c.file);
        WriteBytes(path, bytes);
        const std::string whole = ReadOutcome(path, false);
        EXPECT_NE(whole.find(c.whole), std::string::npos) << whole;
        const std::string sequential = ReadOutcome(path, true);
        EXPECT_NE(sequential.find(c.sequential), std::string::npos) << sequential;

        // A database whose file failed to read never writes over it.
        {
            Reader db(CString(path.c_str()));
            db.GetSource()->SetSequentialAccess(true);
            DbErrorOf([&] { db.LoadTables(); });
            db.CreateTable(L"new", DbTableInfo::TABLE)
                ->descr->CreateField(L"x", false, DbFieldDescr::ftText);
            EXPECT_TRUE(db.IsChanged());
        }
        EXPECT_EQ(ReadBytes(path), bytes);
    }
}

TEST(XmlFile, SaveFollowsTheExtension) {
    ScratchDir dir;
    DbDatabase db;
    db.Create(dir.File("base.xml"));
    db.CreateTable(L"t", DbTableInfo::TABLE);
    EXPECT_FALSE(db.Save(dir.File("out.MDB")));
    EXPECT_FALSE(db.Save(dir.File("xm")));
    EXPECT_TRUE(db.IsChanged());
    EXPECT_FALSE(std::filesystem::exists(dir.Path("out.MDB")));
    ASSERT_TRUE(db.Save(dir.File("out.Xml")));
    EXPECT_TRUE(db.IsChanged());  // another file than its own

    // Header tables only: "body" holds an empty "structure" and "data".
    DbDatabase headers;
    headers.Create(dir.File("headers.xml"));
    pugi::xml_document doc;
    ASSERT_TRUE(headers.Save(doc, pugi::xml_node()));
    const pugi::xml_node body = doc.child("database").child("body");
    EXPECT_TRUE(body.child("structure") && !body.child("structure").first_child());
    EXPECT_TRUE(body.child("data") && !body.child("data").first_child());
    EXPECT_STREQ(body.previous_sibling().name(), "header");
    EXPECT_EQ(std::distance(doc.child("database").child("header").child("data").begin(),
                            doc.child("database").child("header").child("data").end()),
              2);
}

TEST(XmlFile, FailedSaveKeepsThePreviousFile) {
    ScratchDir dir;
    DbDatabase db;
    db.Create(dir.File("big.xml"));
    DbTableInfo* table = db.CreateTable(L"t", DbTableInfo::TABLE);
    testtables::Fill(*table->descr, *table->data, {{L"text", DbFieldDescr::ftText}},
                     testtables::Rows(2000, {L"a row of text that makes the file grow"}));
    const std::string previous = "<database>previous</database>";
    WriteBytes(dir.Path("big.xml"), previous);
    const auto leftovers = [&] {
        size_t files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
            files += entry.is_regular_file();
        }
        return files;
    };

    // The file system refuses to take the whole document.
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {4096, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const bool saved = db.Save(dir.File("big.xml"));
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_FALSE(saved);
    EXPECT_EQ(ReadBytes(dir.Path("big.xml")), previous);
    EXPECT_EQ(leftovers(), 1u);
    std::vector<CString> log;
    db.GetError(log);
    EXPECT_EQ(
        log.back(),
        CString(("Database not saved to '" + dir.Path("big.xml") + "': File too large").c_str()));

    // The target cannot be replaced: it is a directory.
    std::filesystem::create_directory(dir.Path("taken.xml"));
    EXPECT_FALSE(db.Save(dir.File("taken.xml")));
    EXPECT_TRUE(std::filesystem::is_directory(dir.Path("taken.xml")));
    EXPECT_EQ(leftovers(), 1u);

    if (geteuid() != 0) {  // root may write anywhere
        chmod(dir.path().c_str(), 0555);
        EXPECT_FALSE(db.Save(dir.File("big.xml")));
        chmod(dir.path().c_str(), 0755);
        EXPECT_EQ(ReadBytes(dir.Path("big.xml")), previous);
    }
    ASSERT_TRUE(db.Save(dir.File("big.xml")));
    EXPECT_EQ(leftovers(), 1u);
}
