// Loading time against the shape of a database file: each shape is read at a
// small size and at a size four times larger, as a whole document and
// streamed element by element, and the time ratio between the sizes is
// printed beside the size ratio. Loading that grows in line with the file
// shows a time ratio near the size ratio; one that grows with the square of
// the size shows about its square.
//   - many tables: N body tables of one field and one row each (the registry
//     is consulted for every table element);
//   - deep nesting: one row holding N elements nested in each other (the
//     reader keeps the path of open elements).
//
//     bench_load_scaling [--runs N] [--tables N] [--depth N]

#include <cstdio>
#include <fstream>
#include <string>

#include "bench/bench_support.h"

namespace {

using bench::Format;
using bench::Ratio;

constexpr const char* kUsage =
    "usage: bench_load_scaling [--runs N] [--tables N] [--depth N]\n"
    "  reads files of N and 4N body tables (default 10000) and files whose one row\n"
    "  holds N and 4N nested elements (default 400000), as a whole document and\n"
    "  streamed, and prints the best of --runs runs (default 3) with the ratio\n"
    "  between the sizes\n";

constexpr const char* kHeader =
    "<?xml version='1.0' encoding='UTF-8'?>\n<database><header><structure>"
    "<table name=\"Header\"><field name=\"title\" type=\"8\"/></table>"
    "<table name=\"Properties\"><field name=\"units\" type=\"8\"/></table></structure>"
    "<data><table name=\"Header\"><row title=\"scaling\"/></table>"
    "<table name=\"Properties\"><row units=\"metric\"/></table></data></header><body>";

std::string ManyTables(size_t tables) {
    std::string text = kHeader;
    text += "<structure>";
    for (size_t t = 0; t < tables; ++t) {
        text += Format("<table name=\"t%zu\"><field name=\"f\" type=\"3\"/></table>", t);
    }
    text += "</structure><data>";
    for (size_t t = 0; t < tables; ++t) {
        text += Format("<table name=\"t%zu\"><row f=\"%zu\"/></table>", t, t);
    }
    return text + "</data></body></database>\n";
}

std::string DeepNesting(size_t depth) {
    std::string text = kHeader;
    text +=
        "<structure><table name=\"deep\"><field name=\"f\" type=\"3\"/></table></structure>"
        "<data><table name=\"deep\"><row f=\"1\">";
    for (size_t d = 0; d < depth; ++d) {
        text += "<n>";
    }
    for (size_t d = 0; d < depth; ++d) {
        text += "</n>";
    }
    return text + "</row></table></data></body></database>\n";
}

void WriteFile(const std::string& file, const std::string& text) {
    std::ofstream out(file, std::ios::binary);
    if (!out.write(text.data(), static_cast<std::streamsize>(text.size()))) {
        bench::Die("cannot write " + file);
    }
}

// Reads every table of file; dies unless exactly tables tables loaded.
void Load(const std::string& file, bool sequential, int tables) {
    DbDatabase db{CString(file.c_str())};
    db.GetSource()->SetSequentialAccess(sequential);
    const int count = db.GetTablesCount();
    for (int t = 0; t < count; ++t) {
        db.GetTableData(static_cast<size_t>(t))->size();
    }
    if (count != tables) {
        bench::Die(Format("%s: %d tables loaded instead of %d", file.c_str(), count, tables));
    }
}

void Measure(bench::TextTable& table, const bench::ScratchDir& scratch, const char* shape,
             size_t small, std::string (*make)(size_t), int tables, bool perSize, int runs) {
    const size_t sizes[] = {small, 4 * small};
    double seconds[2][2] = {};
    for (int s = 0; s < 2; ++s) {
        const std::string file = scratch.File(Format("%s_%zu.xml", shape, sizes[s]));
        WriteFile(file, make(sizes[s]));
        const int expected = perSize ? static_cast<int>(sizes[s]) + tables : tables;
        for (int mode = 0; mode < 2; ++mode) {
            seconds[mode][s] = bench::BestOf(runs, [&] { Load(file, mode == 1, expected); });
        }
    }
    for (int mode = 0; mode < 2; ++mode) {
        table.Add({Format("%s, %s", shape, mode == 0 ? "whole document" : "streamed"),
                   Format("%zu", sizes[0]), Format("%.3f", seconds[mode][0]),
                   Format("%zu", sizes[1]), Format("%.3f", seconds[mode][1]),
                   Ratio(seconds[mode][1], seconds[mode][0])});
    }
}

}  // namespace

int main(int argc, char** argv) {
    const bench::Args args(argc, argv, {"runs", "tables", "depth"}, {}, kUsage);
    bench::WarnUnlessRelease();
    const int runs = args.Int("runs", 3);
    bench::ScratchDir scratch;
    bench::TextTable table({"shape, reading", "size", "seconds", "4 x size", "seconds", "ratio"});
    // The two header tables come with every file; the deep file has one more.
    Measure(table, scratch, "tables", static_cast<size_t>(args.Int("tables", 10000)), ManyTables, 2,
            true, runs);
    Measure(table, scratch, "depth", static_cast<size_t>(args.Int("depth", 400000)), DeepNesting, 3,
            false, runs);
    std::printf("best of %d runs; a ratio near 4 is linear, near 16 quadratic\n\n", runs);
    table.Print();
    return 0;
}
