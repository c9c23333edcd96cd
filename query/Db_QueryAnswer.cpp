// The registration of a computed answer as a QUERY entry.

#include "query/Db_QueryStages.h"

namespace korvan {
namespace {

// Every selected row's cells, copied into new rows of the answer.
void CopyCells(DbTableData& answer, const DbRows& rows, const std::vector<uint64_t>& fields,
               const std::vector<uint64_t>& selection) {
    answer.AddRows(selection.size());
    DbRows& copies = *answer.GetRows();
    for (size_t i = 0; i < selection.size(); ++i) {
        DbTableRow& target = *copies.GetRow(static_cast<int>(i));
        const DbTableRow& source = *rows.GetRow(static_cast<int>(selection[i]));
        for (size_t j = 0; j < fields.size(); ++j) {
            target[j] = source[fields[j]];
        }
    }
}

// The answer shares the source's rows; Bind takes store positions.
void BindRows(DbTableData& answer, DbRows& rows, const std::vector<uint64_t>& selection) {
    std::vector<uint64_t> order;
    order.reserve(selection.size());
    for (const uint64_t r : selection) {
        order.push_back(rows.GetOrder()[r]);
    }
    answer.Bind(&rows, order);
}

}  // namespace

bool RegisterAnswer(DbDatabase& db, const CString& name, const CString& sql,
                    const QuerySource& source, const std::vector<uint64_t>& selection) {
    DbTableInfo* answer = db.GetTableInfo(name);
    if (answer != nullptr && answer == source.info) {
        return false;  // the answer would overwrite its own source
    }
    // Clearing the entry empties both its structure and its rows.
    if (answer == nullptr) {
        answer = db.CreateTable(name, DbTableInfo::QUERY, sql, source.info);
    } else {
        answer->Clear();
    }
    if (answer == nullptr) {
        return false;
    }
    std::vector<uint64_t> fields;
    for (const uint64_t field : source.selected) {
        // A field selected twice makes one column.
        if (answer->descr->CreateField(source.descr->GetField(static_cast<int>(field)))) {
            fields.push_back(field);
        }
    }
    if (source.allFields) {
        BindRows(*answer->data, *source.rows, selection);
    } else {
        CopyCells(*answer->data, *source.rows, fields, selection);
    }
    answer->data->Sync();
    answer->descr->Sync();
    answer->syncId = source.data->GetChangeId();
    return true;
}

}  // namespace korvan
