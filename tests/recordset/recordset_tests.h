// Test helpers for recordsets: a database without a file holding one small
// table, and the source and message of a thrown DbException.
#pragma once

#include <gtest/gtest.h>
#include <korvan/recordset.h>

#include <string>
#include <vector>

#include "tests/query/query_tables.h"

namespace recordsettest {

using querytest::Cells;
using querytest::Null;
using querytest::TakeLog;

// What a DbException said: the source name and the message after the
// standard preamble; empty when nothing was thrown.
struct Thrown {
    std::string source;
    std::string message;
};

template <typename F>
Thrown ThrownBy(F&& f) {
    try {
        f();
    } catch (DbException* e) {
        const std::string text = e->Message().ToUtf8();
        e->Delete();
        const std::string file = "File: ";
        const std::string message = "\r\nMessage: ";
        const size_t at = text.find(file);
        const size_t line = text.find(" @ ", at);
        const size_t body = text.find(message);
        if (at == std::string::npos || line == std::string::npos || body == std::string::npos) {
            return {"?", text};
        }
        return {text.substr(at + file.size(), line - at - file.size()),
                text.substr(body + message.size())};
    }
    return {};
}

// "T": a (long), b (text), c (double), five rows.
class RecordsetTest : public ::testing::Test {
  protected:
    RecordsetTest() {
        db.Create(L"");  // no file: nothing is ever written
        table = querytest::MakeTable(db, L"T",
                                     {{L"a", DbFieldDescr::ftLong},
                                      {L"b", DbFieldDescr::ftText},
                                      {L"c", DbFieldDescr::ftDouble}},
                                     {{CComVariant(3), CComVariant(L"x"), CComVariant(1.5)},
                                      {CComVariant(1), CComVariant(L"y"), CComVariant(2.5)},
                                      {CComVariant(2), CComVariant(L"X"), CComVariant(0.5)},
                                      {CComVariant(5), CComVariant(L"z"), CComVariant(4.0)},
                                      {CComVariant(4), CComVariant(L"y"), CComVariant(3.0)}});
        TakeLog(db);
    }

    // The value of field i of the current row as text.
    std::string Field(DbRecordset& rs, uint64_t i) {
        CComVariant v;
        rs.GetFieldValue(i, v);
        CComVariant text;
        VariantChangeType(&text, &v, 0, VT_BSTR);
        return text.vt == VT_BSTR ? CString(text.bstrVal).ToUtf8() : "?";
    }

    DbDatabase db;
    DbTableInfo* table;
};

}  // namespace recordsettest
