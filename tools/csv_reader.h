// tools/csv_reader.h - reading CSV text (RFC 4180) record by record, with the
// line each problem is on.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvan::cli {

// A malformed record: what is wrong and on which line (counted from 1).
class CsvError : public std::runtime_error {
  public:
    CsvError(size_t line, const std::string& what)
        : std::runtime_error("line " + std::to_string(line) + ": " + what), m_line(line) {}
    size_t Line() const { return m_line; }

  private:
    size_t m_line;
};

struct CsvField {
    std::string text;     // UTF-8, quotes removed
    bool quoted = false;  // written in quotes ("" is a quoted empty text)
};

struct CsvRecord {
    size_t line = 0;  // where the record starts
    std::vector<CsvField> fields;
};

// Reads text after RFC 4180: fields separated by commas, records by CRLF (a
// bare LF is taken too), fields in double quotes may hold commas, line breaks
// and doubled quotes. A byte order mark at the start is skipped, blank lines
// are passed over, and text that is not UTF-8 is an error.
class CsvReader {
  public:
    explicit CsvReader(std::string text);

    // The next record; false at the end. Throws CsvError.
    bool Next(CsvRecord& record);

  private:
    bool AtLineEnd() const;
    void SkipLineEnd();
    CsvField QuotedField();
    CsvField PlainField();

    std::string m_text;
    size_t m_at = 0;
    size_t m_line = 1;
};

}  // namespace korvan::cli
