// Database files: catalogue files of increasing size (20 body tables of 12
// fields each, by default 1,000, 10,000 and 50,000 rows per table), and one
// of the wide shape of section catalogues (13 tables of 8,000 rows of 43
// fields, nearly all doubles), are written by korvan into a scratch directory
// and then read and written in one run:
//   - pugixml parsing the file into a DOM and nothing else: the floor any
//     reader of this format built on pugixml stands on;
//   - the whole document through DbDatabase (constructed on the file, every
//     table's data touched);
//   - sequential reading of the first and of the last body table only
//     (SetSequentialAccess(true) before the first access, then GetTableData);
//   - saving the whole database to another file.
// Each workload runs in its own child process, so its peak memory is its own.
//
//     bench_files [--tables N] [--wide-tables N] [--wide-rows N] [--runs N] [--keep]
//                 [rows per table ...]

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_support.h"

namespace {

using bench::Format;
using bench::Now;
using bench::Ratio;

constexpr const char* kUsage =
    "usage: bench_files [--tables N] [--wide-tables N] [--wide-rows N] [--runs N] [--keep]\n"
    "                   [rows per table ...]\n"
    "  writes catalogue files of N body tables of 12 fields (default 20) with the given\n"
    "  rows per table (default 1000 10000 50000), and one of --wide-tables tables\n"
    "  (default 13) of 43 fields, mostly doubles, with --wide-rows rows each (default\n"
    "  8000), to a scratch directory under $TMPDIR or /tmp, reads and writes them, and\n"
    "  prints the best of --runs runs (default 3); --keep leaves the files there\n";

CString TableName(int table) {
    return StringBuilder(L"body%02d", table);
}

// The wide shape: a section catalogue's tables, a designation and a series
// text followed by numeric properties, nearly all doubles of a few digits.
constexpr int kWideTexts = 2;
constexpr int kWideFields = 43;

// A table of the wide shape filled through the public interface.
void FillWideTable(DbDatabase& db, const CString& name, uint64_t rows, uint64_t seed) {
    static const wchar_t* const series[] = {L"HEA", L"HEB", L"HEM", L"IPE", L"UPN", L"L"};
    DbTableInfo* table = db.CreateTable(name, DbTableInfo::TABLE);
    table->descr->CreateField(L"designation", true, DbFieldDescr::ftText);
    table->descr->CreateField(L"series", false, DbFieldDescr::ftText);
    // Short property names, as section tables have them (h, b, tw, Iy...).
    for (int f = kWideTexts; f < kWideFields; ++f) {
        const int i = f - kWideTexts;
        const wchar_t letter = static_cast<wchar_t>(L'a' + i % 26);
        table->descr->CreateField(i < 26 ? CString(letter) : StringBuilder(L"%c%d", letter, i / 26),
                                  false, DbFieldDescr::ftDouble);
    }
    DbTableData& data = *table->data;
    data.AddRows(rows);
    for (uint64_t r = 0; r < rows; ++r) {
        DbTableRow& row = *data.GetRow(static_cast<int>(r));
        const wchar_t* kind = series[bench::Mix(seed * 1000003 + r) % 6];
        row[0].SetValue(CComVariant(StringBuilder(L"%s %llu", kind, 100 + r)));
        row[1].SetValue(CComVariant(kind));
        for (int f = kWideTexts; f < kWideFields; ++f) {
            // Dimensions, areas and moduli: two to five digits, up to two of
            // them decimals.
            const uint64_t h = bench::Mix((seed * 0x100000000ull + r) * kWideFields + f);
            const double digits[] = {100.0, 1000.0, 10000.0, 100000.0};
            const double decimals[] = {1.0, 10.0, 100.0};
            const double value = std::fmod(static_cast<double>(h >> 8), digits[h % 4]);
            row[static_cast<uint64_t>(f)].SetValue(CComVariant(value / decimals[(h >> 4) % 3]));
        }
    }
}

// Builds the database in memory and saves it to file; reports the seconds of
// the save.
void Generate(const std::string& file, bool wide, int tables, uint64_t rows,
              std::vector<double>& figures) {
    DbDatabase db;
    db.Create(CString(file.c_str()));
    for (int t = 0; t < tables; ++t) {
        const auto seed = static_cast<uint64_t>(t) + 1;
        if (wide) {
            FillWideTable(db, TableName(t), rows, seed);
        } else {
            bench::FillTable(db, TableName(t), bench::Generate(rows, seed));
        }
    }
    const double start = Now();
    if (!db.Save(CString(file.c_str()))) {
        bench::Die("saving the generated database failed: " + db.GetErrorLog().ToUtf8());
    }
    figures.push_back(Now() - start);
}

void ParseWithPugixml(const std::string& file, std::vector<double>& figures) {
    pugi::xml_document doc;
    const double start = Now();
    const pugi::xml_parse_result result =
        doc.load_file(file.c_str(), pugi::parse_default, pugi::encoding_utf8);
    figures.push_back(Now() - start);
    if (!result) {
        bench::Die(std::string("pugixml: ") + result.description());
    }
}

// The whole document, every table touched; then a save of all of it to
// another file. Figures: load seconds, peak memory of the load, save seconds,
// the peak during the save above the memory the loaded database holds, and
// the size of the saved file.
void LoadWholeAndSave(const std::string& file, const std::string& copy, uint64_t expectedRows,
                      std::vector<double>& figures) {
    double start = Now();
    DbDatabase db(CString(file.c_str()));
    uint64_t rows = 0;
    for (int i = 0; i < db.GetTablesCount(); ++i) {
        rows += db.GetTableData(static_cast<size_t>(i))->size();
    }
    figures.push_back(Now() - start);
    figures.push_back(bench::PeakInChild());
    if (rows != expectedRows) {
        bench::Die(Format("whole load: %llu rows, expected %llu",
                          static_cast<unsigned long long>(rows),
                          static_cast<unsigned long long>(expectedRows)));
    }

    const uint64_t loaded = bench::ResidentBytes();
    bench::ResetPeak();
    start = Now();
    if (!db.Save(CString(copy.c_str()))) {
        bench::Die("save failed: " + db.GetErrorLog().ToUtf8());
    }
    figures.push_back(Now() - start);
    figures.push_back(static_cast<double>(bench::PeakBytes()) - static_cast<double>(loaded));
    figures.push_back(static_cast<double>(std::filesystem::file_size(copy)));
}

// Only one body table through the streaming reader.
void LoadOneSequentially(const std::string& file, int table, uint64_t expectedRows,
                         std::vector<double>& figures) {
    const double start = Now();
    DbDatabase db(CString(file.c_str()));
    db.GetSource()->SetSequentialAccess(true);
    DbTableData* data = db.GetTableData(TableName(table));
    const uint64_t rows = data != nullptr ? data->size() : 0;
    figures.push_back(Now() - start);
    if (rows != expectedRows) {
        bench::Die(Format("sequential load of table %d: %llu rows, expected %llu", table,
                          static_cast<unsigned long long>(rows),
                          static_cast<unsigned long long>(expectedRows)));
    }
}

std::string Seconds(double seconds) {
    return Format("%.3f s", seconds);
}

std::string Rate(double bytes, double seconds) {
    return Format("%.1f MB/s", bytes / (1024.0 * 1024.0) / seconds);
}

// Writes one catalogue file of the shape, reads and saves it, and prints the
// figures.
void RunShape(const bench::ScratchDir& scratch, bool wide, int tables, uint64_t rows, int runs) {
    const auto count = static_cast<unsigned long long>(rows);
    const char* tag = wide ? "wide" : "catalogue";
    const std::string file = scratch.File(Format("%s_%llu.xml", tag, count));
    const std::string copy = scratch.File(Format("saved_%s_%llu.xml", tag, count));
    const bench::Sample generated = bench::RunInChild(
        [&](std::vector<double>& figures) { Generate(file, wide, tables, rows, figures); });
    const double bytes = static_cast<double>(std::filesystem::file_size(file));
    // Every body table plus the two header tables of one row each.
    const uint64_t allRows = rows * static_cast<uint64_t>(tables) + 2;

    const bench::Sample floor = bench::BestOfRuns(
        runs, [&](std::vector<double>& figures) { ParseWithPugixml(file, figures); });
    const bench::Sample whole = bench::BestOfRuns(runs, [&](std::vector<double>& figures) {
        LoadWholeAndSave(file, copy, allRows, figures);
    });
    const bench::Sample first = bench::BestOfRuns(
        runs, [&](std::vector<double>& figures) { LoadOneSequentially(file, 0, rows, figures); });
    const bench::Sample last = bench::BestOfRuns(runs, [&](std::vector<double>& figures) {
        LoadOneSequentially(file, tables - 1, rows, figures);
    });

    std::printf("%d body tables x %llu rows x %d fields%s: file of %s (best of %d runs)\n\n",
                tables, count, wide ? kWideFields : bench::kFields,
                wide ? " (wide, mostly doubles)" : "", bench::Megabytes(bytes).c_str(), runs);
    const double pugixml = floor.figures[0];
    bench::TextTable table(
        {"reading", "time", "file MB/s", "time / pugixml", "peak memory", "peak / file"});
    const auto add = [&](const char* what, double seconds, double peak) {
        table.Add({what, Seconds(seconds), Rate(bytes, seconds), Ratio(seconds, pugixml),
                   bench::Megabytes(peak), Ratio(peak, bytes)});
    };
    add("pugixml DOM only (floor)", pugixml, floor.peak);
    add("whole document, every table", whole.figures[0], whole.figures[1]);
    add("sequential, first body table", first.figures[0], first.peak);
    add("sequential, last body table", last.figures[0], last.peak);
    table.Print();

    bench::TextTable save(
        {"saving", "time", "file MB/s", "time / pugixml", "peak above loaded", "peak / file"});
    const double saved = whole.figures[4];
    save.Add({"loaded database to another file", Seconds(whole.figures[2]),
              Rate(saved, whole.figures[2]), Ratio(whole.figures[2], pugixml),
              bench::Megabytes(whole.figures[3]), Ratio(whole.figures[3], saved)});
    save.Add({"generated database, first save", Seconds(generated.figures[0]),
              Rate(bytes, generated.figures[0]), Ratio(generated.figures[0], pugixml), "", ""});
    save.Print();
}

}  // namespace

int main(int argc, char** argv) {
    const bench::Args args(argc, argv, {"tables", "runs", "wide-tables", "wide-rows"}, {"keep"},
                           kUsage);
    bench::WarnUnlessRelease();
    const int tables = args.Int("tables", 20);
    const int wideTables = args.Int("wide-tables", 13);
    const int wideRows = args.Int("wide-rows", 8000);
    const int runs = args.Int("runs", 3);
    bench::ScratchDir scratch;
    if (args.Flag("keep")) {
        scratch.Keep();
        std::printf("files are kept in %s\n\n", scratch.path().c_str());
    }
    for (const uint64_t rows : args.Sizes({1000, 10000, 50000})) {
        RunShape(scratch, false, tables, rows, runs);
    }
    RunShape(scratch, true, wideTables, static_cast<uint64_t>(wideRows), runs);
    return 0;
}
