// Helpers for tests that build tables: columns given by name and type, rows
// given as variants (stored as they are, so a null or a value of another
// type stays), and the message log as UTF-8 lines.
#pragma once

#include <korvan/database.h>
#include <korvan/model.h>

#include <string>
#include <vector>

namespace testtables {

struct Column {
    const wchar_t* name;
    DbFieldDescr::eFieldType type;
};

using Rows = std::vector<std::vector<CComVariant>>;

inline CComVariant Null() {
    CComVariant v;
    v.vt = VT_NULL;
    return v;
}

inline CString TextOf(const DbFieldValue& value) {
    CString text;
    value.ValueToString(text);
    return text;
}

inline void Fill(DbTableDescr& descr, DbTableData& data, const std::vector<Column>& columns,
                 const Rows& rows) {
    for (const Column& c : columns) {
        descr.CreateField(c.name, false, c.type);
    }
    for (const std::vector<CComVariant>& values : rows) {
        DbTableRow& row = *data.GetRow(static_cast<int>(data.AddRow()));
        for (size_t i = 0; i < values.size(); ++i) {
            row[i].GetVariant() = values[i];
        }
    }
}

inline std::vector<std::string> Utf8(const std::vector<CString>& texts) {
    std::vector<std::string> out;
    for (const CString& t : texts) {
        out.push_back(t.ToUtf8());
    }
    return out;
}

// The database's log as UTF-8 lines, handed over (the log is left empty).
inline std::vector<std::string> TakeLog(DbDatabase& db) {
    std::vector<CString> lines;
    db.GetError(lines);
    return Utf8(lines);
}

// A table without a database: nobody is told of field changes and nothing
// is logged.
struct Table {
    explicit Table(const std::vector<Column>& columns = {}, const Rows& rows = {})
        : descr(nullptr), data(nullptr, &descr) {
        Fill(descr, data, columns, rows);
    }
    DbTableDescr descr;
    DbTableData data;
};

}  // namespace testtables
