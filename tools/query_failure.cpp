// tools/query_failure.cpp - the plain-words reasons of refused queries and
// conditions, read from the library's log lines and, where they say
// nothing, from a second analysis of the statement.
#include "query_failure.h"

#include <korvan/query.h>

#include <algorithm>
#include <regex>

namespace korvan::cli {
namespace {

std::string Utf8(const CString& text) {
    return text.ToUtf8();
}

// The words of a condition as the analyser joined them: split at blanks
// outside quotes and square brackets.
std::vector<std::string> Words(const std::string& text) {
    std::vector<std::string> words(1);
    char closing = 0;
    for (const char c : text) {
        if (closing == 0 && c == ' ') {
            words.emplace_back();
            continue;
        }
        if (closing == 0 && (c == '\'' || c == '"' || c == '[')) {
            closing = c == '[' ? ']' : c;
        } else if (c == closing) {
            closing = 0;
        }
        words.back() += c;
    }
    return words;
}

int FieldOf(const DbTableDescr& descr, std::string word) {
    if (word.size() >= 2 && word.front() == '[' && word.back() == ']') {
        word = word.substr(1, word.size() - 2);
    }
    return descr.GetFieldIndex(CString(word.c_str()));
}

std::string Describe(const DbTableDescr& descr, int field) {
    const DbFieldDescr& f = descr.GetField(field);
    return "field '" + Utf8(f.GetName()) + "' (" + Utf8(f.GetTypeString()) + ")";
}

// The reasons AddFilter has to make no filter of a condition.
std::string ExplainCondition(const DbTableDescr* descr, const std::string& condition) {
    const std::string start = "the condition '" + condition + "' cannot be used";
    const std::vector<std::string> words = Words(condition);
    if (descr == nullptr || words.size() != 3) {
        return start;
    }
    const int left = FieldOf(*descr, words[0]);
    const int right = FieldOf(*descr, words[2]);
    if (left < 0 && right < 0) {
        return start + ": neither " + words[0] + " nor " + words[2] + " is a field of the table";
    }
    if (left >= 0 && right >= 0) {
        if (descr->GetField(left).GetType() == VT_EMPTY) {
            return start + ": " + Describe(*descr, left) + " has no type";
        }
        return start + ": " + Describe(*descr, left) + " and " + Describe(*descr, right) +
               " differ in type";
    }
    const int field = std::max(left, right);
    const std::string& constant = left >= 0 ? words[2] : words[0];
    return start + ": " + constant + " is no value for " + Describe(*descr, field);
}

// The reasons the library's lines give; the table of the conditions is
// asked for only when a line needs it.
template <typename TableOfConditions>
std::vector<std::string> ReasonsInLog(const std::vector<std::string>& log,
                                      TableOfConditions&& tableOfConditions) {
    static const std::regex noTable(
        "SQL Analyze - (?:table '(.*)' not found|no table '(.*)' found)");
    static const std::regex noField("SQL Analyze - no '(.*)' field found in '(.*)' table");
    static const std::regex invalid("SQL Analyze - invalid condition '(.*)'");
    static const std::regex incomplete("SQL Analyze - invalid condintion '(.*)'");
    std::vector<std::string> reasons;
    for (const std::string& line : log) {
        std::smatch m;
        std::string reason;
        if (std::regex_match(line, m, noTable)) {
            reason = "there is no table '" + (m[1].matched ? m[1] : m[2]).str() + "'";
        } else if (line == "SQL Analyze - no tables defined, check 'FROM' statement") {
            reason = "FROM names no table";
        } else if (std::regex_match(line, m, noField)) {
            reason = "table '" + m[2].str() + "' has no field '" + m[1].str() + "'";
        } else if (std::regex_match(line, m, invalid)) {
            reason = ExplainCondition(tableOfConditions(), m[1].str());
        } else if (std::regex_match(line, m, incomplete)) {
            reason = "the condition '" + m[1].str() +
                     "' is incomplete: a condition is a field, an operator and a value, such as "
                     "height > 200";
        } else if (line == "SQL Analyze - check 'SELECT' and/or 'FROM' statement") {
            reason = "a statement needs SELECT with at least one field and FROM with a table";
        }
        if (!reason.empty() && std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
            reasons.push_back(reason);
        }
    }
    return reasons;
}

std::string Joined(const std::vector<std::string>& reasons) {
    std::string text;
    for (const std::string& reason : reasons) {
        text += (text.empty() ? "" : "; ") + reason;
    }
    return text;
}

// Brackets of the WHERE part that do not pair up, or "".
std::string UnpairedBrackets(const std::vector<CString>& words) {
    bool inWhere = false;
    int depth = 0;
    for (const CString& word : words) {
        if (word == L"where") {
            inWhere = true;
        } else if (word == L"select" || word == L"from" || word == L"order") {
            inWhere = false;
        } else if (inWhere && word == L"(") {
            ++depth;
        } else if (inWhere && word == L")") {
            --depth;
        }
    }
    if (depth == 0) {
        return "";
    }
    const int count = depth > 0 ? depth : -depth;
    return "unbalanced brackets in WHERE: " + std::to_string(count) +
           (depth > 0 ? " '(' not closed" : " ')' without '('");
}

}  // namespace

namespace {

// Why a statement that passed the analysis still failed.
std::string AfterAnalysis(DbDatabase& db, const parser::QueryAnalysisParams& params) {
    if (!params.clause->IsValid()) {
        const std::string unpaired = UnpairedBrackets(params.words);
        return unpaired.empty() ? "the brackets in WHERE do not pair up" : unpaired;
    }
    DbTableData* data = db.GetTableData(params.tables[0]);
    if (data == nullptr || data->GetRows() == nullptr) {
        return "the rows of table '" + Utf8(params.tables[0]) + "' cannot be read";
    }
    return "the library gave no reason";
}

}  // namespace

std::string ExplainQueryFailure(DbDatabase& db, const std::string& sql,
                                const std::vector<std::string>& log) {
    CString text(sql.c_str());
    text.Replace(L"\r", L" ");
    text.Replace(L"\n", L" ");
    parser::QueryAnalysisParams params;
    const bool analysed = db.AnalyzeSQL(text, &params);
    DbTableDescr* first = params.tables.empty() ? nullptr : db.GetTableDescr(params.tables[0]);
    const std::vector<std::string> reasons = ReasonsInLog(log, [first] { return first; });
    const std::string reason = !reasons.empty() ? Joined(reasons)
                               : analysed       ? AfterAnalysis(db, params)
                                                : "the library gave no reason";
    // The clause refers to the filters: they go last.
    if (first != nullptr) {
        first->ClearFilters();
    }
    std::vector<CString> repeated;
    db.GetError(repeated);
    return reason;
}

std::string ExplainConditionFailure(DbDatabase& db, const CString& table,
                                    const std::vector<std::string>& log) {
    DbTableDescr* descr = db.GetTableDescr(table);
    const std::vector<std::string> reasons = ReasonsInLog(log, [descr] { return descr; });
    return reasons.empty() ? "the library gave no reason" : Joined(reasons);
}

}  // namespace korvan::cli
