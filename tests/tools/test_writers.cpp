// Output formats of the korvan tool: nulls kept apart from empty texts in
// every format, quoting and escaping, number texts that JSON cannot take, and
// the kinds the library's cells map to.
#include "tools/writers.h"

#include <gtest/gtest.h>

#include <sstream>

namespace korvan::cli {
namespace {

std::string Render(Format format, const std::vector<Column>& columns,
                   const std::vector<std::vector<Cell>>& rows) {
    std::ostringstream out;
    const std::unique_ptr<RowWriter> writer = MakeWriter(format, out);
    writer->Begin(columns);
    for (const auto& row : rows) {
        writer->Row(row);
    }
    writer->End();
    return out.str();
}

Cell Number(const char* text) {
    return {Cell::Kind::Number, text};
}

TEST(Writers, EveryFormatTellsNullFromEmptyText) {
    const std::vector<Column> columns{{"name"}, {"mass", true}, {"ok"}};
    const std::vector<std::vector<Cell>> rows{
        {Cell::Text(""), Cell{}, Cell::Boolean(true)},
        {Cell{}, Number("1E+20"), Cell::Boolean(false)},
        {Cell::Text("a \"b\",\r\nc\t\\"), Number("1.#INF"), Cell{}},
    };
    struct Case {
        Format format;
        const char* expected;
    };
    const Case cases[] = {
        {Format::Csv,
         "name,mass,ok\r\n"
         "\"\",,true\r\n"
         ",1E+20,false\r\n"
         "\"a \"\"b\"\",\r\nc\t\\\",1.#INF,\r\n"},
        {Format::Tsv,
         "name\tmass\tok\n"
         "\"\"\t\ttrue\n"
         "\t1E+20\tfalse\n"
         "\"a \"\"b\"\",\r\nc\t\\\"\t1.#INF\t\n"},
        {Format::Json,
         "[\n"
         "  {\"name\": \"\", \"mass\": null, \"ok\": true},\n"
         "  {\"name\": null, \"mass\": 1E+20, \"ok\": false},\n"
         "  {\"name\": \"a \\\"b\\\",\\r\\nc\\t\\\\\", \"mass\": \"1.#INF\", \"ok\": null}\n"
         "]\n"},
        {Format::Table,
         "name              mass  ok\n"
         "--------------  ------  -----\n"
         "                  NULL  true\n"
         "NULL             1E+20  false\n"
         "a \"b\",\\r\\nc\\t\\  1.#INF  NULL\n"
         "(3 rows)\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Render(c.format, columns, rows), c.expected) << static_cast<int>(c.format);
    }
}

TEST(Writers, EmptyAnswers) {
    const std::vector<Column> columns{{"a"}, {"b"}};
    EXPECT_EQ(Render(Format::Json, columns, {}), "[]\n");
    EXPECT_EQ(Render(Format::Csv, columns, {}), "a,b\r\n");
    EXPECT_EQ(Render(Format::Table, columns, {}), "a  b\n-  -\n(0 rows)\n");
}

TEST(Writers, CellsTakeTheirKindFromTheVariant) {
    DbFieldValue value(nullptr, 0);
    EXPECT_EQ(Cell::Of(value).kind, Cell::Kind::Null);  // VT_EMPTY

    value.GetVariant() = CComVariant(L"");
    EXPECT_EQ(Cell::Of(value).kind, Cell::Kind::Text);
    EXPECT_EQ(Cell::Of(value).text, "");
    value.SetNull(true);
    EXPECT_EQ(Cell::Of(value).kind, Cell::Kind::Null);
    value.SetNull(false);

    value.GetVariant() = CComVariant(true);
    EXPECT_EQ(Cell::Of(value).kind, Cell::Kind::Boolean);
    EXPECT_EQ(Cell::Of(value).text, "true");

    value.GetVariant() = CComVariant(2.5);
    EXPECT_EQ(Cell::Of(value).kind, Cell::Kind::Number);
    EXPECT_EQ(Cell::Of(value).text, "2.5");

    VARIANT null;
    VariantInit(&null);
    null.vt = VT_NULL;
    value.GetVariant() = null;
    EXPECT_EQ(Cell::Of(value).kind, Cell::Kind::Null);
}

}  // namespace
}  // namespace korvan::cli
