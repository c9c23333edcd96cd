// tools/writers.h - the output formats of the korvan tool.
//
// Every command that prints rows hands them to a RowWriter: an aligned table
// for people, CSV (RFC 4180) and TSV for spreadsheets and scripts, JSON for
// programs. Cells are UTF-8 text tagged with their kind, so that each format
// can show a null apart from an empty text and print numbers and booleans
// unquoted where it has a way to.
#pragma once

#include <CLI/CLI.hpp>

#include <korvan/model.h>

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace korvan::cli {

enum class Format { Table, Csv, Tsv, Json };

struct Column {
    std::string name;
    bool numeric = false;  // right-aligned in the table form
};

struct Cell {
    enum class Kind { Null, Text, Number, Boolean };

    static Cell Text(std::string text) { return {Kind::Text, std::move(text)}; }
    static Cell Number(uint64_t n) { return {Kind::Number, std::to_string(n)}; }
    static Cell Boolean(bool b) { return {Kind::Boolean, b ? "true" : "false"}; }
    // The cell's text as the library gives it (ValueToString); a null flag,
    // VT_NULL or VT_EMPTY make a null.
    static Cell Of(const DbFieldValue& value);

    Kind kind = Kind::Null;
    std::string text;
};

class RowWriter {
  public:
    virtual ~RowWriter() = default;
    virtual void Begin(const std::vector<Column>& columns) = 0;
    // REQUIRES: one cell per column given to Begin.
    virtual void Row(const std::vector<Cell>& cells) = 0;
    virtual void End() = 0;
};

std::unique_ptr<RowWriter> MakeWriter(Format format, std::ostream& out);

// Adds --format (table, csv, tsv, json) to a command.
void AddFormatOption(CLI::App& app, Format& format);
// Adds -n/--limit N (a count of rows, 0 or more) to a command.
void AddLimitOption(CLI::App& app, uint64_t& limit);

// Writes the columns of descr and at most limit of rows.
void WriteRows(const DbTableDescr& descr, const DbRows& rows, RowWriter& writer,
               uint64_t limit = UINT64_MAX);
// Writes the columns of descr and the rows given, in that order.
void WriteRows(const DbTableDescr& descr, const std::vector<const DbTableRow*>& rows,
               RowWriter& writer);

}  // namespace korvan::cli
