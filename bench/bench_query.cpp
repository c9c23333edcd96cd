// Queries: SELECT statements run by DbDatabase::Query on generated tables of
// 12 fields, against the same rows in an in-memory SQLite database queried
// with statements of the same meaning, in the same child process. Each
// answer is compared with SQLite's as far as the two agree on the meaning:
//   - the filter (AND, OR, brackets; text equality without regard to case)
//     gives the same rows in table order;
//   - ORDER BY a double gives the same sequence of keys (rows with equal keys
//     may come in another order);
//   - ORDER BY a text DESC orders by ICU collation in korvan and by bytes in
//     SQLite: only the rows are compared, as a multiset;
//   - DISTINCT on a low-cardinality text: the same values (case-sensitive on
//     both sides), compared as a set since the order is not defined in SQL;
//   - TOP with ORDER BY takes the first matching rows in table order before
//     ordering, which SQLite says with a LIMIT in a subquery: the same
//     sequence of keys;
//   - the same text run a second time answers from the first run's entry in
//     korvan, while SQLite runs its prepared statement again.
// ORDER BY and DISTINCT also run in their plain form (insertion into a flat
// vector at the position SpatialIndex gives; every row against every row kept
// so far), which must give exactly the same rows as the query.
//
//     bench_query [--runs N] [rows ...]      (default: 10000 100000 rows, 3 runs)

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/bench_support.h"

namespace {

using bench::Dataset;
using bench::Format;
using bench::Now;
using bench::Ratio;

constexpr const char* kUsage =
    "usage: bench_query [--runs N] [rows ...]\n"
    "  queries generated tables with the given row counts (default 10000 100000)\n"
    "  and prints the best of N runs (default 3) of every figure\n";

// How an answer is compared with SQLite's: on one column, either as a
// sequence or as a multiset.
enum class Compare { kSequence, kMultiset };

// The plain form run beside a statement, if any.
enum class Plain { kNone, kOrder, kDistinct };

struct Statement {
    const char* what;
    const wchar_t* korvan;
    const char* sqlite;
    const wchar_t* column;  // the column both answers are compared on
    Compare compare;
    const char* agreement;
    Plain plain = Plain::kNone;
};

// The repeated statement is the first one, run again.
const std::vector<Statement>& Statements() {
    static const std::vector<Statement> statements = {
        {"filter AND/OR, brackets",
         L"select * from parts where (size < 300 and weight >= 250.5) or "
         L"(active = true and grade = 'S355')",
         "SELECT * FROM parts WHERE (size < 300 AND weight >= 250.5) OR "
         "(active = 1 AND grade = 'S355' COLLATE NOCASE) ORDER BY rowid",
         L"id", Compare::kSequence, "same rows, same order"},
        {"ORDER BY double", L"select * from parts order by weight",
         "SELECT * FROM parts ORDER BY weight", L"weight", Compare::kSequence,
         "same key sequence (ties may differ)", Plain::kOrder},
        {"ORDER BY text DESC", L"select * from parts order by name desc",
         "SELECT * FROM parts ORDER BY name DESC", L"id", Compare::kMultiset,
         "ICU vs byte order: same rows as multiset", Plain::kOrder},
        {"DISTINCT low cardinality", L"select distinct grade from parts",
         "SELECT DISTINCT grade FROM parts", L"grade", Compare::kMultiset,
         "same values as a set (order undefined)", Plain::kDistinct},
        {"TOP 1000 with ORDER BY", L"select top 1000 name, weight from parts order by weight",
         "SELECT name, weight FROM (SELECT name, weight FROM parts ORDER BY rowid LIMIT 1000) "
         "ORDER BY weight",
         L"weight", Compare::kSequence, "TOP before ORDER BY: same key sequence"},
    };
    return statements;
}

constexpr int kRepeat = -1;  // marks the second run of the first statement

// Figures per statement, in this order.
enum Figure { kKorvan, kSqlite, kPlain, kSame, kPlainSame, kRows, kFiguresPerStatement };

// A cell's value as text, the same way for both engines.
std::string ValueText(const VARIANT& v) {
    switch (v.vt) {
        case VT_I4:
            return std::to_string(v.lVal);
        case VT_R8:
            return Format("%.17g", v.dblVal);
        case VT_BOOL:
            return v.boolVal ? "1" : "0";
        case VT_BSTR:
            return korvan::EncodeUtf8(v.bstrVal);
        default:
            return "?";
    }
}

std::string ColumnText(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_INTEGER:
            return std::to_string(sqlite3_column_int64(statement, column));
        case SQLITE_FLOAT:
            return Format("%.17g", sqlite3_column_double(statement, column));
        default:
            return reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    }
}

std::vector<std::string> KorvanAnswer(DbDatabase& db, const CString& name, const CString& column) {
    DbTableData* data = db.GetTableData(name);
    const int field = data->GetTableDescr()->GetFieldIndex(column);
    std::vector<std::string> values;
    for (uint64_t r = 0; r < data->size(); ++r) {
        values.push_back(ValueText(data->GetRow(static_cast<int>(r))
                                       ->GetField(static_cast<uint64_t>(field))
                                       .GetVariant()));
    }
    return values;
}

std::vector<std::string> SqliteAnswer(sqlite3_stmt* statement, const CString& column) {
    int field = 0;
    while (CString(sqlite3_column_name(statement, field)) != column) {
        ++field;
    }
    std::vector<std::string> values;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        values.push_back(ColumnText(statement, field));
    }
    sqlite3_reset(statement);
    return values;
}

// Steps through the whole answer without reading values, as the time of a
// korvan query includes no reading of its answer either.
void StepThrough(sqlite3_stmt* statement) {
    while (sqlite3_step(statement) == SQLITE_ROW) {
    }
    sqlite3_reset(statement);
}

// ORDER BY in its plain form: every row, in table order, inserted into a
// flat vector at the position SpatialIndex finds. True when the query's
// answer holds exactly these rows in this order.
bool PlainOrder(DbTableData& source, DbTableData& answer, uint64_t field, bool descending,
                double& seconds) {
    const double start = Now();
    std::vector<uint64_t> sorted;
    for (uint64_t r = 0; r < source.size(); ++r) {
        const uint64_t pos =
            source.SpatialIndex(sorted, {field}, *source.GetRow(static_cast<int>(r)));
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(pos), r);
    }
    if (descending) {
        std::reverse(sorted.begin(), sorted.end());
    }
    seconds = Now() - start;
    bool same = answer.size() == sorted.size();
    for (size_t i = 0; same && i < sorted.size(); ++i) {
        same = answer.GetRow(static_cast<int>(i)) == source.GetRow(static_cast<int>(sorted[i]));
    }
    return same;
}

// DISTINCT in its plain form: every row against every row kept so far, with
// variant equality. True when the query's answer holds exactly these values
// in this order.
bool PlainDistinct(DbTableData& source, DbTableData& answer, uint64_t field, double& seconds) {
    const double start = Now();
    std::vector<const DbTableRow*> kept;
    for (uint64_t r = 0; r < source.size(); ++r) {
        const DbTableRow* row = source.GetRow(static_cast<int>(r));
        const VARIANT& value = (*row)[field].GetVariant();
        if (std::none_of(kept.begin(), kept.end(),
                         [&](const DbTableRow* k) { return (*k)[field].GetVariant() == value; })) {
            kept.push_back(row);
        }
    }
    seconds = Now() - start;
    bool same = answer.size() == kept.size();
    for (size_t i = 0; same && i < kept.size(); ++i) {
        const VARIANT& expected = (*kept[i])[field].GetVariant();
        same = answer.GetRow(static_cast<int>(i))->GetField(0).GetVariant() == expected;
    }
    return same;
}

// The column a plain form works on: the first ORDER BY or select word after
// the keyword.
uint64_t PlainField(DbTableDescr& descr, const Statement& s) {
    const CString text(s.korvan);
    const CString keyword = s.plain == Plain::kOrder ? L"order by " : L"distinct ";
    CString rest = text.Mid(text.Find(keyword) + keyword.GetLength());
    const int blank = rest.Find(L' ');
    return static_cast<uint64_t>(descr.GetFieldIndex(blank < 0 ? rest : rest.Left(blank)));
}

void RunStatements(const Dataset& data, std::vector<double>& figures) {
    // No file: nothing is ever written.
    DbDatabase db;
    db.Create(L"");
    DbTableInfo* parts = bench::FillTable(db, L"parts", data);
    bench::Sqlite sqlite;
    bench::FillSqliteTable(sqlite, "parts", data);

    // Warm-up on a small table: the collator, the analysis and both engines'
    // first allocations.
    const Dataset small = bench::Generate(200, 2);
    bench::FillTable(db, L"warm", small);
    bench::FillSqliteTable(sqlite, "warm", small);
    CString warm;
    db.Query(L"select * from warm where size < 500 order by name desc", warm);
    sqlite3_stmt* warmStatement =
        sqlite.Prepare("SELECT * FROM warm WHERE size < 500 ORDER BY name DESC");
    StepThrough(warmStatement);
    sqlite3_finalize(warmStatement);

    std::vector<int> order;
    for (int i = 0; i < static_cast<int>(Statements().size()); ++i) {
        order.push_back(i);
        if (i == 0) {
            order.push_back(kRepeat);
        }
    }
    std::vector<double> firstRun;
    CString firstName;
    sqlite3_stmt* firstStatement = nullptr;
    for (const int index : order) {
        const Statement& s = Statements()[static_cast<size_t>(index == kRepeat ? 0 : index)];
        std::vector<double> f(kFiguresPerStatement, 0);
        f[kPlain] = -1;
        f[kPlainSame] = 1;

        CString name;
        double start = Now();
        if (!db.Query(s.korvan, name)) {
            bench::Die("query failed: " + db.GetErrorLog().ToUtf8());
        }
        f[kKorvan] = Now() - start;

        // The repeated statement runs the prepared statement of the first run
        // again; every other time includes the preparation, as korvan's
        // includes the analysis.
        sqlite3_stmt* statement = index == kRepeat ? firstStatement : nullptr;
        start = Now();
        if (statement == nullptr) {
            statement = sqlite.Prepare(s.sqlite);
        }
        StepThrough(statement);
        f[kSqlite] = Now() - start;

        std::vector<std::string> mine = KorvanAnswer(db, name, s.column);
        std::vector<std::string> theirs = SqliteAnswer(statement, s.column);
        f[kRows] = static_cast<double>(mine.size());
        if (s.compare == Compare::kMultiset) {
            std::sort(mine.begin(), mine.end());
            std::sort(theirs.begin(), theirs.end());
        }
        f[kSame] = mine == theirs;
        if (index == kRepeat) {
            f[kSame] = f[kSame] && name == firstName;
        }

        DbTableData& answer = *db.GetTableData(name);
        if (index != kRepeat && s.plain == Plain::kOrder) {
            const bool descending = CString(s.korvan).Find(L" desc") >= 0;
            f[kPlainSame] = PlainOrder(*parts->data, answer, PlainField(*parts->descr, s),
                                       descending, f[kPlain]);
        } else if (index != kRepeat && s.plain == Plain::kDistinct) {
            f[kPlainSame] =
                PlainDistinct(*parts->data, answer, PlainField(*parts->descr, s), f[kPlain]);
        }

        if (index == 0) {
            firstName = name;
            firstStatement = statement;
        } else if (index != kRepeat) {
            sqlite3_finalize(statement);
        }
        figures.insert(figures.end(), f.begin(), f.end());
    }
    sqlite3_finalize(firstStatement);
}

std::string Milliseconds(double seconds) {
    return seconds < 0 ? std::string("") : Format("%.3f ms", seconds * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
    const bench::Args args(argc, argv, {"runs"}, {}, kUsage);
    bench::WarnUnlessRelease();
    const int runs = args.Int("runs", 3);
    std::printf("statements (korvan, then SQLite) and how their answers are compared:\n\n");
    for (const Statement& s : Statements()) {
        std::printf("%s [%s]\n  %s\n  %s\n", s.what, s.agreement,
                    CString(s.korvan).ToUtf8().c_str(), s.sqlite);
    }
    std::printf("\n");
    for (const uint64_t size : args.Sizes({10000, 100000})) {
        const Dataset data = bench::Generate(size);
        const bench::Sample sample = bench::BestOfRuns(
            runs, [&](std::vector<double>& figures) { RunStatements(data, figures); });

        std::printf("%llu rows x %d fields (best of %d runs)\n\n",
                    static_cast<unsigned long long>(size), bench::kFields, runs);
        bench::TextTable table({"statement", "rows", "korvan", "SQLite", "korvan/SQLite", "answers",
                                "plain form", "plain/korvan"});
        const std::vector<double>& all = sample.figures;
        bool agree = true;
        for (size_t i = 0; i * kFiguresPerStatement < all.size(); ++i) {
            const double* f = &all[i * kFiguresPerStatement];
            const Statement& s = Statements()[i <= 1 ? 0 : i - 1];
            const std::string what = i == 1 ? "same filter again (reuse)" : s.what;
            std::string answers = f[kSame] != 0 ? "agree" : "DIFFER";
            std::string plain = Milliseconds(f[kPlain]);
            if (f[kPlain] >= 0) {
                plain += f[kPlainSame] != 0 ? " (same rows)" : " (DIFFERENT ROWS)";
            }
            agree = agree && f[kSame] != 0 && f[kPlainSame] != 0;
            table.Add({what, Format("%.0f", f[kRows]), Milliseconds(f[kKorvan]),
                       Milliseconds(f[kSqlite]), Ratio(f[kKorvan], f[kSqlite]), answers, plain,
                       f[kPlain] >= 0 ? Ratio(f[kPlain], f[kKorvan]) : ""});
        }
        table.Print();
        if (!agree) {
            std::printf("some answers differ: see the table above\n\n");
        }
    }
    return 0;
}
