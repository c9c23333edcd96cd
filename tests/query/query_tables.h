// Test helpers: in-memory databases with tables given as columns and rows,
// and the message log as UTF-8 lines.
#pragma once

#include <korvan/database.h>

#include <string>
#include <vector>

namespace querytest {

struct Column {
    const wchar_t* name;
    DbFieldDescr::eFieldType type;
};

inline CComVariant Null() {
    CComVariant v;
    v.vt = VT_NULL;
    return v;
}

// A table of the given columns holding the rows as given (the variants are
// stored as they are, so a null or a value of another type stays).
inline DbTableInfo* MakeTable(DbDatabase& db, const wchar_t* name,
                              const std::vector<Column>& columns,
                              const std::vector<std::vector<CComVariant>>& rows) {
    DbTableInfo* table = db.CreateTable(name, DbTableInfo::TABLE);
    for (const Column& c : columns) {
        table->descr->CreateField(c.name, false, c.type);
    }
    for (const std::vector<CComVariant>& values : rows) {
        DbTableRow& row = *table->data->GetRow(static_cast<int>(table->data->AddRow()));
        for (size_t i = 0; i < values.size(); ++i) {
            row[i].GetVariant() = values[i];
        }
    }
    return table;
}

inline std::vector<std::string> Utf8(const std::vector<CString>& texts) {
    std::vector<std::string> out;
    for (const CString& t : texts) {
        out.push_back(t.ToUtf8());
    }
    return out;
}

// Hands the log over (and empties it).
inline std::vector<std::string> TakeLog(DbDatabase& db) {
    std::vector<CString> lines;
    db.GetError(lines);
    return Utf8(lines);
}

// A value as text: "null" for a null variant, "?" when it has no text form.
inline std::string CellText(const CComVariant& v) {
    if (v.vt == VT_NULL) {
        return "null";
    }
    CComVariant text;
    return SUCCEEDED(text.ChangeType(VT_BSTR, &v)) ? CString(text.bstrVal).ToUtf8() : "?";
}

// The cells of a table as texts, row by row.
inline std::vector<std::vector<std::string>> Cells(DbTableData* data) {
    std::vector<std::vector<std::string>> out;
    for (uint64_t r = 0; r < data->size(); ++r) {
        const DbTableRow& row = *data->GetRow(static_cast<int>(r));
        std::vector<std::string> cells;
        for (size_t i = 0; i < row.GetFieldCount(); ++i) {
            cells.push_back(CellText(row[i].GetVariant()));
        }
        out.push_back(cells);
    }
    return out;
}

}  // namespace querytest
