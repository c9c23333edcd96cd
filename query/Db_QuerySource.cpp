// The table a query is computed from, with the positions of the fields it
// selects and orders by.

#include "query/Db_QueryStages.h"

namespace korvan {
namespace {

std::vector<uint64_t> Positions(const DbTableDescr& descr, const std::vector<CString>& names) {
    std::vector<uint64_t> positions;
    for (const CString& name : names) {
        const int i = descr.GetFieldIndex(name);
        if (i >= 0) {
            positions.push_back(static_cast<uint64_t>(i));
        }
    }
    return positions;
}

}  // namespace

QuerySource::QuerySource(DbDatabase& db, const parser::QueryAnalysisParams& params)
    : info(db.GetTableInfo(params.tables[0])),
      descr(db.GetTableDescr(params.tables[0])),
      data(db.GetTableData(params.tables[0])),
      rows(data != nullptr ? data->GetRows() : nullptr),
      allFields(params.fields[0] == L"*") {
    if (!IsReadable()) {
        return;
    }
    if (allFields) {
        for (size_t i = 0; i < descr->GetFieldCount(); ++i) {
            selected.push_back(i);
        }
    } else {
        selected = Positions(*descr, params.fields);
    }
    // ORDER BY names are not checked by the analysis.
    ordering = Positions(*descr, params.orderBy);
}

}  // namespace korvan
