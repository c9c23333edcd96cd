// Recordsets: walking, current indexes, seeks and finds of a DbRecordset on a
// generated table of 12 fields, against the same rows in an in-memory SQLite
// database, in the same child process:
//   - walk: MoveNext over every row reading every field with GetFieldValue
//     (by position, and by name), against stepping SELECT * and reading every
//     column;
//   - index: SetCurrentIndex building the row order of an index on a text
//     (name) and on a double (weight), against CREATE INDEX on the same
//     column (the text COLLATE NOCASE, as korvan's text keys match without
//     regard to case); the row order must equal the plain form (every row
//     inserted into a flat vector at the position SpatialIndex gives), whose
//     time is shown too;
//   - seek: keys taken from the table's rows, sought with Seek "=" (text and
//     double) and ">=" (double), against a prepared lookup on the indexed
//     column; both must find every key, and ">=" the same value. A ">=" seek
//     searches a condition through the index's order from its first row, so
//     fewer of those run by default;
//   - find: FindFirst, then FindNext until nothing more is found, for a
//     condition with AND and OR matching few rows and for one matching many,
//     against the same WHERE stepped through; both must find the same rows.
//
//     bench_recordset [--runs N] [--seeks N] [--scan-seeks N] [rows ...]
//                 (default: 100000 rows, 10000 "=" and 100 ">=" seeks, 3 runs)

#include <korvan/recordset.h>

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
    "usage: bench_recordset [--runs N] [--seeks N] [--scan-seeks N] [rows ...]\n"
    "  runs recordsets over generated tables with the given row counts (default 100000),\n"
    "  seeks N keys with \"=\" (default 10000) and N with \">=\" (default 100), and\n"
    "  prints the best of N runs (default 3)\n";

// A condition as a recordset takes it, and SQLite's WHERE of the same
// meaning: AND, OR and NOT have equal standing in korvan and group from the
// right, so "a and b or c and d" is a AND (b OR (c AND d)).
struct Condition {
    const wchar_t* korvan;
    const char* sqlite;
};

const Condition kFewRows = {
    L"size < 20 and weight >= 250.5 or grade = 'S355' and active = true",
    "size < 20 AND (weight >= 250.5 OR (grade = 'S355' COLLATE NOCASE AND active = 1))"};
const Condition kManyRows = {
    L"size < 600 and weight >= 250.5 or grade = 'S355' and active = true",
    "size < 600 AND (weight >= 250.5 OR (grade = 'S355' COLLATE NOCASE AND active = 1))"};

// The figures of one measure: korvan's seconds, SQLite's, whether both gave
// the same answer, and a count or the plain form's seconds.
struct Figures {
    double korvan = 0;
    double sqlite = 0;
    double same = 0;
    double extra = -1;
};

enum Measure {
    kWalk,
    kWalkByName,
    kIndexText,
    kIndexDouble,
    kSeekText,
    kSeekDouble,
    kSeekAtLeast,
    kFindFew,
    kFindMany,
    kMeasures
};

// A number from every value, the same way for both engines: texts count one.
double Weigh(const VARIANT& v) {
    switch (v.vt) {
        case VT_BSTR:
            return 1;
        case VT_R8:
            return v.dblVal;
        case VT_BOOL:
            return v.boolVal != 0 ? 1 : 0;
        default:
            return v.lVal;
    }
}

double WeighColumn(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_TEXT:
            return sqlite3_column_text(statement, column) != nullptr ? 1 : 0;
        case SQLITE_FLOAT:
            return sqlite3_column_double(statement, column);
        default:
            return static_cast<double>(sqlite3_column_int64(statement, column));
    }
}

void Walk(DbRecordset& rs, const bench::Sqlite& sqlite, Figures& byPosition, Figures& byName) {
    double mine = 0;
    CComVariant value;
    double start = Now();
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        for (uint64_t i = 0; i < bench::kFields; ++i) {
            rs.GetFieldValue(i, value);
            mine += Weigh(value);
        }
    }
    byPosition.korvan = Now() - start;

    std::vector<CString> names;
    for (const bench::Column& column : bench::Columns()) {
        names.push_back(column.name);
    }
    double named = 0;
    start = Now();
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        for (const CString& name : names) {
            rs.GetFieldValue(name, value);
            named += Weigh(value);
        }
    }
    byName.korvan = Now() - start;

    double theirs = 0;
    start = Now();
    sqlite3_stmt* all = sqlite.Prepare("SELECT * FROM parts");
    while (sqlite3_step(all) == SQLITE_ROW) {
        for (int i = 0; i < bench::kFields; ++i) {
            theirs += WeighColumn(all, i);
        }
    }
    sqlite3_finalize(all);
    byPosition.sqlite = byName.sqlite = Now() - start;
    byPosition.same = mine == theirs;
    byName.same = named == theirs;
}

// The plain form of an index's row order: every row inserted into a flat
// vector at the position SpatialIndex finds.
std::vector<uint64_t> PlainOrder(DbTableData& data, uint64_t field, double& seconds) {
    const double start = Now();
    std::vector<uint64_t> sorted;
    for (uint64_t r = 0; r < data.size(); ++r) {
        const uint64_t pos = data.SpatialIndex(sorted, {field}, *data.GetRow(static_cast<int>(r)));
        sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(pos), r);
    }
    seconds = Now() - start;
    return sorted;
}

void Index(DbRecordset& rs, const bench::Sqlite& sqlite, const wchar_t* index, const char* create,
           Figures& f) {
    DbTableDescr::DbIndex* built = rs.GetTableDescr()->FindIndex(index);
    double start = Now();
    if (!rs.SetCurrentIndex(index)) {
        bench::Die("SetCurrentIndex failed");
    }
    f.korvan = Now() - start;
    start = Now();
    sqlite.Exec(create);
    f.sqlite = Now() - start;
    f.same =
        built->m_rowOrder == PlainOrder(*rs.GetTableData(), built->m_fieldPositions[0], f.extra);
}

// Every key must be found; returns how many were.
template <typename Bind>
void Seek(DbRecordset& rs, const bench::Sqlite& sqlite, const wchar_t* index, const CString& op,
          const std::vector<CComVariant>& keys, const char* lookup, Bind bind, Figures& f) {
    rs.SetCurrentIndex(index);
    const int field =
        rs.GetTableDescr()->GetFieldIndex(rs.GetTableDescr()->FindIndex(index)->m_fieldNames[0]);
    std::vector<double> mine;
    CComVariant value;
    double start = Now();
    for (const CComVariant& key : keys) {
        CComVariant sought(key);
        if (rs.Seek(op, &sought)) {
            rs.GetFieldValue(static_cast<uint64_t>(field), value);
            mine.push_back(Weigh(value));
        }
    }
    f.korvan = Now() - start;

    std::vector<double> theirs;
    start = Now();
    sqlite3_stmt* statement = sqlite.Prepare(lookup);
    for (const CComVariant& key : keys) {
        bind(statement, key);
        if (sqlite3_step(statement) == SQLITE_ROW) {
            theirs.push_back(WeighColumn(statement, 0));
        }
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    f.sqlite = Now() - start;
    f.same = mine.size() == keys.size() && mine == theirs;
    f.extra = static_cast<double>(keys.size());
}

void Find(DbRecordset& rs, const bench::Sqlite& sqlite, const Condition& condition, Figures& f) {
    rs.SetCurrentIndex(static_cast<const DbTableDescr::DbIndex*>(nullptr));
    std::vector<double> mine;
    CComVariant id;
    double start = Now();
    for (bool found = rs.FindFirst(condition.korvan); found;
         found = rs.FindNext(condition.korvan)) {
        rs.GetFieldValue(L"id", id);
        mine.push_back(id.lVal);
    }
    f.korvan = Now() - start;

    std::vector<double> theirs;
    start = Now();
    sqlite3_stmt* statement =
        sqlite.Prepare(std::string("SELECT id FROM parts WHERE ") + condition.sqlite);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        theirs.push_back(static_cast<double>(sqlite3_column_int64(statement, 0)));
    }
    sqlite3_finalize(statement);
    f.sqlite = Now() - start;
    f.same = mine == theirs;
    f.extra = static_cast<double>(mine.size());
}

void RunRecordset(const Dataset& data, int seeks, int scanSeeks, std::vector<double>& out) {
    // No file: nothing is ever written.
    DbDatabase db;
    db.Create(L"");
    DbTableInfo* parts = bench::FillTable(db, L"parts", data);
    parts->descr->CreateIndex(L"byname", L"name");
    parts->descr->CreateIndex(L"byweight", L"weight");
    bench::Sqlite sqlite;
    bench::FillSqliteTable(sqlite, "parts", data);
    DbRecordset rs(&db);
    if (!rs.Open(L"parts")) {
        bench::Die("Open failed: " + db.GetErrorLog().ToUtf8());
    }
    // Warm-up: the collator and the analysis.
    rs.FindFirst(L"name = 'x' and size < 3");

    std::vector<Figures> f(kMeasures);
    Walk(rs, sqlite, f[kWalk], f[kWalkByName]);
    Index(rs, sqlite, L"byname", "CREATE INDEX byname ON parts (name COLLATE NOCASE)",
          f[kIndexText]);
    Index(rs, sqlite, L"byweight", "CREATE INDEX byweight ON parts (weight)", f[kIndexDouble]);

    // Keys of rows picked by a hash, the same in every run.
    std::vector<CComVariant> names;
    std::vector<CComVariant> weights;
    std::vector<CComVariant> lowerBounds;
    for (int i = 0; i < std::max(seeks, scanSeeks); ++i) {
        const uint64_t row = bench::Mix(static_cast<uint64_t>(i)) % data.rows;
        if (i < seeks) {
            names.push_back(data.At(row, 0));
            weights.push_back(data.At(row, 2));
        }
        if (i < scanSeeks) {
            lowerBounds.push_back(data.At(row, 2));
        }
    }
    Seek(
        rs, sqlite, L"byname", L"=", names, "SELECT 1 FROM parts WHERE name = ? COLLATE NOCASE",
        [](sqlite3_stmt* s, const CComVariant& key) {
            const std::string text = korvan::EncodeUtf8(key.bstrVal);
            sqlite3_bind_text(s, 1, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        },
        f[kSeekText]);
    const auto bindWeight = [](sqlite3_stmt* s, const CComVariant& key) {
        sqlite3_bind_double(s, 1, key.dblVal);
    };
    Seek(rs, sqlite, L"byweight", L"=", weights, "SELECT weight FROM parts WHERE weight = ?",
         bindWeight, f[kSeekDouble]);
    Seek(rs, sqlite, L"byweight", L">=", lowerBounds,
         "SELECT weight FROM parts WHERE weight >= ? ORDER BY weight LIMIT 1", bindWeight,
         f[kSeekAtLeast]);
    Find(rs, sqlite, kFewRows, f[kFindFew]);
    Find(rs, sqlite, kManyRows, f[kFindMany]);
    for (const Figures& figures : f) {
        out.insert(out.end(), {figures.korvan, figures.sqlite, figures.same, figures.extra});
    }
}

std::string Milliseconds(double seconds) {
    return Format("%.3f ms", seconds * 1e3);
}

std::string PerOperation(double seconds, double count) {
    return Format("%.1f us", seconds * 1e6 / count);
}

}  // namespace

int main(int argc, char** argv) {
    const bench::Args args(argc, argv, {"runs", "seeks", "scan-seeks"}, {}, kUsage);
    bench::WarnUnlessRelease();
    const int runs = args.Int("runs", 3);
    const int seeks = args.Int("seeks", 10000);
    const int scanSeeks = args.Int("scan-seeks", 100);
    std::printf("conditions (korvan, then SQLite):\n  %s\n  %s\n  %s\n  %s\n\n",
                CString(kFewRows.korvan).ToUtf8().c_str(), kFewRows.sqlite,
                CString(kManyRows.korvan).ToUtf8().c_str(), kManyRows.sqlite);
    for (const uint64_t size : args.Sizes({100000})) {
        const Dataset data = bench::Generate(size);
        const bench::Sample sample = bench::BestOfRuns(runs, [&](std::vector<double>& figures) {
            RunRecordset(data, seeks, scanSeeks, figures);
        });
        std::vector<Figures> f(kMeasures);
        for (size_t m = 0; m < f.size(); ++m) {
            const double* at = &sample.figures[m * 4];
            f[m] = {at[0], at[1], at[2], at[3]};
        }
        const auto answers = [](const Figures& x) {
            return std::string(x.same != 0 ? "agree" : "DIFFER");
        };

        std::printf("%llu rows x %d fields (best of %d runs)\n\n",
                    static_cast<unsigned long long>(size), bench::kFields, runs);
        bench::TextTable walk({"walk every row, every field", "korvan", "SQLite", "korvan/SQLite",
                               "per row", "answers"});
        for (const auto& [what, m] : {std::pair{"GetFieldValue by position", kWalk},
                                      {"GetFieldValue by name", kWalkByName}}) {
            walk.Add({what, Milliseconds(f[m].korvan), Milliseconds(f[m].sqlite),
                      Ratio(f[m].korvan, f[m].sqlite),
                      Format("%.0f ns", f[m].korvan * 1e9 / static_cast<double>(size)),
                      answers(f[m])});
        }
        walk.Print();

        bench::TextTable index({"SetCurrentIndex / CREATE INDEX", "korvan", "SQLite",
                                "korvan/SQLite", "plain form", "plain/korvan"});
        for (const auto& [what, m] :
             {std::pair{"name (text)", kIndexText}, {"weight (double)", kIndexDouble}}) {
            index.Add({what, Milliseconds(f[m].korvan), Milliseconds(f[m].sqlite),
                       Ratio(f[m].korvan, f[m].sqlite),
                       Milliseconds(f[m].extra) +
                           (f[m].same != 0 ? " (same order)" : " (DIFFERENT ORDER)"),
                       Ratio(f[m].extra, f[m].korvan)});
        }
        index.Print();

        bench::TextTable seek({"seeks", "keys", "korvan", "SQLite", "korvan/SQLite",
                               "korvan per seek", "SQLite per seek", "answers"});
        for (const auto& [what, m] : {std::pair{"Seek \"=\" name (text)", kSeekText},
                                      {"Seek \"=\" weight (double)", kSeekDouble},
                                      {"Seek \">=\" weight (double)", kSeekAtLeast}}) {
            seek.Add({what, Format("%.0f", f[m].extra), Milliseconds(f[m].korvan),
                      Milliseconds(f[m].sqlite), Ratio(f[m].korvan, f[m].sqlite),
                      PerOperation(f[m].korvan, f[m].extra), PerOperation(f[m].sqlite, f[m].extra),
                      answers(f[m])});
        }
        seek.Print();

        bench::TextTable find({"FindFirst/FindNext", "rows found", "korvan", "SQLite",
                               "korvan/SQLite", "korvan per row found", "answers"});
        for (const auto& [what, m] : {std::pair{"few rows", kFindFew}, {"many rows", kFindMany}}) {
            find.Add({what, Format("%.0f", f[m].extra), Milliseconds(f[m].korvan),
                      Milliseconds(f[m].sqlite), Ratio(f[m].korvan, f[m].sqlite),
                      PerOperation(f[m].korvan, f[m].extra), answers(f[m])});
        }
        find.Print();
    }
    return 0;
}
