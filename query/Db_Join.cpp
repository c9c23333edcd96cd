// Joins of two tables: one table is sought through a recordset and an index
// "LABEL" on its join field for the join value of every row of the other.
#include <korvan/database.h>
#include <korvan/recordset.h>

#include <vector>

namespace {

enum class JoinKind { Inner, Right };

// The position of a join field in its own table or, failing that, in the
// other one; -1 when neither has it.
int JoinField(const DbTableInfo* own, const DbTableInfo* other, const CString& field) {
    int position = own != nullptr ? own->descr->GetFieldIndex(field) : -1;
    if (position < 0 && other != nullptr) {
        position = other->descr->GetFieldIndex(field);
    }
    return position;
}

// Adds the fields of source to result, named "table.field" for a table and
// "field" for a query; returns for every source field its result position,
// -1 when the name was taken already.
std::vector<int> AddFields(DbTableDescr& result, const DbTableInfo& source) {
    const CString prefix = source.type == DbTableInfo::TABLE ? source.name + L"." : CString();
    std::vector<int> positions;
    for (size_t f = 0; f < source.descr->GetFieldCount(); ++f) {
        const DbFieldDescr& field = (*source.descr)[f];
        const bool added = result.CreateField(prefix + field.GetName(), false, field.GetDbType());
        positions.push_back(added ? static_cast<int>(result.GetFieldCount()) - 1 : -1);
    }
    return positions;
}

void CopyCells(DbTableRow& target, const DbTableRow& source, const std::vector<int>& positions) {
    for (size_t f = 0; f < positions.size() && f < source.GetFieldCount(); ++f) {
        if (positions[f] >= 0) {
            target[static_cast<uint64_t>(positions[f])] = source[f];
        }
    }
}

CString RunJoin(DbDatabase& db, JoinKind kind, const CString& table1, const CString& table2,
                const CString& field1, const CString& op, const CString& field2) {
    const CString name = StringBuilder(
        kind == JoinKind::Inner ? L"%s INNER JOIN %s ON %s %s %s" : L"%s RIGHT JOIN %s ON %s %s %s",
        table1.GetString(), table2.GetString(), field1.GetString(), op.GetString(),
        field2.GetString());
    // Reading the data first brings stale query answers up to date before
    // their fields are taken.
    DbTableData* data1 = db.GetTableData(table1);
    DbTableData* data2 = db.GetTableData(table2);
    DbTableInfo* first = db.GetTableInfo(table1);
    DbTableInfo* second = db.GetTableInfo(table2);
    const int position1 = JoinField(first, second, field1);
    const int position2 = JoinField(second, first, field2);

    DbTableInfo* result = db.GetTableInfo(name);
    if (result != nullptr && (result == first || result == second)) {
        return name;  // the answer would overwrite its own source
    }
    if (result == nullptr) {
        result = db.CreateTable(name, DbTableInfo::QUERY, CString(), nullptr);
    } else {
        result->Clear();
    }
    if (result == nullptr) {
        return name;
    }
    const std::vector<int> fields1 =
        first != nullptr ? AddFields(*result->descr, *first) : std::vector<int>();
    const std::vector<int> fields2 =
        second != nullptr ? AddFields(*result->descr, *second) : std::vector<int>();

    if (data1 != nullptr && data2 != nullptr) {
        // The index goes on the table that is sought; inner_join scans the
        // larger table.
        const bool scanFirst = kind == JoinKind::Inner && data1->size() > data2->size();
        const DbTableInfo* sought = scanFirst ? second : first;
        DbTableData* scanned = scanFirst ? data1 : data2;
        const int scannedField = scanFirst ? position1 : position2;

        // A name holding the word "select" would be taken for a statement;
        // the statement that answers with the whole table opens those.
        DbRecordset recordset(&db);
        if (recordset.Open(sought->name) ||
            recordset.Open(L"select * from [" + sought->name + L"]")) {
            recordset.GetTableDescr()->CreateIndex(L"LABEL", scanFirst ? field2 : field1);
            recordset.SetCurrentIndex(CString(L"LABEL"));
        }
        DbRows* rows = scanned->GetRows();
        const uint64_t count = rows != nullptr ? rows->GetRowsCount() : 0;
        for (uint64_t r = 0; r < count; ++r) {
            const DbTableRow& row = *rows->GetRow(static_cast<int>(r));
            CComVariant key;
            if (scannedField >= 0 && static_cast<size_t>(scannedField) < row.GetFieldCount()) {
                key = row[static_cast<uint64_t>(scannedField)].GetValue();
            }
            const DbTableRow* match =
                recordset.Seek(op, &key) ? recordset.GetCurrentRow() : nullptr;
            if (match == nullptr && kind == JoinKind::Inner) {
                continue;
            }
            DbTableRow& target = *result->data->GetRow(static_cast<int>(result->data->AddRow()));
            const DbTableRow* row1 = scanFirst ? &row : match;
            const DbTableRow* row2 = scanFirst ? match : &row;
            if (row1 != nullptr) {
                CopyCells(target, *row1, fields1);
            }
            if (row2 != nullptr) {
                CopyCells(target, *row2, fields2);
            }
        }
    }
    // Like every query answer, the join table is never written to the file.
    result->data->Sync();
    result->descr->Sync();
    return name;
}

}  // namespace

CString DbDatabase::inner_join(CString table1, CString table2, CString field1, CString op,
                               CString field2) {
    return RunJoin(*this, JoinKind::Inner, table1, table2, field1, op, field2);
}

CString DbDatabase::right_join(CString table1, CString table2, CString field1, CString op,
                               CString field2) {
    return RunJoin(*this, JoinKind::Right, table1, table2, field1, op, field2);
}

CString DbDatabase::left_join(CString /*table1*/, CString /*table2*/, CString /*field1*/,
                              CString /*op*/, CString /*field2*/) {
    return CString();
}
