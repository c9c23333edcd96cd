// Database files: catalogue files of increasing size (20 body tables of 12
// fields each, by default 1,000, 10,000 and 50,000 rows per table) are
// written by korvan into a scratch directory and then read and written in
// one run:
//   - pugixml parsing the file into a DOM and nothing else: the floor any
//     reader of this format built on pugixml stands on;
//   - the whole document through DbDatabase (constructed on the file, every
//     table's data touched);
//   - sequential reading of the first and of the last body table only
//     (SetSequentialAccess(true) before the first access, then GetTableData);
//   - saving the whole database to another file.
// Each workload runs in its own child process, so its peak memory is its own.
//
//     bench_files [--tables N] [--runs N] [--keep] [rows per table ...]

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
    "usage: bench_files [--tables N] [--runs N] [--keep] [rows per table ...]\n"
    "  writes catalogue files of N body tables (default 20) with the given rows per\n"
    "  table (default 1000 10000 50000) to a scratch directory under $TMPDIR or /tmp,\n"
    "  reads and writes them, and prints the best of --runs runs (default 3);\n"
    "  --keep leaves the files in the scratch directory\n";

CString TableName(int table) {
    return StringBuilder(L"body%02d", table);
}

// Builds the database in memory and saves it to file; reports the seconds of
// the save.
void Generate(const std::string& file, int tables, uint64_t rows, std::vector<double>& figures) {
    DbDatabase db;
    db.Create(CString(file.c_str()));
    for (int t = 0; t < tables; ++t) {
        bench::FillTable(db, TableName(t), bench::Generate(rows, static_cast<uint64_t>(t) + 1));
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

}  // namespace

int main(int argc, char** argv) {
    const bench::Args args(argc, argv, {"tables", "runs"}, {"keep"}, kUsage);
    bench::WarnUnlessRelease();
    const int tables = args.Int("tables", 20);
    const int runs = args.Int("runs", 3);
    bench::ScratchDir scratch;
    if (args.Flag("keep")) {
        scratch.Keep();
        std::printf("files are kept in %s\n\n", scratch.path().c_str());
    }

    for (const uint64_t rows : args.Sizes({1000, 10000, 50000})) {
        const auto count = static_cast<unsigned long long>(rows);
        const std::string file = scratch.File(Format("catalogue_%llu.xml", count));
        const std::string copy = scratch.File(Format("saved_%llu.xml", count));
        const bench::Sample generated = bench::RunInChild(
            [&](std::vector<double>& figures) { Generate(file, tables, rows, figures); });
        const double bytes = static_cast<double>(std::filesystem::file_size(file));
        // Every body table plus the two header tables of one row each.
        const uint64_t allRows = rows * static_cast<uint64_t>(tables) + 2;

        const bench::Sample floor = bench::BestOfRuns(
            runs, [&](std::vector<double>& figures) { ParseWithPugixml(file, figures); });
        const bench::Sample whole = bench::BestOfRuns(runs, [&](std::vector<double>& figures) {
            LoadWholeAndSave(file, copy, allRows, figures);
        });
        const bench::Sample first = bench::BestOfRuns(runs, [&](std::vector<double>& figures) {
            LoadOneSequentially(file, 0, rows, figures);
        });
        const bench::Sample last = bench::BestOfRuns(runs, [&](std::vector<double>& figures) {
            LoadOneSequentially(file, tables - 1, rows, figures);
        });

        std::printf("%d body tables x %llu rows x %d fields: file of %s (best of %d runs)\n\n",
                    tables, static_cast<unsigned long long>(rows), bench::kFields,
                    bench::Megabytes(bytes).c_str(), runs);
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
    return 0;
}
