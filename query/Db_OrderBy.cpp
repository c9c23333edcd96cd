// ORDER BY: the selected rows placed one by one by binary insertion.

#include <algorithm>

#include "query/Db_InsertionOrder.h"
#include "query/Db_QueryStages.h"

namespace korvan {

std::vector<uint64_t> OrderRows(const DbRows& rows, const std::vector<uint64_t>& fields,
                                bool descending, const std::vector<uint64_t>& selection) {
    if (fields.empty()) {
        return selection;
    }
    std::vector<uint64_t> answer = InsertionOrder(rows, fields, selection);
    if (descending) {
        std::reverse(answer.begin(), answer.end());
    }
    return answer;
}

}  // namespace korvan
