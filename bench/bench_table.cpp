// The table model and the registry: a generated table of 12 fields (texts,
// longs, doubles and booleans) built through the public interface of a
// database, every cell set, fields looked up by name, and binary searches
// over two indexes (a double and a text) whose row order is sorted first.
// References in the same run: the same rows inserted into an in-memory SQLite
// table with one prepared statement in one transaction (with indexes on the
// same two columns and one indexed lookup per key), and the rows held in a
// flat vector of variants. Each workload runs in its own child process, so
// the peak memory printed is that workload's own.
//
//     bench_table [--runs N] [rows ...]      (default: 25000 100000 rows, 3 runs)

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bench/bench_support.h"

namespace {

using bench::Dataset;
using bench::Format;
using bench::kFields;
using bench::Now;
using bench::Ratio;

constexpr const char* kUsage =
    "usage: bench_table [--runs N] [rows ...]\n"
    "  builds tables of 12 fields with the given row counts (default 25000 100000)\n"
    "  and prints the median of N runs (default 3) of every figure\n";

// Keys of the searches: the values of rows spread over the whole table, so
// that every search hits.
std::vector<CComVariant> SearchKeys(const Dataset& data, int field) {
    std::vector<CComVariant> keys;
    keys.reserve(data.rows);
    for (uint64_t i = 0; i < data.rows; ++i) {
        keys.push_back(data.At(i * 7919 % data.rows, field));
    }
    return keys;
}

// What the korvan child reports, in this order.
enum KorvanFigure {
    kBuild,
    kBuildPeak,
    kSetByName,
    kFieldIndex,
    kCellByName,
    kCalcSize,
    kSortWeight,
    kSearchWeight,
    kSortName,
    kSearchName,
    kDestroy,
    kKorvanFigures
};

// Sorts the index's row order as the query engine orders rows (CompareEx on
// the index's fields), then finds every key with SpatialIndex. Returns the
// sort and search seconds.
std::pair<double, double> SortAndSearch(DbTableData& data, DbTableDescr::DbIndex& index,
                                        const std::vector<CComVariant>& keys) {
    DbRows& rows = *data.GetRows();
    double start = Now();
    std::vector<uint64_t>& order = index.m_rowOrder;
    order.resize(rows.GetRowsCount());
    for (uint64_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::stable_sort(order.begin(), order.end(), [&](uint64_t a, uint64_t b) {
        return rows.GetRow(static_cast<int>(a))
                   ->CompareEx(index.m_fieldPositions, *rows.GetRow(static_cast<int>(b))) ==
               DbTableRow::cmpLess;
    });
    const double sort = Now() - start;

    int misses = 0;
    start = Now();
    for (const CComVariant& key : keys) {
        uint64_t pos = 0;
        misses += data.SpatialIndex(&index, &key, 1, pos) != DbTableRow::cmpEqual;
    }
    const double search = Now() - start;
    if (misses != 0) {
        bench::Die("SpatialIndex missed keys that are in the table");
    }
    return {sort, search};
}

void RunKorvan(const Dataset& data, const std::string& file, std::vector<double>& figures) {
    figures.assign(kKorvanFigures, 0);
    const std::vector<CComVariant> weights = SearchKeys(data, 2);
    const std::vector<CComVariant> names = SearchKeys(data, 0);
    std::vector<CString> fieldNames;
    for (const bench::Column& column : bench::Columns()) {
        fieldNames.emplace_back(column.name);
    }

    // A database created for a file saves itself on destruction when changed:
    // the file lies in the scratch directory, and the data is marked saved
    // before the database goes.
    auto db = std::make_unique<DbDatabase>();
    db->Create(CString(file.c_str()));

    double start = Now();
    DbTableInfo* table = bench::FillTable(*db, L"parts", data);
    figures[kBuild] = Now() - start;
    figures[kBuildPeak] = bench::PeakInChild();

    DbTableData& rows = *table->data;
    DbTableDescr& descr = *table->descr;
    start = Now();
    for (uint64_t r = 0; r < data.rows; ++r) {
        DbTableRow& row = *rows.GetRow(static_cast<int>(r));
        for (int f = 0; f < kFields; ++f) {
            row.SetValue(fieldNames[static_cast<size_t>(f)], data.At(r, f));
        }
    }
    figures[kSetByName] = Now() - start;

    int64_t checksum = 0;
    start = Now();
    for (uint64_t r = 0; r < data.rows; ++r) {
        for (const CString& name : fieldNames) {
            checksum += descr.GetFieldIndex(name);
        }
    }
    figures[kFieldIndex] = Now() - start;

    start = Now();
    for (uint64_t r = 0; r < data.rows; ++r) {
        DbTableRow& row = *rows.GetRow(static_cast<int>(r));
        for (const CString& name : fieldNames) {
            checksum += row[name].GetType();
        }
    }
    figures[kCellByName] = Now() - start;
    int64_t expected = 0;
    for (size_t f = 0; f < bench::Columns().size(); ++f) {
        expected += static_cast<int64_t>(f) +
                    DbFieldDescr::FieldTypeToVariantType(bench::Columns()[f].type);
    }
    if (checksum != expected * static_cast<int64_t>(data.rows)) {
        bench::Die("name lookups found other fields or types than were set");
    }

    figures[kCalcSize] = static_cast<double>(db->CalcSize());

    descr.CreateIndex(L"by_weight", CString(L"weight"));
    descr.CreateIndex(L"by_name", CString(L"name"));
    std::tie(figures[kSortWeight], figures[kSearchWeight]) =
        SortAndSearch(rows, *descr.FindIndex(L"by_weight"), weights);
    std::tie(figures[kSortName], figures[kSearchName]) =
        SortAndSearch(rows, *descr.FindIndex(L"by_name"), names);

    db->Sync();
    start = Now();
    db.reset();
    figures[kDestroy] = Now() - start;
}

enum SqliteFigure {
    kInsert,
    kInsertPeak,
    kIndexWeight,
    kLookupWeight,
    kIndexName,
    kLookupName,
    kClose,
    kSqliteFigures
};

// One lookup per key through the prepared statement; returns the seconds.
double Lookups(sqlite3_stmt* statement, const Dataset& data, int field) {
    int misses = 0;
    const double start = Now();
    for (uint64_t i = 0; i < data.rows; ++i) {
        const uint64_t r = i * 7919 % data.rows;
        if (field == 2) {
            sqlite3_bind_double(statement, 1, data.At(r, field).dblVal);
        } else {
            const std::string& text = data.Text(r, field);
            sqlite3_bind_text(statement, 1, text.data(), static_cast<int>(text.size()),
                              SQLITE_STATIC);
        }
        misses += sqlite3_step(statement) != SQLITE_ROW;
        sqlite3_reset(statement);
    }
    const double seconds = Now() - start;
    if (misses != 0) {
        bench::Die("SQLite missed keys that are in the table");
    }
    return seconds;
}

void RunSqlite(const Dataset& data, std::vector<double>& figures) {
    figures.assign(kSqliteFigures, 0);
    auto db = std::make_unique<bench::Sqlite>();
    double start = Now();
    bench::FillSqliteTable(*db, "parts", data);
    figures[kInsert] = Now() - start;
    figures[kInsertPeak] = bench::PeakInChild();

    // Text keys are equal without regard to case in korvan: the index and the
    // lookup of the names say the same with NOCASE.
    start = Now();
    db->Exec("CREATE INDEX by_weight ON parts (weight)");
    figures[kIndexWeight] = Now() - start;
    sqlite3_stmt* byWeight = db->Prepare("SELECT rowid FROM parts WHERE weight = ?");
    figures[kLookupWeight] = Lookups(byWeight, data, 2);
    sqlite3_finalize(byWeight);

    start = Now();
    db->Exec("CREATE INDEX by_name ON parts (name COLLATE NOCASE)");
    figures[kIndexName] = Now() - start;
    sqlite3_stmt* byName = db->Prepare("SELECT rowid FROM parts WHERE name = ? COLLATE NOCASE");
    figures[kLookupName] = Lookups(byName, data, 0);
    sqlite3_finalize(byName);

    start = Now();
    db.reset();
    figures[kClose] = Now() - start;
}

// The plain form: a vector of rows of variants, set cell by cell.
void RunVector(const Dataset& data, std::vector<double>& figures) {
    double start = Now();
    auto rows = std::make_unique<std::vector<std::vector<CComVariant>>>(
        data.rows, std::vector<CComVariant>(kFields));
    for (uint64_t r = 0; r < data.rows; ++r) {
        std::vector<CComVariant>& row = (*rows)[r];
        for (int f = 0; f < kFields; ++f) {
            row[static_cast<size_t>(f)] = data.At(r, f);
        }
    }
    figures.push_back(Now() - start);
    start = Now();
    rows.reset();
    figures.push_back(Now() - start);
}

std::string Nanoseconds(double seconds, double count) {
    return Format("%.1f ns", seconds / count * 1e9);
}

std::string Milliseconds(double seconds) {
    return Format("%.2f ms", seconds * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
    const bench::Args args(argc, argv, {"runs"}, {}, kUsage);
    bench::WarnUnlessRelease();
    const int runs = args.Int("runs", 3);
    bench::ScratchDir scratch;
    for (const uint64_t size : args.Sizes({25000, 100000})) {
        const Dataset data = bench::Generate(size);
        const double cells = static_cast<double>(data.Cells());
        const std::string file = scratch.File("table.xml");
        const bench::Sample korvan = bench::BestOfRuns(
            runs, [&](std::vector<double>& figures) { RunKorvan(data, file, figures); });
        const bench::Sample sqlite = bench::BestOfRuns(
            runs, [&](std::vector<double>& figures) { RunSqlite(data, figures); });
        const bench::Sample flat = bench::BestOfRuns(
            runs, [&](std::vector<double>& figures) { RunVector(data, figures); });
        const std::vector<double>& k = korvan.figures;
        const std::vector<double>& s = sqlite.figures;
        const std::vector<double>& v = flat.figures;

        std::printf("%llu rows x %d fields = %.0f cells (best of %d runs)\n\n",
                    static_cast<unsigned long long>(size), kFields, cells, runs);
        bench::TextTable build(
            {"build and fill", "korvan", "SQLite", "korvan/SQLite", "vector", "korvan/vector"});
        build.Add({"rows per second", Format("%.0f", size / k[kBuild]),
                   Format("%.0f", size / s[kInsert]), Ratio(s[kInsert], k[kBuild]),
                   Format("%.0f", size / v[0]), Ratio(v[0], k[kBuild])});
        build.Add({"time per cell", Nanoseconds(k[kBuild], cells), Nanoseconds(s[kInsert], cells),
                   Ratio(k[kBuild], s[kInsert]), Nanoseconds(v[0], cells), Ratio(k[kBuild], v[0])});
        build.Add({"peak memory per cell, built", Format("%.1f B", k[kBuildPeak] / cells),
                   Format("%.1f B", s[kInsertPeak] / cells), Ratio(k[kBuildPeak], s[kInsertPeak]),
                   Format("%.1f B", flat.peak / cells), Ratio(k[kBuildPeak], flat.peak)});
        build.Add({"peak memory per cell, whole run", Format("%.1f B", korvan.peak / cells),
                   Format("%.1f B", sqlite.peak / cells), Ratio(korvan.peak, sqlite.peak), "", ""});
        build.Add({"destroy", Milliseconds(k[kDestroy]), Milliseconds(s[kClose]),
                   Ratio(k[kDestroy], s[kClose]), Milliseconds(v[1]), Ratio(k[kDestroy], v[1])});
        build.Print();

        bench::TextTable names({"korvan cells by name", "per cell"});
        names.Add({"DbTableRow::SetValue(name, variant)", Nanoseconds(k[kSetByName], cells)});
        names.Add({"DbTableDescr::GetFieldIndex(name)", Nanoseconds(k[kFieldIndex], cells)});
        names.Add({"DbTableRow::operator[](name)", Nanoseconds(k[kCellByName], cells)});
        names.Add({"CalcSize() estimate", Format("%.1f B", k[kCalcSize] / cells)});
        names.Print();

        const double n = static_cast<double>(size);
        bench::TextTable search({"index search (" + std::to_string(size) + " keys)", "korvan",
                                 "SQLite", "korvan/SQLite"});
        search.Add({"weight (double): sort / CREATE INDEX", Milliseconds(k[kSortWeight]),
                    Milliseconds(s[kIndexWeight]), Ratio(k[kSortWeight], s[kIndexWeight])});
        search.Add({"weight: search per key", Nanoseconds(k[kSearchWeight], n),
                    Nanoseconds(s[kLookupWeight], n), Ratio(k[kSearchWeight], s[kLookupWeight])});
        search.Add({"name (text): sort / CREATE INDEX", Milliseconds(k[kSortName]),
                    Milliseconds(s[kIndexName]), Ratio(k[kSortName], s[kIndexName])});
        search.Add({"name: search per key", Nanoseconds(k[kSearchName], n),
                    Nanoseconds(s[kLookupName], n), Ratio(k[kSearchName], s[kLookupName])});
        search.Print();
    }
    return 0;
}
