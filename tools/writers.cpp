// tools/writers.cpp - aligned table, CSV, TSV and JSON output.
#include "writers.h"

#include <wchar.h>
#include <algorithm>
#include <cstdio>
#include <map>
#include <ostream>
#include <string_view>

#include "platform/display_width.h"

namespace korvan::cli {
namespace {

struct Shown {
    std::string text;
    size_t width = 0;
};

// A cell as the aligned table shows it: control characters would break the
// layout, so line breaks, tabs and the like appear as escapes.
Shown Show(std::string_view utf8) {
    std::wstring wide;
    if (!korvan::DecodeUtf8(utf8, wide)) {
        return {std::string(utf8), utf8.size()};
    }
    std::wstring visible;
    for (wchar_t c : wide) {
        if (c == L'\n') {
            visible += L"\\n";
        } else if (c == L'\r') {
            visible += L"\\r";
        } else if (c == L'\t') {
            visible += L"\\t";
        } else if (c < 0x20 || (c >= 0x7f && c < 0xa0)) {
            wchar_t escape[8];
            swprintf(escape, 8, L"\\x%02X", static_cast<unsigned>(c));
            visible += escape;
        } else {
            visible += c;
        }
    }
    return {korvan::EncodeUtf8(visible), korvan::DisplayWidth(visible)};
}

class TableWriter : public RowWriter {
  public:
    explicit TableWriter(std::ostream& out) : m_out(out) {}

    void Begin(const std::vector<Column>& columns) override {
        m_columns = columns;
        m_header.clear();
        for (const Column& column : columns) {
            m_header.push_back(Show(column.name));
        }
    }

    void Row(const std::vector<Cell>& cells) override {
        std::vector<Shown> row;
        row.reserve(cells.size());
        for (const Cell& cell : cells) {
            row.push_back(cell.kind == Cell::Kind::Null ? Shown{"NULL", 4} : Show(cell.text));
        }
        m_rows.push_back(std::move(row));
    }

    void End() override {
        std::vector<size_t> widths;
        for (const Shown& name : m_header) {
            widths.push_back(name.width);
        }
        for (const auto& row : m_rows) {
            for (size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], row[i].width);
            }
        }
        Line(m_header, widths);
        for (size_t i = 0; i < widths.size(); ++i) {
            m_out << (i ? "  " : "") << std::string(widths[i], '-');
        }
        m_out << '\n';
        for (const auto& row : m_rows) {
            Line(row, widths);
        }
        m_out << '(' << m_rows.size() << (m_rows.size() == 1 ? " row)\n" : " rows)\n");
    }

  private:
    // Trailing blanks (padding before an empty last cell) are left out.
    void Line(const std::vector<Shown>& cells, const std::vector<size_t>& widths) {
        std::string line;
        for (size_t i = 0; i < cells.size(); ++i) {
            const std::string padding(widths[i] - cells[i].width, ' ');
            line += i ? "  " : "";
            line += m_columns[i].numeric ? padding + cells[i].text : cells[i].text + padding;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        m_out << line << '\n';
    }

    std::ostream& m_out;
    std::vector<Column> m_columns;
    std::vector<Shown> m_header;
    std::vector<std::vector<Shown>> m_rows;
};

// ---------------------------------------------------------------------------
// CSV after RFC 4180 (CRLF line ends) and TSV with the same quoting. A null
// is an empty unquoted field, an empty text is "".

class DelimitedWriter : public RowWriter {
  public:
    DelimitedWriter(std::ostream& out, char separator, const char* lineEnd)
        : m_out(out), m_separator(separator), m_lineEnd(lineEnd) {
        m_special = {separator, '"', '\r', '\n'};
    }

    void Begin(const std::vector<Column>& columns) override {
        std::vector<Cell> names;
        for (const Column& column : columns) {
            names.push_back(Cell::Text(column.name));
        }
        Row(names);
    }

    void Row(const std::vector<Cell>& cells) override {
        for (size_t i = 0; i < cells.size(); ++i) {
            if (i) {
                m_out << m_separator;
            }
            Field(cells[i]);
        }
        m_out << m_lineEnd;
    }

    void End() override {}

  private:
    void Field(const Cell& cell) {
        if (cell.kind == Cell::Kind::Null) {
            return;
        }
        const std::string& text = cell.text;
        if (!text.empty() && text.find_first_of(m_special) == std::string::npos) {
            m_out << text;
            return;
        }
        m_out << '"';
        for (char c : text) {
            m_out << c;
            if (c == '"') {
                m_out << '"';
            }
        }
        m_out << '"';
    }

    std::ostream& m_out;
    char m_separator;
    const char* m_lineEnd;
    std::string m_special;
};

// ---------------------------------------------------------------------------
// JSON: an array with one object per row, keyed by column name.

void WriteJsonString(std::ostream& out, std::string_view text) {
    out << '"';
    for (char c : text) {
        switch (c) {
            case '"':
                out << "\\\"";
                break;
            case '\\':
                out << "\\\\";
                break;
            case '\n':
                out << "\\n";
                break;
            case '\r':
                out << "\\r";
                break;
            case '\t':
                out << "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escape[8];
                    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
                    out << escape;
                } else {
                    out << c;
                }
        }
    }
    out << '"';
}

// The library's number texts are plain decimals or mantissa and exponent
// ("1E+20"), all valid JSON; anything else is written as a string.
bool IsJsonNumber(std::string_view s) {
    size_t i = 0;
    auto digits = [&] {
        const size_t start = i;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
            ++i;
        }
        return i - start;
    };
    if (i < s.size() && s[i] == '-') {
        ++i;
    }
    const size_t first = i;
    const size_t whole = digits();
    if (whole == 0 || (whole > 1 && s[first] == '0')) {
        return false;
    }
    if (i < s.size() && s[i] == '.') {
        ++i;
        if (digits() == 0) {
            return false;
        }
    }
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
            ++i;
        }
        if (digits() == 0) {
            return false;
        }
    }
    return i == s.size();
}

class JsonWriter : public RowWriter {
  public:
    explicit JsonWriter(std::ostream& out) : m_out(out) {}

    void Begin(const std::vector<Column>& columns) override {
        m_columns = columns;
        m_rows = 0;
    }

    void Row(const std::vector<Cell>& cells) override {
        m_out << (m_rows++ ? ",\n  {" : "[\n  {");
        for (size_t i = 0; i < cells.size(); ++i) {
            m_out << (i ? ", " : "");
            WriteJsonString(m_out, m_columns[i].name);
            m_out << ": ";
            const Cell& cell = cells[i];
            if (cell.kind == Cell::Kind::Null) {
                m_out << "null";
            } else if ((cell.kind == Cell::Kind::Number && IsJsonNumber(cell.text)) ||
                       cell.kind == Cell::Kind::Boolean) {
                m_out << cell.text;
            } else {
                WriteJsonString(m_out, cell.text);
            }
        }
        m_out << '}';
    }

    void End() override { m_out << (m_rows ? "\n]\n" : "[]\n"); }

  private:
    std::ostream& m_out;
    std::vector<Column> m_columns;
    size_t m_rows = 0;
};

}  // namespace

Cell Cell::Of(const DbFieldValue& value) {
    const VARTYPE vt = value.GetType();
    if (value.IsNull() || vt == VT_NULL || vt == VT_EMPTY) {
        return {};
    }
    CString text;
    value.ValueToString(text);
    const DbFieldDescr::eFieldType type = DbFieldDescr::VariantTypeToFieldType(vt);
    Kind kind = Kind::Text;
    if (DbFieldDescr::IsNumericType(type)) {
        kind = Kind::Number;
    } else if (type == DbFieldDescr::ftBoolean) {
        kind = Kind::Boolean;
    }
    return {kind, text.ToUtf8()};
}

std::unique_ptr<RowWriter> MakeWriter(Format format, std::ostream& out) {
    switch (format) {
        case Format::Csv:
            return std::make_unique<DelimitedWriter>(out, ',', "\r\n");
        case Format::Tsv:
            return std::make_unique<DelimitedWriter>(out, '\t', "\n");
        case Format::Json:
            return std::make_unique<JsonWriter>(out);
        case Format::Table:
            break;
    }
    return std::make_unique<TableWriter>(out);
}

void AddFormatOption(CLI::App& app, Format& format) {
    static const std::map<std::string, Format> names{{"table", Format::Table},
                                                     {"csv", Format::Csv},
                                                     {"tsv", Format::Tsv},
                                                     {"json", Format::Json}};
    app.add_option("-f,--format", format,
                   "table (aligned, the default), csv (RFC 4180), tsv or json")
        ->transform(CLI::CheckedTransformer(names, CLI::ignore_case))
        ->option_text("FORMAT");
}

void AddLimitOption(CLI::App& app, uint64_t& limit) {
    app.add_option("-n,--limit", limit, "print at most N rows")
        ->check(CLI::Validator(
            [](std::string& n) {
                return !n.empty() && n.find_first_not_of("0123456789") == std::string::npos
                           ? std::string()
                           : "a count of rows is a whole number, 0 or more";
            },
            ""))
        ->option_text("N");
}

void WriteRows(const DbTableDescr& descr, const DbRows& rows, RowWriter& writer, uint64_t limit) {
    std::vector<const DbTableRow*> list;
    const uint64_t count = std::min(rows.GetRowsCount(), limit);
    for (uint64_t r = 0; r < count; ++r) {
        list.push_back(rows.GetRow(static_cast<int>(r)));
    }
    WriteRows(descr, list, writer);
}

void WriteRows(const DbTableDescr& descr, const std::vector<const DbTableRow*>& rows,
               RowWriter& writer) {
    const size_t fields = descr.GetFieldCount();
    std::vector<Column> columns;
    for (size_t i = 0; i < fields; ++i) {
        const DbFieldDescr& field = descr.GetField(static_cast<int>(i));
        columns.push_back(
            {field.GetName().ToUtf8(), DbFieldDescr::IsNumericType(field.GetDbType())});
    }
    writer.Begin(columns);
    std::vector<Cell> cells(fields);
    for (const DbTableRow* row : rows) {
        for (size_t i = 0; i < fields; ++i) {
            cells[i] = i < row->GetFieldCount() ? Cell::Of((*row)[i]) : Cell{};
        }
        writer.Row(cells);
    }
    writer.End();
}

}  // namespace korvan::cli
