// SQL analysis: one left-to-right scan of a SELECT text with a section
// state, filling parser::QueryAnalysisParams and attaching a row filter to
// the first FROM table for every WHERE condition.

#include "query/Db_Analyze.h"

#include "platform/format.h"

#include <korvan/database.h>
#include <korvan/query.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/unicode.h"

namespace parser {

QueryAnalysisParams::QueryAnalysisParams()
    : clause(new clv::clause()),
      descending(false),
      section(0),
      sectionBeforeTop(0),
      distinct(false),
      top(-1) {}

QueryAnalysisParams::~QueryAnalysisParams() {
    delete clause;
}

}  // namespace parser

namespace korvan {

CString LowerOutsideQuotes(const CString& sql) {
    std::wstring text = sql.str();
    bool quoted = false;
    for (wchar_t& ch : text) {
        if (ch == L'\'' || ch == L'"' || ch == 0xFF91) {
            quoted = !quoted;
        } else if (!quoted) {
            ch = ToLowerSimple(ch);
        }
    }
    return CString(std::move(text));
}

CString PrepareStatement(const CString& sql) {
    CString text = sql;
    text.Replace(L'\r', L' ');
    text.Replace(L'\n', L' ');
    return LowerOutsideQuotes(text);
}

CString StripBrackets(const CString& name) {
    const int length = name.GetLength();
    if (length >= 2 && name[0] == L'[' && name[length - 1] == L']') {
        return name.Mid(1, length - 2);
    }
    return name;
}

namespace {

enum Section : uint32_t {
    kBeforeSelect = 0,
    kSelectList = 1,
    kTopCount = 3,
    kFromList = 4,
    kWhere = kWhereSection,
    kOrder = 6,
    kOrderByList = 7,
};

// The quoting the scan and the operator spacing share: a double quote, an
// apostrophe or "[" opens a stretch that only the matching character
// closes. Everything inside belongs to the word being read.
class QuoteState {
  public:
    // Feeds one character; true when it is part of a quoted stretch
    // (the opening and closing characters included).
    bool Feed(wchar_t ch) {
        if (m_closer != 0) {
            if (ch == m_closer) {
                m_closer = 0;
            }
            return true;
        }
        if (ch == L'"' || ch == L'\'') {
            m_closer = ch;
        } else if (ch == L'[') {
            m_closer = L']';
        }
        return m_closer != 0;
    }

  private:
    wchar_t m_closer = 0;
};

// Length of the operator starting at i: 2 for "<=", ">=", "<>", "!=" and
// "==", 1 for a lone "*", ")", "(", "<", ">" or "=", else 0.
size_t OperatorLength(const std::wstring& text, size_t i) {
    static const wchar_t* const kPairs[] = {L"<=", L">=", L"<>", L"!=", L"=="};
    if (i + 1 < text.size()) {
        for (const wchar_t* pair : kPairs) {
            if (text[i] == pair[0] && text[i + 1] == pair[1]) {
                return 2;
            }
        }
    }
    return std::wstring_view(L"*)(<>=").find(text[i]) != std::wstring_view::npos ? 1 : 0;
}

// Puts a blank on both sides of every operator outside quotes where there is
// none, so that "a>=5" reads as the three words of a condition. The first two
// positions of the text are left alone.
std::wstring SpaceOperators(const std::wstring& text) {
    std::wstring out;
    out.reserve(text.size() + text.size() / 2);
    QuoteState quotes;
    size_t i = 0;
    while (i < text.size()) {
        const size_t length = quotes.Feed(text[i]) ? 0 : OperatorLength(text, i);
        if (length == 0) {
            out += text[i++];
            continue;
        }
        if (i >= 2 && out.back() != L' ') {
            out += L' ';
        }
        out.append(text, i, length);
        if (i >= 2 && i + length < text.size() && text[i + length] != L' ') {
            out += L' ';
        }
        i += length;
    }
    return out;
}

// TOP's count: the leading decimal digits (none gives 0), capped at the
// largest 32-bit value.
int32_t LeadingNumber(const CString& word) {
    int64_t value = 0;
    for (int i = 0; i < word.GetLength() && word[i] >= L'0' && word[i] <= L'9'; ++i) {
        value = std::min<int64_t>(value * 10 + (word[i] - L'0'), INT32_MAX);
    }
    return static_cast<int32_t>(value);
}

// One analysis run over the prepared text.
class Analyzer {
  public:
    Analyzer(DbDatabase& db, parser::QueryAnalysisParams& params,
             std::function<void(const CString&)> log)
        : m_db(db), m_params(params), m_log(std::move(log)) {}

    void Scan(const std::wstring& text) {
        CString word;
        QuoteState quotes;
        for (const wchar_t ch : text) {
            if (!quotes.Feed(ch) && (ch == L' ' || ch == L',' || ch == L';')) {
                EndWord(word);
            } else {
                word += ch;
            }
        }
        EndWord(word);
    }

    // The conclusion after the scan; true when the statement is usable.
    bool Conclude() {
        if (!m_params.pendingCondition.empty()) {
            m_log(StringBuilder(L"SQL Analyze - invalid condintion '%s'",
                                korvan::Join(m_params.pendingCondition, L" ").GetString()));
            m_failed = true;
        }
        if (m_params.fields.empty() || m_params.tables.empty()) {
            m_log(L"SQL Analyze - check 'SELECT' and/or 'FROM' statement");
            m_log(L"SQL Analyze - failed");
            return false;
        }
        m_log(m_failed ? L"SQL Analyze - failed" : L"SQL Analyze - ok");
        return !m_failed;
    }

  private:
    // A word that its section does not take stays and grows with the
    // characters that follow.
    void EndWord(CString& word) {
        if (Keyword(word)) {
            m_params.words.push_back(word);
            word.Empty();
        } else if (!word.IsEmpty() && Take(word)) {
            word.Empty();
        }
    }

    // Applies a keyword; false for any other word. "by" is a keyword only
    // after "order".
    bool Keyword(const CString& word) {
        parser::QueryAnalysisParams& p = m_params;
        if (word == L"select") {
            p.section = kSelectList;
        } else if (word == L"top") {
            p.sectionBeforeTop = p.section;
            p.section = kTopCount;
        } else if (word == L"distinct") {
            if (p.section == kSelectList) {
                p.distinct = true;
            }
        } else if (word == L"from") {
            p.section = kFromList;
        } else if (word == L"where") {
            p.section = kWhere;
        } else if (word == L"order") {
            p.section = kOrder;
        } else if (word == L"by" && p.section == kOrder) {
            p.section = kOrderByList;
        } else {
            return false;
        }
        return true;
    }

    // Hands a word that is not a keyword to the current section; false when
    // the section takes no words.
    bool Take(const CString& word) {
        parser::QueryAnalysisParams& p = m_params;
        switch (p.section) {
            case kSelectList:
                p.fields.push_back(word);
                break;
            case kTopCount:
                p.top = LeadingNumber(word);
                p.section = p.sectionBeforeTop;
                return true;  // the count is not one of the words
            case kFromList:
                TakeTable(word);
                break;
            case kWhere:
                TakeConditionWord(word);
                break;
            case kOrderByList:
                if (word == L"desc") {
                    p.descending = true;
                } else if (word != L"asc") {
                    p.orderBy.push_back(StripBrackets(word));
                }
                break;
            default:
                return false;
        }
        p.words.push_back(word);
        return true;
    }

    // Every table of the FROM list must hold every selected field.
    void TakeTable(const CString& word) {
        parser::QueryAnalysisParams& p = m_params;
        const CString table = StripBrackets(word);
        p.tables.push_back(table);
        DbTableDescr* descr = m_db.GetTableDescr(table);
        if (descr == nullptr) {
            m_log(StringBuilder(L"SQL Analyze - no table '%s' found", table.GetString()));
            m_failed = true;
            return;
        }
        if (p.fields.size() == 1 && p.fields[0] == L"*") {
            return;
        }
        for (const CString& field : p.fields) {
            if (!descr->IsField(field)) {
                m_log(StringBuilder(L"SQL Analyze - no '%s' field found in '%s' table",
                                    field.GetString(), p.tables[0].GetString()));
                m_failed = true;
                return;
            }
        }
    }

    void TakeConditionWord(const CString& word) {
        parser::QueryAnalysisParams& p = m_params;
        if (word == L"and") {
            p.clause->and_();
        } else if (word == L"or") {
            p.clause->or_();
        } else if (word == L"not") {
            p.clause->not_();
        } else if (word == L"(") {
            p.clause->leftBracket();
        } else if (word == L")") {
            p.clause->rightBracket();
        } else {
            p.pendingCondition.push_back(word);
            if (p.pendingCondition.size() == 3) {
                MakeCondition();
            }
        }
    }

    // Conditions always refer to the first FROM table.
    void MakeCondition() {
        parser::QueryAnalysisParams& p = m_params;
        const CString& left = p.pendingCondition[0];
        const CString& op = p.pendingCondition[1];
        const CString& right = p.pendingCondition[2];
        if (DbTableDescr* descr = FirstTableDescr()) {
            if (DbFilter* filter =
                    descr->AddFilter(StripBrackets(left), op, StripBrackets(right))) {
                p.clause->expr(filter);
            } else {
                m_log(StringBuilder(L"SQL Analyze - invalid condition '%s %s %s'", left.GetString(),
                                    op.GetString(), right.GetString()));
                m_failed = true;
            }
        } else {
            m_failed = true;
        }
        p.conditions.push_back(korvan::Join(p.pendingCondition, L" "));
        p.pendingCondition.clear();
    }

    DbTableDescr* FirstTableDescr() {
        if (m_params.tables.empty()) {
            m_log(L"SQL Analyze - no tables defined, check 'FROM' statement");
            return nullptr;
        }
        DbTableDescr* descr = m_db.GetTableDescr(m_params.tables[0]);
        if (descr == nullptr) {
            m_log(StringBuilder(L"SQL Analyze - no table '%s' found",
                                m_params.tables[0].GetString()));
        }
        return descr;
    }

    DbDatabase& m_db;
    parser::QueryAnalysisParams& m_params;
    std::function<void(const CString&)> m_log;
    bool m_failed = false;
};

}  // namespace
}  // namespace korvan

bool DbDatabase::AnalyzeSQL(CString sql, parser::QueryAnalysisParams* params) {
    if (params == nullptr) {
        return false;
    }
    const CString lowered = korvan::LowerOutsideQuotes(sql);
    Log(StringBuilder(L"SQL Analyze - query '%s'", lowered.GetString()));
    korvan::Analyzer analyzer(*this, *params, [this](const CString& line) { Log(line); });
    analyzer.Scan(korvan::SpaceOperators(lowered.str()));
    return analyzer.Conclude();
}

bool DbDatabase::VerifySQL(CString sql) {
    // The filters the analysis attaches stay on the table until the next
    // ClearFilters.
    parser::QueryAnalysisParams params;
    return AnalyzeSQL(korvan::LowerOutsideQuotes(sql), &params);
}
