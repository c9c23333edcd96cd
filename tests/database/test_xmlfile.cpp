// The XML database file: what the project writes reads back equal in both
// reading modes, hand-written files are read by position, damaged files are
// refused, and saving follows its extension rules without ever losing the
// previous file.
#include "files.h"

#include <gmock/gmock.h>

#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "tests/patterns.h"
#include "tests/platform/faulty_files.h"

namespace {

const std::string kData = KORVAN_TEST_DATA "/database/";

// Everything a reader can see of a database, one line per table, field and
// row, read through the public accessors (which read the file as needed).
std::string Dump(DbDatabase& db) {
    std::ostringstream out;
    for (size_t i = 0; i < static_cast<size_t>(db.GetTablesCount()); ++i) {
        out << "table " << db.GetTableName(i).ToUtf8() << " "
            << db.GetTableInfo(db.GetTableName(i))->type << "\n";
        const DbTableDescr& descr = *db.GetTableDescr(i);
        for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
            const DbFieldDescr& field = descr.GetField(static_cast<int>(f));
            out << " field " << field.GetName().ToUtf8() << " " << field.GetType() << " "
                << field.IsKey() << "\n";
        }
        DbTableData& data = *db.GetTableData(i);
        for (uint64_t r = 0; r < data.size(); ++r) {
            out << " row";
            for (size_t f = 0; f < data[r]->GetFieldCount(); ++f) {
                const DbFieldValue& cell = (*data[r])[f];
                out << " " << cell.GetType() << "[" << testtables::TextOf(cell).ToUtf8() << "]";
            }
            out << "\n";
        }
    }
    return out.str();
}

// A database with a table of every field type, awkward texts and a query.
void Fill(DbDatabase& db) {
    DbTableRow& header = *db.GetHeaderData()->GetRow(0);
    header.SetValue(L"title", CComVariant(L"Types \u0141\u00f3d\u017a \u0416 \U0001F600"));
    DbTableInfo* table = db.CreateTable(L"all types", DbTableInfo::TABLE);
    testtables::Fill(*table->descr, *table->data,
                     {{L"name (text)", DbFieldDescr::ftText},
                      {L"flag", DbFieldDescr::ftBoolean},
                      {L"count", DbFieldDescr::ftLong},
                      {L"ratio", DbFieldDescr::ftFloat},
                      {L"mass/m", DbFieldDescr::ftDouble},
                      {L"blob", DbFieldDescr::ftBinary}},
                     {{L"plain", true, 0, 0.0f, 0.0},
                      {L"quote \" apostrophe ' amp & lt < gt >", false, -7, 0.5f, 12.375},
                      {L"two\r\nlines\tand tab", true, -14, 1.0f, 24.75},
                      {L"", false, -21, 1.5f, 37.125}});
    table->descr->GetField(0).SetKey(true);
    for (int i = 0; i < 4; ++i) {  // 0 to 90 bytes, the longest past a line break
        (*table->data)[i]->SetValue(L"blob", CString(std::wstring(40 * i, L'A' + i).c_str()));
    }
    db.CreateTable(L"empty", DbTableInfo::TABLE)
        ->descr->CreateField(L"x", false, DbFieldDescr::ftText);
    db.CreateTable(L"\U00010400 beyond", DbTableInfo::TABLE)  // Deseret capital
        ->descr->CreateField(L"\U00020000", false, DbFieldDescr::ftText);
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
// or the log when a table's rows could not be read, or "". The database is
// then changed and saved to its file under two spellings: after a failed
// read both saves must be refused.
std::string ReadOutcome(const std::string& path, bool sequential) {
    const CString file(path.c_str());
    Reader db(file);
    db.GetSource()->SetSequentialAccess(sequential);
    std::string logged;
    const std::string thrown = DbErrorOf([&] {
        for (size_t i = 0; i < static_cast<size_t>(db.GetTablesCount()); ++i) {
            if (db.GetTableData(i)->GetRows() == nullptr) {
                logged = db.GetErrorLog().ToUtf8();
            }
        }
        db.LoadTables();
    });
    DbErrorOf([&] {
        db.CreateTable(L"new", DbTableInfo::TABLE)
            ->descr->CreateField(L"x", false, DbFieldDescr::ftText);
    });
    const std::filesystem::path name(path);
    const std::string otherSpelling = (name.parent_path() / "." / name.filename()).string();
    for (const std::string& target : {path, otherSpelling}) {
        EXPECT_FALSE(db.Save(CString(target.c_str())));
        EXPECT_EQ(testtables::TakeLog(db).back(),
                  "Database not saved to '" + target +
                      "': reading that file failed, and the database does not hold all of it");
    }
    return thrown.empty() ? logged : thrown;
}

}  // namespace

TEST(XmlFile, WrittenFilesReadBackEqualInBothModes) {
    ScratchDir dir;
    std::string written;
    {
        DbDatabase db;
        db.Create(dir.File("types.xml"));
        Fill(db);
        written = Dump(db);
        ASSERT_TRUE(db.Save(dir.File("types.xml")));
        EXPECT_FALSE(db.IsChanged());
    }
    const std::string bytes = ReadBytes(dir.Path("types.xml"));
    EXPECT_EQ(bytes.rfind("<?xml version='1.0' encoding='UTF-8'?>\n", 0), 0u) << bytes;
    EXPECT_EQ(bytes.find("Query_77"), std::string::npos);  // queries are never written
    // Characters beyond U+FFFF are four bytes of UTF-8, never surrogates.
    EXPECT_NE(bytes.find("\xF0\x9F\x98\x80"), std::string::npos);
    EXPECT_NE(bytes.find("\xF0\xA0\x80\x80"), std::string::npos);
    EXPECT_EQ(bytes.find("\xED\xA0"), std::string::npos);
    // The query is the last entry; without it the dump is the same.
    written = written.substr(0, written.find("table Query_77"));
    for (bool sequential : {false, true}) {
        SCOPED_TRACE(sequential);
        DbDatabase db(dir.File("types.xml"));
        db.GetSource()->SetSequentialAccess(sequential);
        EXPECT_EQ(Dump(db), written);
        // Names beyond U+FFFF match without regard to case too.
        EXPECT_NE(db.GetTableInfo(L"\U00010428 BEYOND"), nullptr);
        // Writing again what was read gives the same bytes.
        ASSERT_TRUE(db.Save(dir.File("again.xml")));
        EXPECT_EQ(ReadBytes(dir.Path("again.xml")), bytes);
    }

    // A read that fails is refused with the reason, and the changed database
    // does not write over the file.
    for (bool sequential : {false, true}) {
        SCOPED_TRACE(sequential);
        FaultyFiles files;
        korvan::ScopedFileSystem use(files);
        files.failReadAfter = 200;
        DbDatabase failing(dir.File("types.xml"));
        failing.GetSource()->SetSequentialAccess(sequential);
        const std::string failure = DbErrorOf([&] { failing.GetTablesCount(); });
        EXPECT_NE(failure.find("Cannot read '" + dir.Path("types.xml") + "': injected: read"),
                  std::string::npos)
            << failure;
        failing.CreateTable(L"new", DbTableInfo::TABLE)
            ->descr->CreateField(L"x", false, DbFieldDescr::ftText);
        EXPECT_TRUE(failing.IsChanged());
    }
    EXPECT_EQ(ReadBytes(dir.Path("types.xml")), bytes);
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
        EXPECT_EQ((*db.GetHeaderData()->GetRow(0))[0].GetValue(), CComVariant(L"Hand-written"));
        // Read in one go the data goes by name, read in sequence by position.
        EXPECT_EQ(db.GetTableData(CString(L"steel"))->size(), sequential ? 1u : 2u);
        EXPECT_EQ(db.GetTableData(CString(L"timber"))->size(), sequential ? 2u : 1u);
        const std::string log = db.GetErrorLog().ToUtf8();
        const auto extracted =
            test_patterns::ContainsShape("Table 'steel' xml source extracted in +.#### [s]");
        EXPECT_EQ(::testing::Value(log, extracted), sequential) << log;
        EXPECT_FALSE(db.IsChanged());
        EXPECT_FALSE(DbDatabase(db).IsChanged());
    }
    EXPECT_EQ(ReadBytes(dir.Path("hand.xml")), original);  // nobody wrote the file

    // A header data section holding one table: the other header table has no
    // rows, and a reader looking for it must not pass over the body.
    std::string oneHeaderRow = original;
    const std::string properties = "<table id=\"Properties\"><row units=\"metric\"/></table>";
    oneHeaderRow.erase(oneHeaderRow.find(properties), properties.size());
    WriteBytes(dir.Path("one.xml"), oneHeaderRow);
    for (bool sequential : {false, true}) {
        SCOPED_TRACE(sequential);
        DbDatabase db(dir.File("one.xml"));
        db.GetSource()->SetSequentialAccess(sequential);
        EXPECT_EQ(db.GetTableData(CString(L"Properties"))->size(), 0u);
        EXPECT_EQ(db.GetTableData(CString(L"timber"))->size(), sequential ? 2u : 1u);
    }
    {
        DbDatabase db(dir.File("hand.xml"));
        db.GetSource()->SetSequentialAccess(true);
        (*db.GetTableData(CString(L"steel"))->GetRow(0))[1].SetValue(CComVariant(240.0));
    }
    // The timber row read into "steel" was changed and saved so.
    DbDatabase db(dir.File("hand.xml"));
    std::string dump = Dump(db);
    EXPECT_EQ(dump.substr(dump.find("table steel")),
              "table steel 1\n field grade 8 1\n field strength 5 0\n row 8[C24] 5[240]\n"
              "table timber 1\n field grade 8 1\n field strength 5 0\n row 8[S235] 5[235]\n"
              " row 8[S355] 5[355]\n");

    // Header tables missing from the file are added at the end.
    DbDatabase positional(CString((kData + "positional.xml").c_str()));
    dump = Dump(positional);
    EXPECT_EQ(
        dump.substr(0, dump.find(" field", dump.find("table Header"))),
        "table parts 1\n field id 3 1\n field ok 11 0\n row 3[7] 11[true]\n row 3[9] 11[false]\n"
        "table notes 1\n field text 8 0\n row 8[a & b <c>]\ntable Header 1\n");
    EXPECT_EQ(positional.GetTableName(3), L"Properties");
    EXPECT_FALSE(positional.IsChanged());
}

TEST(XmlFile, DamagedFilesAreRefused) {
    // file, what reading the whole document reports, what sequential
    // reading reports (the DbException message or the logged refusal).
    const std::tuple<const char*, const char*, const char*> cases[] = {
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
    // Where each exception says it was thrown ("Db_Source @ 97"), with the
    // fault it reported there (its message without names, numbers and the
    // parser's details).
    std::map<std::string, std::string> places;
    const std::regex place("File: ([A-Za-z_]+ @ [0-9]+)\r\nMessage: (.*)");
    const std::regex particulars("'[^']*'|[0-9]+|: .*");
    for (const auto& [file, whole, sequential] : cases) {
        SCOPED_TRACE(file);
        const std::string path = dir.Path(file);
        const std::string bytes = ReadBytes(kData + "damaged/" + file);
        WriteBytes(path, bytes);
        for (const auto& [isSequential, expected] : {std::pair(false, whole), {true, sequential}}) {
            const std::string outcome = ReadOutcome(path, isSequential);
            EXPECT_NE(outcome.find(expected), std::string::npos) << outcome;
            std::smatch where;
            if (std::regex_search(outcome, where, place)) {
                const std::string fault = std::regex_replace(where[2].str(), particulars, "");
                const auto [known, added] = places.emplace(where[1], fault);
                EXPECT_EQ(known->second, fault) << "two faults reported at " << where[1];
            }
        }
        // A database whose file failed to read never writes over it.
        EXPECT_EQ(ReadBytes(path), bytes);
    }
    EXPECT_GE(places.size(), 10u);
}

namespace {

// A database whose log throws a foreign exception (not the library's own)
// at the first line that starts with trap, as memory running out might in
// the middle of reading.
class Trapped : public DbDatabase {
  public:
    Trapped(const CString& file, const char* trap) : DbDatabase(file), m_trap(trap) {}

  protected:
    void Log(const CString& message) override {
        if (m_trap != nullptr && message.ToUtf8().rfind(m_trap, 0) == 0) {
            m_trap = nullptr;
            throw std::runtime_error("trapped");
        }
        DbDatabase::Log(message);
    }

  private:
    const char* m_trap;
};

}  // namespace

// A read ended by any exception goes on to the caller, leaves nothing half
// done behind, and the database never writes over its file.
TEST(XmlFile, ReadingCutShortByAForeignExceptionLeavesNothingHalfDone) {
    ScratchDir dir;
    const std::string original = ReadBytes(kData + "handwritten.xml");
    WriteBytes(dir.Path("hand.xml"), original);
    {
        // Whole document: the registry is dropped.
        Trapped db(dir.File("hand.xml"), "Table 'steel' [");
        EXPECT_THROW(db.GetTablesCount(), std::runtime_error);
        EXPECT_EQ(db.GetTablesCount(), 0);
        db.CreateTable(L"new", DbTableInfo::TABLE)
            ->descr->CreateField(L"x", false, DbFieldDescr::ftText);
        EXPECT_TRUE(db.IsChanged());
    }
    EXPECT_EQ(ReadBytes(dir.Path("hand.xml")), original);
    {
        // Sequential: rows parsed on first access. The text stays pending
        // without the rows made from it, so the next access reads it again.
        Trapped db(dir.File("hand.xml"), "Table 'steel' [");
        db.GetSource()->SetSequentialAccess(true);
        DbTableData* steel = db.GetTableData(CString(L"steel"));
        EXPECT_THROW(steel->size(), std::runtime_error);
        EXPECT_EQ(steel->size(), 1u);
        (*steel->GetRow(0))[1].SetValue(CComVariant(240.0));
        EXPECT_TRUE(db.IsChanged());
    }
    EXPECT_EQ(ReadBytes(dir.Path("hand.xml")), original);
}

// Only names ending in ".xml", in any case, are written; a failed save keeps
// the previous file whole and leaves nothing behind.
TEST(XmlFile, SaveFollowsTheExtensionAndNeverLosesTheOldFile) {
    ScratchDir dir;
    DbDatabase db;
    db.Create(dir.File("big.xml"));
    DbTableInfo* table = db.CreateTable(L"t", DbTableInfo::TABLE);
    testtables::Fill(*table->descr, *table->data, {{L"text", DbFieldDescr::ftText}},
                     testtables::Rows(2000, {L"a row of text that makes the file grow"}));
    EXPECT_FALSE(db.Save(dir.File("out.MDB")));
    EXPECT_FALSE(db.Save(dir.File("xm")));
    EXPECT_TRUE(db.IsChanged());
    ASSERT_TRUE(db.Save(dir.File("out.Xml")));
    EXPECT_TRUE(db.IsChanged());  // another file than its own
    const std::string previous = "<database>previous</database>";
    WriteBytes(dir.Path("big.xml"), previous);
    const auto entries = [&] {
        return std::distance(std::filesystem::directory_iterator(dir.path()), {});
    };
    EXPECT_EQ(entries(), 2);  // "out.Xml" and "big.xml"

    // Every fault of the file system: the save fails with the reason logged
    // and nothing is left beside the file, which before the rename is the
    // previous one byte for byte. A failed directory sync comes after it:
    // the new file is in place, but may not survive a crash.
    const std::tuple<void (*)(FaultyFiles&), const char*, bool> faults[] = {
        {[](FaultyFiles& f) { f.failCheckWritable = true; }, "injected: not writable", false},
        {[](FaultyFiles& f) { f.failCreate = true; }, "injected: create", false},
        {[](FaultyFiles& f) { f.failWrite = 1; }, "injected: write", false},
        {[](FaultyFiles& f) { f.failWrite = 3; }, "injected: write", false},
        {[](FaultyFiles& f) { f.failSync = true; }, "injected: sync", false},
        {[](FaultyFiles& f) { f.failClose = true; }, "injected: close", false},
        {[](FaultyFiles& f) { f.failRename = true; }, "injected: rename", false},
        {[](FaultyFiles& f) { f.failSyncDirectory = true; }, "injected: directory sync", true},
    };
    for (const auto& [arm, reason, replaced] : faults) {
        SCOPED_TRACE(reason);
        WriteBytes(dir.Path("big.xml"), previous);
        FaultyFiles files;
        arm(files);
        korvan::ScopedFileSystem use(files);
        EXPECT_FALSE(db.Save(dir.File("big.xml")));
        EXPECT_EQ(ReadBytes(dir.Path("big.xml")) == previous, !replaced);
        EXPECT_EQ(entries(), 2);
        EXPECT_EQ(testtables::TakeLog(db).back(),
                  "Database not saved to '" + dir.Path("big.xml") + "': " + reason);
        EXPECT_TRUE(db.IsChanged());
    }

    // The target cannot be replaced: it is a directory.
    std::filesystem::create_directory(dir.Path("taken.xml"));
    EXPECT_FALSE(db.Save(dir.File("taken.xml")));
    EXPECT_TRUE(std::filesystem::is_directory(dir.Path("taken.xml")));
    EXPECT_EQ(testtables::TakeLog(db).back(),
              "Database not saved to '" + dir.Path("taken.xml") + "': Is a directory");
    EXPECT_EQ(entries(), 3);

    ASSERT_TRUE(db.Save(dir.File("big.xml")));
    EXPECT_FALSE(db.IsChanged());
    EXPECT_EQ(entries(), 3);

    // Header tables only: "body" holds an empty "structure" and "data".
    DbDatabase headers;
    headers.Create(dir.File("headers.xml"));
    pugi::xml_document doc;
    ASSERT_TRUE(headers.Save(doc, pugi::xml_node()));
    const pugi::xml_node body = doc.child("database").child("body");
    EXPECT_TRUE(body.child("structure") && !body.child("structure").first_child());
    EXPECT_TRUE(body.child("data") && !body.child("data").first_child());
}
