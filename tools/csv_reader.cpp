// tools/csv_reader.cpp - CSV text (RFC 4180) read record by record.
#include "csv_reader.h"

#include <korvan/platform.h>

namespace korvan::cli {

CsvReader::CsvReader(std::string text) : m_text(std::move(text)) {
    if (m_text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        m_at = 3;
    }
}

bool CsvReader::AtLineEnd() const {
    return m_text[m_at] == '\n' || m_text.compare(m_at, 2, "\r\n") == 0;
}

void CsvReader::SkipLineEnd() {
    m_at += m_text[m_at] == '\r' ? 2 : 1;
    ++m_line;
}

bool CsvReader::Next(CsvRecord& record) {
    while (m_at < m_text.size() && AtLineEnd()) {
        SkipLineEnd();  // a blank line
    }
    if (m_at >= m_text.size()) {
        return false;
    }
    record.line = m_line;
    record.fields.clear();
    for (;;) {
        CsvField field = m_text[m_at] == '"' ? QuotedField() : PlainField();
        std::wstring decoded;
        if (!korvan::DecodeUtf8(field.text, decoded)) {
            throw CsvError(m_line, "the text is not UTF-8");
        }
        record.fields.push_back(std::move(field));
        if (m_at >= m_text.size()) {
            return true;
        }
        if (AtLineEnd()) {
            SkipLineEnd();
            return true;
        }
        ++m_at;  // the comma
    }
}

CsvField CsvReader::QuotedField() {
    const size_t start = m_line;
    CsvField field{std::string(), true};
    ++m_at;
    for (;;) {
        if (m_at >= m_text.size()) {
            throw CsvError(start, "a quoted field is not closed");
        }
        const char c = m_text[m_at++];
        if (c == '\n') {
            ++m_line;
        }
        if (c != '"') {
            field.text += c;
        } else if (m_at < m_text.size() && m_text[m_at] == '"') {
            field.text += '"';
            ++m_at;
        } else {
            break;
        }
    }
    if (m_at < m_text.size() && m_text[m_at] != ',' && !AtLineEnd()) {
        throw CsvError(m_line, "text after the closing quote of a field");
    }
    return field;
}

CsvField CsvReader::PlainField() {
    CsvField field;
    while (m_at < m_text.size() && m_text[m_at] != ',' && !AtLineEnd()) {
        if (m_text[m_at] == '"') {
            throw CsvError(m_line, "a quote inside a field that is not quoted");
        }
        field.text += m_text[m_at++];
    }
    return field;
}

}  // namespace korvan::cli
