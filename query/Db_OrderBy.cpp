// ORDER BY: the selected rows placed one by one by binary insertion.

#include <algorithm>

#include "model/Db_BinarySearch.h"
#include "query/Db_PositionList.h"
#include "query/Db_QueryStages.h"

namespace korvan {

// A position list gives the answers of inserting into a vector without its
// quadratic moves.
std::vector<uint64_t> OrderRows(const DbRows& rows, const std::vector<uint64_t>& fields,
                                bool descending, const std::vector<uint64_t>& selection) {
    if (fields.empty()) {
        return selection;
    }
    PositionList ordered;
    for (const uint64_t r : selection) {
        const DbTableRow& row = *rows.GetRow(static_cast<int>(r));
        DbTableRow::eCmpResult result;
        const uint64_t pos = BinarySearch(
            ordered.size(),
            [&](size_t i) {
                return row.CompareEx(fields, *rows.GetRow(static_cast<int>(ordered.at(i))));
            },
            result);
        ordered.insert(pos, r);
    }
    std::vector<uint64_t> answer = ordered.ToVector();
    if (descending) {
        std::reverse(answer.begin(), answer.end());
    }
    return answer;
}

}  // namespace korvan
