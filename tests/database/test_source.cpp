// The data source file: classification, checks, bare names, copies and the
// streaming reader with its handling of damaged input.
#include "files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

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

}  // namespace

TEST_F(SourceSettings, ClassificationAndNames) {
    ScratchDir dir;
    for (const char* name : {"cat.xml", "cat.XML", "cat.mdb", "cat.MDB", "cat.txt", "ab"}) {
        WriteBytes(dir.Path(name), "<database/>");
    }
    struct Case {
        const char* name;
        bool forceXml;
        int kind;  // 1 XML, 2 mdb, 0 unclassified
        const char* stored;
    } const cases[] = {
        {"cat.xml", true, 1, "cat.xml"}, {"cat.XML", false, 1, "cat.XML"},
        {"cat.MDB", true, 1, "cat.xml"}, {"cat.mdb", false, 2, "cat.mdb"},
        {"cat.txt", true, 0, "cat.txt"}, {"ab", true, 0, "ab"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DbSource::ForceXML = c.forceXml;
        DbSource source(nullptr, dir.File(c.name));
        EXPECT_EQ(source.IsXmlBased(), c.kind == 1);
        EXPECT_EQ(source.IsMdbBased(), c.kind == 2);
        EXPECT_EQ(source.IsValid(), c.kind != 0);
        EXPECT_EQ(source.GetFile(), dir.File(c.stored));
        source.SetSequentialAccess(true);
        EXPECT_EQ(source.IsSequentialAccess(), c.kind == 1);
    }

    // A new file is XML whatever it is called while ForceXML is set, and
    // never mdb.
    DbSource source(nullptr);
    source.Create(L"new.mdb");
    EXPECT_EQ(source.GetFile(), L"new.xml");
    EXPECT_TRUE(source.IsXmlBased());
    source.Create(L"notes.txt");
    EXPECT_EQ(source.GetFile(), L"notes.xml");
    DbSource::ForceXML = false;
    DbSource fresh(nullptr);
    fresh.Create(L"new.mdb");
    EXPECT_FALSE(fresh.IsMdbBased());
    EXPECT_FALSE(fresh.IsXmlBased());
    EXPECT_TRUE(fresh.IsValid());

    // The bare name (without ForceXML, which would rename "cat" to "xml").
    const std::pair<const wchar_t*, const wchar_t*> bare[] = {
        {L"C:\\data\\cat.xml", L"cat"},
        {L"cat.tar.xml", L"cat.tar"},
        {L"/srv/v1.2/cat", L"cat"},
        {L"mixed/dir\\cat.xml", L"cat"},
        {L"", L""},
    };
    for (const auto& [file, name] : bare) {
        fresh.Create(file);
        EXPECT_EQ(fresh.GetBareName(), name) << CString(file).ToUtf8();
    }
}

TEST_F(SourceSettings, ChecksReportMissingFilesAndNeverTruncate) {
    ScratchDir dir;
    const std::string message = DbErrorOf([&] { DbSource source(nullptr, dir.File("none.xml")); });
    EXPECT_NE(message.find("File: Db_Source @ 222"), std::string::npos) << message;
    EXPECT_NE(message.find("Invalid source file '" + dir.Path("none.xml") + "'"),
              std::string::npos);
    mkdir(dir.Path("folder.xml").c_str(), 0755);
    EXPECT_NE(DbErrorOf([&] { DbSource source(nullptr, dir.File("folder.xml")); }), "");

    const std::string path = dir.Path("keep.xml");
    WriteBytes(path, "<database/>");
    {
        DbSource source(nullptr, dir.File("keep.xml"));
        EXPECT_FALSE(source.IsReadOnly());
    }
    EXPECT_EQ(ReadBytes(path), "<database/>");
    if (geteuid() != 0) {  // root may write anything
        chmod(path.c_str(), 0444);
        DbSource source(nullptr, dir.File("keep.xml"));
        EXPECT_TRUE(source.IsReadOnly());
        EXPECT_TRUE(source.IsValid());
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
        // Copies read on from where their source stands, each on its own.
        DbSource copy(source);
        DbSource assigned(nullptr);
        assigned = source;
        for (DbSource* s : {&copy, &assigned, &source}) {
            ASSERT_TRUE(s->ExtractXmlNode(L"\\database\\header\\data\\table", text));
            EXPECT_EQ(text, L"<table name=\"h2\"><row a=\"1\"/></table>");
        }
        // Searching on past the end of the header data stops there, so the
        // body is still ahead.
        EXPECT_FALSE(source.ExtractXmlNode(L"\\database\\header\\data\\table", text));
        EXPECT_FALSE(source.IsEof());
        ASSERT_TRUE(source.ExtractXmlNode(L"\\database\\body\\structure", text));
        ASSERT_TRUE(source.ExtractXmlNode(L"\\database\\body\\data\\table", text));
        EXPECT_EQ(text.ToUtf8(),
                  "<table name=\"a>b/c\" note='x/>y'><row a=\"&lt;/table&gt;\"/><!-- </table> -->"
                  "<![CDATA[</table><table>]]><?pi </table> ?></table>");
        ASSERT_TRUE(source.ExtractXmlNode(L"\\database\\body\\data\\table", text));
        EXPECT_EQ(text, L"<table name=\"\u0141\u00f3\u017a\"></table>");
        EXPECT_FALSE(source.ExtractXmlNode(L"\\elsewhere\\table", text));
        EXPECT_TRUE(source.IsEof());
        EXPECT_TRUE(text.IsEmpty());
        EXPECT_FALSE(source.ExtractXmlNode(L"\\database\\body\\structure", text));
    }
}

// Each damaged document with what reading "\database\body\data\table" from it
// must give: the number of elements handed out before the end, or the
// failure ("" = no failure).
TEST_F(SourceSettings, DamagedInputEndsInAnErrorNeverAHang) {
    struct Case {
        const char* bytes;
        size_t extracted;
        const char* failure;
    } const cases[] = {
        {"", 0, "no root element"},
        {"plain text", 0, "text outside the root element"},
        {"\x01\x02\xFF\xFE<<>>", 0, "text outside the root element"},
        {"<database><body><data><table>", 0, "the file ends inside an element"},
        {"<database><body><data><table a='1", 0, "the file ends inside markup"},
        {"<database><body><data><table/><table", 1, "the file ends inside markup"},
        {"<database><body><data><table></data></body></database>", 0, "does not match"},
        {"<database/><database/>", 0, "a second root element"},
        {"<database><body><data><table a=\"<\"/>", 0, "in an attribute value"},
        {"<database><!- x -></database>", 0, "invalid comment"},
        {"<database><![CDATA ]]></database>", 0, "invalid CDATA section"},
        {"\xEF\xBB<database/>", 0, "invalid byte order mark"},
        {"<database><body><data><table a=\"\xC3\x28\"/></data></body></database>", 0, "UTF-8"},
        {"<database><body><data><t\xFF/></data></body></database>", 0, "invalid tag name"},
        {"<database><body><data><table/></data></body></database>trailing", 1, "outside"},
        {"<DATABASE><body><data><table/><table/></data></body></DATABASE>", 2, ""},
        {"<database><body><data></data></body></database>", 0, ""},
    };
    ScratchDir dir;
    const std::string path = dir.Path("damaged.xml");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        WriteBytes(path, c.bytes);
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
            EXPECT_EQ(extracted, c.extracted);
            if (*c.failure == 0) {
                EXPECT_EQ(failure, "");
            } else {
                EXPECT_NE(failure.find(c.failure), std::string::npos) << failure;
                EXPECT_NE(failure.find(path), std::string::npos) << failure;
            }
            // After a failure the stream is over.
            CString text;
            EXPECT_FALSE(source.ExtractXmlNode(L"\\database\\body\\data\\table", text));
            EXPECT_TRUE(source.IsEof());
        }
    }
}
