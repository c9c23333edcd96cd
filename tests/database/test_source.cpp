// The data source file: classification, checks, bare names, copies and the
// streaming reader with its handling of damaged input.
#include "files.h"

#include <tuple>
#include <vector>

#include "tests/platform/faulty_files.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

// Restores the process-wide settings a test changes.
class SourceSettings : public ::testing::Test {
  protected:
    void TearDown() override {
        DbSource::ForceXML = true;
        DbSource::MaxBufferSize = 16384;
    }
};

const char* const kDocument =
    "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?>\n"
    "<!DOCTYPE database [ <!ENTITY x \"]>\"> ]>\n"
    "<!-- <database> in a comment -->\n"
    "<database>\n"
    " <header><structure><table name=\"Header\"><field name=\"a\"/></table></structure>\n"
    "  <data><table name=\"h1\"/><table name=\"h2\"><row a=\"1\"/></table></data></header>\n"
    " <body>\n"
    "  <structure><table name=\"t\"/></structure>\n"
    "  <data>\n"
    "   <table name=\"a>b/c\" note='x/>y'><row a=\"&lt;/table&gt;\"/><!-- </table> -->"
    "<![CDATA[</table><table>]]><?pi </table> ?></table>\n"
    "   <table name=\"\xC5\x81\xC3\xB3\xC5\xBA\"></table>\n"
    "  </data>\n"
    " </body>\n"
    "</database>\n";

// Files this process has open.
size_t OpenDescriptors() {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                             std::filesystem::directory_iterator()));
}

}  // namespace

// Opening checks the file (for writing too, without truncating it) and
// classifies it by its extension.
TEST_F(SourceSettings, ChecksClassificationAndNames) {
    ScratchDir dir;
    for (const char* name : {"cat.xml", "cat.XML", "cat.mdb", "cat.MDB", "cat.txt", "ab"}) {
        WriteBytes(dir.Path(name), "<database/>");
    }
    // file, ForceXML, kind (1 XML, 2 mdb, 0 unclassified), the file kept
    const std::tuple<const char*, bool, int, const char*> cases[] = {
        {"cat.xml", true, 1, "cat.xml"}, {"cat.XML", false, 1, "cat.XML"},
        {"cat.MDB", true, 1, "cat.xml"}, {"cat.mdb", false, 2, "cat.mdb"},
        {"cat.txt", true, 0, "cat.txt"}, {"ab", true, 0, "ab"},
    };
    for (const auto& [name, forceXml, kind, stored] : cases) {
        SCOPED_TRACE(name);
        DbSource::ForceXML = forceXml;
        DbSource source(nullptr, dir.File(name));
        EXPECT_EQ(source.IsXmlBased(), kind == 1);
        EXPECT_EQ(source.IsMdbBased(), kind == 2);
        EXPECT_EQ(source.IsValid(), kind != 0);
        EXPECT_EQ(source.GetFile(), dir.File(stored));
        EXPECT_FALSE(source.IsReadOnly());
        EXPECT_EQ(ReadBytes(dir.Path(stored)), "<database/>");
        source.SetSequentialAccess(true);
        EXPECT_EQ(source.IsSequentialAccess(), kind == 1);
    }
    EXPECT_EQ(DbErrorOf([&] { DbSource source(nullptr, dir.File("none.xml")); }),
              "Korvan exception thrown\r\nFile: Db_Source @ 222\r\nMessage: Invalid source file '" +
                  dir.Path("none.xml") + "'");
    {
        // A file that cannot be written is accepted and marked read only.
        FaultyFiles faults;
        faults.failCheckWritable = true;
        korvan::ScopedFileSystem use(faults);
        DbSource source(nullptr, dir.File("cat.xml"));
        EXPECT_TRUE(source.IsReadOnly());
        EXPECT_TRUE(source.IsValid());
        EXPECT_EQ(ReadBytes(dir.Path("cat.xml")), "<database/>");
    }
#if !defined(_WIN32)
    // Only regular files are databases: the check neither waits for a
    // writer of a FIFO nor reads a device. The alarm turns a hang into a
    // failure.
    std::filesystem::create_directory(dir.Path("folder.xml"));
    mkfifo(dir.Path("fifo.xml").c_str(), 0666);
    std::filesystem::create_symlink("/dev/zero", dir.Path("zero.xml"));
    alarm(30);
    for (const char* name : {"folder.xml", "fifo.xml", "zero.xml"}) {
        for (bool sequential : {false, true}) {
            const std::string failure = DbErrorOf([&] {
                DbDatabase db(dir.File(name));
                db.GetSource()->SetSequentialAccess(sequential);
                db.GetTablesCount();
            });
            EXPECT_NE(failure.find("Invalid source file '" + dir.Path(name) + "'"),
                      std::string::npos)
                << failure;
        }
    }
    alarm(0);
#endif

    // A new file is XML whatever it is called while ForceXML is set, and
    // never mdb. Without ForceXML ("cat" would become "xml") its name stays.
    DbSource created(nullptr);
    created.Create(L"new.mdb");
    EXPECT_EQ(created.GetFile(), L"new.xml");
    EXPECT_TRUE(created.IsXmlBased());
    DbSource::ForceXML = false;
    // file, its bare name, whether it is an XML file
    const std::tuple<const wchar_t*, const wchar_t*, bool> names[] = {
        {L"new.mdb", L"new", false},
        {L"cat.tar.xml", L"cat.tar", true},
        {L"/srv/v1.2/cat", L"cat", false},
        {L"mixed/dir\\cat.xml", L"cat", true},
        {L"", L"", false},
    };
    for (const auto& [file, bare, xml] : names) {
        SCOPED_TRACE(CString(file).ToUtf8());
        DbSource fresh(nullptr);
        fresh.Create(file);
        EXPECT_EQ(fresh.GetBareName(), bare);
        EXPECT_EQ(fresh.IsXmlBased(), xml);
        EXPECT_FALSE(fresh.IsMdbBased());
        EXPECT_TRUE(fresh.IsValid());
    }
}

TEST_F(SourceSettings, StreamingReaderAndCopiesAreIndependentOfChunkSize) {
    ScratchDir dir;
    WriteBytes(dir.Path("doc.xml"), kDocument);
    for (int chunk : {1, 2, 3, 7, 64, 16384}) {
        SCOPED_TRACE(chunk);
        DbSource::MaxBufferSize = chunk;
        DbSource source(nullptr, dir.File("doc.xml"));
        source.SetSequentialAccess(true);
        CString text;
        ASSERT_TRUE(source.ExtractXmlNode(L"\\database\\header\\structure", text));
        EXPECT_EQ(text.ToUtf8(),
                  "<structure><table name=\"Header\"><field name=\"a\"/></table></structure>");
        ASSERT_TRUE(source.ExtractXmlNode(L"\\database\\header\\data\\table", text));
        EXPECT_EQ(text, L"<table name=\"h1\"/>");
        // A copy reads on from where its source stands, each on its own.
        DbSource copy(source);
        for (DbSource* s : {&copy, &source}) {
            ASSERT_TRUE(s->ExtractXmlNode(L"\\database\\header\\data\\table", text));
            EXPECT_EQ(text, L"<table name=\"h2\"><row a=\"1\"/></table>");
        }
        // Names are compared exactly, the root's too. A search without a
        // match reads on to the end of the file, past the body here, and
        // releases the stream there.
        DbSource ahead(source);
        const size_t open = OpenDescriptors();
        EXPECT_FALSE(source.ExtractXmlNode(L"\\DATABASE\\body\\structure", text));
        EXPECT_TRUE(source.IsEof());
        EXPECT_TRUE(text.IsEmpty());
        EXPECT_EQ(OpenDescriptors(), open - 1);
        ASSERT_TRUE(ahead.ExtractXmlNode(L"\\database\\body\\structure", text));
        ASSERT_TRUE(ahead.ExtractXmlNode(L"\\database\\body\\data\\table", text));
        EXPECT_EQ(text.ToUtf8(),
                  "<table name=\"a>b/c\" note='x/>y'><row a=\"&lt;/table&gt;\"/><!-- </table> -->"
                  "<![CDATA[</table><table>]]><?pi </table> ?></table>");
        ASSERT_TRUE(ahead.ExtractXmlNode(L"\\database\\body\\data\\table", text));
        EXPECT_EQ(text, L"<table name=\"\u0141\u00f3\u017a\"></table>");
        EXPECT_FALSE(ahead.ExtractXmlNode(L"\\database\\Body\\data\\table", text));
        EXPECT_TRUE(ahead.IsEof());
        EXPECT_FALSE(source.ExtractXmlNode(L"\\database\\body\\structure", text));
    }

    // Short reads change nothing; a read that fails ends the stream with the
    // reason.
    DbSource::MaxBufferSize = 64;
    for (uint64_t failAfter : {uint64_t{0}, uint64_t{100}, UINT64_MAX}) {
        SCOPED_TRACE(failAfter);
        FaultyFiles faults;
        faults.readLimit = 5;
        faults.failReadAfter = failAfter;
        korvan::ScopedFileSystem use(faults);
        DbSource source(nullptr, dir.File("doc.xml"));
        size_t extracted = 0;
        const std::string failure = DbErrorOf([&] {
            CString text;
            while (source.ExtractXmlNode(L"\\database\\body\\data\\table", text)) {
                ++extracted;
            }
        });
        EXPECT_EQ(extracted, failAfter == UINT64_MAX ? 2u : 0u);
        EXPECT_EQ(failure.empty(), failAfter == UINT64_MAX);
        if (failAfter != UINT64_MAX) {
            EXPECT_NE(failure.find("Cannot read '" + dir.Path("doc.xml") + "': injected: read"),
                      std::string::npos)
                << failure;
            EXPECT_TRUE(source.IsEof());
        }
    }
}

// Each damaged document with what reading "\database\body\data\table" from it
// must give: the number of elements handed out before the end, or the
// failure ("" = no failure).
TEST_F(SourceSettings, DamagedInputEndsInAnErrorNeverAHang) {
    const std::tuple<const char*, size_t, const char*> cases[] = {
        {"\x01\x02\xFF\xFE<<>>", 0, "text outside the root element"},
        {"<database><body><data><table>", 0, "the file ends inside an element"},
        {"<database><body><data><table/><table", 1, "the file ends inside markup"},
        {"<database/><database/>", 0, "a second root element"},
        {"<database><body><data><table a=\"<\"/>", 0, "in an attribute value"},
        {"<database><!- x -></database>", 0, "invalid comment"},
        {"<database><![CDATA ]]></database>", 0, "invalid CDATA section"},
        {"\xEF\xBB<database/>", 0, "invalid byte order mark"},
        {"<database><body><data><t\xFF/></data></body></database>", 0, "invalid tag name"},
        {"<database><body><data><table/></data></body></database>trailing", 1, "outside"},
        {"<database><body><data><table/><table/></data></body></database>", 2, ""},
        {"<DATABASE><body><data><table/><table/></data></body></DATABASE>", 0, ""},
        {"<database><body><data></data></body></database>", 0, ""},
    };
    ScratchDir dir;
    const std::string path = dir.Path("damaged.xml");
    for (const auto& [bytes, count, expected] : cases) {
        SCOPED_TRACE(bytes);
        WriteBytes(path, bytes);
        for (int chunk : {1, 4096}) {
            DbSource::MaxBufferSize = chunk;
            DbSource source(nullptr, dir.File("damaged.xml"));
            size_t extracted = 0;
            const std::string failure = DbErrorOf([&] {
                CString text;
                while (!source.IsEof()) {
                    extracted += source.ExtractXmlNode(L"\\database\\body\\data\\table", text);
                }
            });
            EXPECT_EQ(extracted, count);
            EXPECT_EQ(failure.empty(), *expected == 0) << failure;
            EXPECT_NE(failure.find(expected), std::string::npos) << failure;
            EXPECT_EQ(failure.find(path) != std::string::npos, *expected != 0) << failure;
            // After a failure the stream is over.
            CString text;
            EXPECT_FALSE(source.ExtractXmlNode(L"\\database\\body\\data\\table", text));
            EXPECT_TRUE(source.IsEof());
        }
    }
}
