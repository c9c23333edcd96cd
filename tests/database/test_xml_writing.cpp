// Writing the XML database file: every file Save writes is one a conforming
// XML 1.0 parser takes and the library reads back to the same texts in both
// reading modes; a text or name that no such file can carry makes Save fail
// with the reason logged, and the previous file stays as it was.
#include "files.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "platform/utf.h"
#include "tests/platform/faulty_files.h"

namespace {

using ::testing::HasSubstr;

const std::string kPrevious = "<database>previous</database>";

// What XML 1.0 allows as a character, written out here apart from the
// library's own check.
bool AllowedInXml(char32_t c) {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// The checks a strict parser makes beyond what pugixml checks: characters
// (raw and referenced) allowed, names that are names, no attribute twice.
void ExpectConformingXml(const std::string& bytes) {
    std::wstring text;
    ASSERT_TRUE(korvan::DecodeUtf8(bytes, text));
    korvan::ForEachCodePoint(text, [](char32_t c) {
        EXPECT_TRUE(AllowedInXml(c)) << "raw U+" << std::hex << static_cast<unsigned>(c);
    });
    const std::regex reference("&#(x?)([0-9A-Fa-f]+);");
    for (std::sregex_iterator it(bytes.begin(), bytes.end(), reference), end; it != end; ++it) {
        const auto c = std::stoul((*it)[2].str(), nullptr, (*it)[1].length() > 0 ? 16 : 10);
        EXPECT_TRUE(AllowedInXml(static_cast<char32_t>(c))) << it->str();
    }
    pugi::xml_document doc;
    const pugi::xml_parse_result parsed = doc.load_buffer(bytes.data(), bytes.size());
    ASSERT_TRUE(parsed) << parsed.description();
    const std::regex name("[A-Za-z_\x80-\xff][-.0-9A-Za-z_\x80-\xff]*");
    std::vector<pugi::xml_node> open{doc.document_element()};
    while (!open.empty()) {
        const pugi::xml_node element = open.back();
        open.pop_back();
        std::set<std::string> names;
        for (const pugi::xml_attribute attribute : element.attributes()) {
            EXPECT_TRUE(std::regex_match(attribute.name(), name)) << attribute.name();
            EXPECT_TRUE(names.insert(attribute.name()).second) << "twice: " << attribute.name();
        }
        for (const pugi::xml_node child : element.children()) {
            if (child.type() == pugi::node_element) {
                open.push_back(child);
            }
        }
    }
}

std::wstring TextOfCell(const DbFieldValue& cell) {
    const CComVariant& value = cell.GetValue();
    return value.vt == VT_BSTR && value.bstrVal != nullptr
               ? std::wstring(value.bstrVal, SysStringLen(value.bstrVal))
               : std::wstring();
}

// One table of text fields with one row, or none when values is empty.
struct Case {
    const char* what;
    std::wstring table;
    std::vector<std::wstring> fields;
    std::vector<std::wstring> values;
    const char* refusal;  // a part of the line that says why; null: written
};

std::wstring WithNul() {
    return std::wstring(L"a\0b", 3);
}

std::vector<Case> Cases() {
    std::vector<Case> cases = {
        // Written, and read back exactly.
        {"TAB, LF and CR", L"t", {L"v"}, {L"tab\there\nline\r\ncr\rend"}, nullptr},
        {"blanks kept", L"t", {L"v"}, {L"  two  blanks  "}, nullptr},
        {"markup characters", L"t", {L"v"}, {L"<a href=\"x\">&amp;</a> ]]> 'q'"}, nullptr},
        {"DEL, NEL, C1", L"t", {L"v"}, {L"\u007f\u0085\u0080\u009f"}, nullptr},
        {"edges of the ranges", L"t", {L"v"}, {L"\ud7ff\ue000\ufffd\U00010000\U0010ffff"}, nullptr},
        {"noncharacter U+FDD0", L"t", {L"v"}, {L"\ufdd0"}, nullptr},
        {"names made safe", L"t", {L"mass (kg)", L"a/b", L"x*y"}, {L"1", L"2", L"3"}, nullptr},
        {"TAB in a name without rows", L"t", {L"a\tb"}, {}, nullptr},
        {"colliding names without rows", L"t", {L"a b", L"a_b"}, {}, nullptr},
        {"non-ASCII names", L"Länge", {L"Länge", L"\u0416"}, {L"x", L"y"}, nullptr},
        // Refused.
        {"U+0001", L"t", {L"v"}, {L"a\u0001b"}, "its value holds U+0001 at character 2"},
        {"U+000B", L"t", {L"v"}, {L"\u000b"}, "its value holds U+000B at character 1"},
        {"U+001F", L"t", {L"v"}, {L"ab\u001f"}, "its value holds U+001F at character 3"},
        {"embedded NUL", L"t", {L"v"}, {WithNul()}, "its value holds U+0000 at character 2"},
        {"U+FFFE", L"t", {L"v"}, {L"a\ufffe"}, "its value holds U+FFFE at character 2"},
        {"U+FFFF", L"t", {L"v"}, {L"\uffff"}, "its value holds U+FFFF at character 1"},
        {"lone high surrogate",
         L"t",
         {L"v"},
         {std::wstring(1, wchar_t(0xD800)) + L"x"},
         "its value holds U+D800 at character 1"},
        {"lone low surrogate",
         L"t",
         {L"v"},
         {L"x" + std::wstring(1, wchar_t(0xDFFF))},
         "its value holds U+DFFF at character 2"},
        {"second value refused",
         L"t",
         {L"ok", L"v"},
         {L"fine", L"\u0002"},
         "Table \"t\", row 0, field \"v\": its value holds U+0002"},
        {"colliding safe names",
         L"t",
         {L"a b", L"a_b"},
         {L"1", L"2"},
         "Table \"t\", row 0, field \"a_b\": its attribute name \"a_b\" is that of field \"a b\""},
        {"name starting with a digit",
         L"t",
         {L"1st"},
         {L"x"},
         "field \"1st\": its attribute name \"1st\" is no XML name ('1' (U+0031) at character 1)"},
        {"colon in a name", L"t", {L"a:b"}, {L"x"}, "is no XML name (':' (U+003A) at character 2)"},
        {"bracket in a name",
         L"t",
         {L"mass [kg]"},
         {L"x"},
         "\"mass_[kg]\" is no XML name ('[' (U+005B) at character 6)"},
        {"times sign in a name", L"t", {L"a\u00d7b"}, {L"x"}, "is no XML name"},
        {"control character in a field name",
         L"t",
         {L"a\u0001"},
         {},
         "Field \"a\u0001\" not written: its name holds U+0001 at character 2"},
        {"control character in a table name",
         L"t\u0007",
         {L"v"},
         {L"x"},
         "Table \"t\u0007\" not written: its name holds U+0007 at character 2"},
    };
    if constexpr (!korvan::kWideIsUtf16) {
        cases.push_back({"beyond U+10FFFF",
                         L"t",
                         {L"v"},
                         {std::wstring(1, wchar_t(0x110000))},
                         "its value holds U+110000 at character 1"});
    }
    return cases;
}

}  // namespace

TEST(XmlWriting, EveryFileWrittenIsConformingXmlAndReadsBackExactly) {
    ScratchDir dir;
    for (const Case& c : Cases()) {
        SCOPED_TRACE(c.what);
        const std::string path = dir.Path("catalogue.xml");
        WriteBytes(path, kPrevious);
        DbDatabase db;
        db.Create(dir.File("catalogue.xml"));
        DbTableInfo* table = db.CreateTable(CString(c.table.c_str()), DbTableInfo::TABLE);
        ASSERT_NE(table, nullptr);
        for (const std::wstring& field : c.fields) {
            ASSERT_TRUE(
                table->descr->CreateField(CString(field.c_str()), false, DbFieldDescr::ftText));
        }
        if (!c.values.empty()) {
            DbTableRow& row = *table->data->GetRow(static_cast<int>(table->data->AddRow()));
            for (size_t i = 0; i < c.values.size(); ++i) {
                CComVariant& cell = row[i].GetVariant();
                cell.Clear();
                cell.vt = VT_BSTR;
                cell.bstrVal =
                    SysAllocStringLen(c.values[i].data(), static_cast<UINT>(c.values[i].size()));
            }
        }
        testtables::TakeLog(db);
        if (c.refusal != nullptr) {
            EXPECT_FALSE(db.Save(dir.File("catalogue.xml")));
            EXPECT_EQ(ReadBytes(path), kPrevious);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
            const std::vector<std::string> log = testtables::TakeLog(db);
            EXPECT_THAT(log, ::testing::Contains(HasSubstr(c.refusal)));
            EXPECT_EQ(log.back(),
                      "Database not saved to '" + path + "': a table could not be written");
            EXPECT_TRUE(db.IsChanged());
            continue;
        }
        ASSERT_TRUE(db.Save(dir.File("catalogue.xml"))) << db.GetErrorLog().ToUtf8();
        ExpectConformingXml(ReadBytes(path));
        for (bool sequential : {false, true}) {
            SCOPED_TRACE(sequential);
            DbDatabase reread(dir.File("catalogue.xml"));
            reread.GetSource()->SetSequentialAccess(sequential);
            const DbTableDescr* descr = reread.GetTableDescr(CString(c.table.c_str()));
            ASSERT_NE(descr, nullptr);
            EXPECT_EQ(reread.GetTableName(2).str(), c.table);
            ASSERT_EQ(descr->GetFieldCount(), c.fields.size());
            for (size_t i = 0; i < c.fields.size(); ++i) {
                EXPECT_EQ(descr->GetField(static_cast<int>(i)).GetName().str(), c.fields[i]);
            }
            DbTableData& data = *reread.GetTableData(CString(c.table.c_str()));
            ASSERT_EQ(data.size(), c.values.empty() ? 0u : 1u);
            for (size_t i = 0; i < c.values.size(); ++i) {
                EXPECT_EQ(TextOfCell((*data[0])[i]), c.values[i]) << i;
            }
        }
    }
}

// Save(document, parent) into the caller's document: a table that cannot be
// written is logged and fails the save, the other tables are still written.
TEST(XmlWriting, ATableThatCannotBeWrittenDoesNotStopTheOthers) {
    DbDatabase db;
    db.Create(L"unused.xml");
    for (const wchar_t* name : {L"before", L"bad", L"after"}) {
        DbTableInfo* table = db.CreateTable(name, DbTableInfo::TABLE);
        testtables::Fill(*table->descr, *table->data, {{L"v", DbFieldDescr::ftText}},
                         {{CComVariant(L"ok")}, {CComVariant(L"ok")}});
    }
    (*db.GetTableData(CString(L"bad"))->GetRow(1))[0].SetValue(CComVariant(L"\u0008"));
    testtables::TakeLog(db);
    pugi::xml_document doc;
    EXPECT_FALSE(db.Save(doc, pugi::xml_node()));
    const pugi::xml_node data = doc.child("database").child("body").child("data");
    std::vector<std::pair<std::string, size_t>> tables;
    for (const pugi::xml_node table : data.children("table")) {
        tables.emplace_back(table.attribute("name").value(),
                            std::distance(table.children().begin(), table.children().end()));
    }
    // The failed table keeps the rows before the one that failed.
    EXPECT_EQ(tables, (std::vector<std::pair<std::string, size_t>>{
                          {"before", 2}, {"bad", 1}, {"after", 2}}));
    EXPECT_EQ(testtables::TakeLog(db),
              (std::vector<std::string>{
                  "Table \"bad\", row 1, field \"v\": its value holds U+0008 at character 1, "
                  "which XML does not allow",
                  "Error on DbTableRow::Save(IDispatch* doc, IDispatch* element), v, 0",
                  "Error on DbTableData::Save(IDispatch* doc, IDispatch* element)",
                  "Error on table \"bad\" - body data saving"}));
}
