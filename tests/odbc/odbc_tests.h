// Helpers for the ODBC tests: the Access fixtures, mdb-export's view of them,
// SQLite targets in a scratch directory and the messages of ODBC failures.
#pragma once

#include <korvan/korvan.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/database/files.h"

namespace odbctest {

inline std::string Fixture(const std::string& name) {
    return std::string(KORVAN_TEST_DATA) + "/mdb/" + name;
}

inline CString FixtureFile(const std::string& name) {
    return CString(Fixture(name).c_str());
}

// A SQLite database file through SQLite's ODBC driver.
inline CString SqliteConnection() {
    return L"Driver={SQLite3};Database=%s";
}

using Rows = std::vector<std::vector<std::string>>;

// CSV as mdb-export writes it: quoted fields with doubled quotes, line
// breaks inside quotes kept.
inline Rows ParseCsv(const std::string& text) {
    Rows rows(1);
    std::string field;
    bool quoted = false;
    bool any = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                field += '"';
                ++i;
            } else if (c == '"') {
                quoted = false;
            } else {
                field += c;
            }
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            rows.back().push_back(field);
            field.clear();
        } else if (c == '\n') {
            rows.back().push_back(field);
            field.clear();
            rows.emplace_back();
        } else if (c != '\r') {
            field += c;
        }
        any = true;
    }
    if (!any) {
        return {};
    }
    if (!field.empty() || !rows.back().empty()) {
        rows.back().push_back(field);
    } else {
        rows.pop_back();
    }
    return rows;
}

// mdb-export's rows of a table, header first: ISO dates, binary as hex.
inline Rows MdbExport(const std::string& file, const std::string& table) {
    const std::string command = std::string(MDB_EXPORT) +
                                " -D '%Y-%m-%d %H:%M:%S' -T '%Y-%m-%d %H:%M:%S' -b hex '" + file +
                                "' '" + table + "'";
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[65536];
        size_t count;
        while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
            out.append(buffer, count);
        }
        EXPECT_EQ(pclose(pipe), 0) << command;
    } else {
        ADD_FAILURE() << "cannot run " << command;
    }
    return ParseCsv(out);
}

// Runs f and returns the message of the CDBException it throws ("" when none).
template <typename F>
std::string OdbcErrorOf(F&& f) {
    try {
        f();
    } catch (CDBException* e) {
        const std::string message = e->m_strError.ToUtf8();
        e->Delete();
        return message;
    }
    return "";
}

// Runs f, turning the library's exceptions into failures with their message
// (GoogleTest can only say "unknown exception" for them).
template <typename F>
void Guarded(F&& f) {
    try {
        f();
    } catch (CDBException* e) {
        ADD_FAILURE() << "ODBC failure: " << e->m_strError.ToUtf8();
        e->Delete();
    } catch (DbException* e) {
        ADD_FAILURE() << "failure: " << e->Message().ToUtf8();
        e->Delete();
    }
}

// A column's value as mdb-export would print it.
inline std::string Text(const DBACCESS_COLUMN& column) {
    char buffer[64];
    switch (column.type) {
        case DBACCESS_COLUMN::typeInt:
            return std::to_string(column.intValue);
        case DBACCESS_COLUMN::typeShort:
            return std::to_string(column.shortValue);
        case DBACCESS_COLUMN::typeLong:
            return std::to_string(column.longValue);
        case DBACCESS_COLUMN::typeFloat:
            std::snprintf(buffer, sizeof buffer, "%.9g", column.floatValue);
            return buffer;
        case DBACCESS_COLUMN::typeDouble:
            std::snprintf(buffer, sizeof buffer, "%.15g", column.doubleValue);
            return buffer;
        case DBACCESS_COLUMN::typeBinary: {
            std::string hex;
            for (int64_t i = 0; i < column.binaryValue.GetSize(); ++i) {
                std::snprintf(buffer, sizeof buffer, "%02X", column.binaryValue[i]);
                hex += buffer;
            }
            return hex;
        }
        case DBACCESS_COLUMN::typeString:
            return column.stringValue.ToUtf8();
        default:
            return "<no value>";
    }
}

// count rows of up to five columns (id, name, data, weight, flag), the first
// `columns` of them. NULLs, empty texts and binary values of changing
// lengths (empty ones too) are spread among the rows; the first row has no
// NULL, as it gives a new table its columns.
inline DBACCESS_VECTOR MixedRows(size_t count, size_t columns = 5) {
    DBACCESS_VECTOR rows;
    for (size_t r = 0; r < count; ++r) {
        DBACCESS_RECORD record;
        record[L"id"] = static_cast<long>(r);
        record[L"name"] = CString(std::wstring(r % 23, static_cast<wchar_t>(L'a' + r % 26)) +
                                  (r % 5 == 1 ? L" Grüße" : L""));
        CByteArray bytes;
        for (size_t b = 0; b < r % 41; ++b) {
            bytes.Add(static_cast<BYTE>(r + b));
        }
        record[L"data"] = bytes;
        record[L"weight"] = static_cast<double>(r) / 3;
        record[L"flag"] = r % 3 == 0;
        record[L"name"].SetNull(r % 7 == 3);
        record[L"data"].SetNull(r % 11 == 5);
        record[L"weight"].SetNull(r % 13 == 6);
        record.columns.resize(columns);
        rows.push_back(record);
    }
    return rows;
}

// Expects read to hold the rows of written in the same order, column by
// column (found by name): the same NULLs and, where not NULL, the same tags
// and values.
inline void ExpectSameRows(const DBACCESS_VECTOR& written, const DBACCESS_VECTOR& read) {
    ASSERT_EQ(read.size(), written.size());
    for (size_t r = 0; r < written.size(); ++r) {
        for (const DBACCESS_COLUMN& column : written[r]) {
            const DBACCESS_COLUMN& got = read[r].find(column.name);
            ASSERT_EQ(got.IsNull(), column.IsNull()) << column.name.ToUtf8() << " row " << r;
            if (column.IsNull()) {
                continue;  // read back as NULLs are: an empty text
            }
            EXPECT_EQ(got.type, column.type) << column.name.ToUtf8() << " row " << r;
            EXPECT_EQ(Text(got), Text(column)) << column.name.ToUtf8() << " row " << r;
        }
    }
}

}  // namespace odbctest
