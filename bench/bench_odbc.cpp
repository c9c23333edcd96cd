// bench_odbc: the ODBC paths against their references in the same run.
//
//   read:  the largest Access fixture read whole through DbSerializer::Load
//          and as a DbDatabase, against mdb-export of every table of it
//   write: N rows written through DBACCESS::SetTableData to SQLite over ODBC,
//          against SQLite's C interface inserting the same rows with one
//          prepared statement in one transaction
//
// usage: bench_odbc [--runs N] [--rows N] [MDB_FILE]
#include <korvan/korvan.h>

#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

// The CPU time this process has used, in seconds (its children not
// included).
double CpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The best of runs timings of f, in seconds: elapsed time, and the CPU time
// the process spent (on a machine shared with other work the steadier of
// the two, where all the work is done in this process).
struct Timing {
    double elapsed = 1e100;
    double cpu = 1e100;
};

Timing Best(int runs, const std::function<void()>& f) {
    Timing best;
    for (int i = 0; i < runs; ++i) {
        const double start = korvan::MonotonicSeconds();
        const double startCpu = CpuSeconds();
        f();
        best.cpu = std::min(best.cpu, CpuSeconds() - startCpu);
        best.elapsed = std::min(best.elapsed, korvan::MonotonicSeconds() - start);
    }
    return best;
}

void Fail(const std::string& what) {
    std::fprintf(stderr, "bench_odbc: %s\n", what.c_str());
    std::exit(1);
}

template <class F>
void Guarded(F f) {
    try {
        f();
    } catch (CException* e) {
        wchar_t text[2048] = L"";
        e->GetErrorMessage(text, 2048);
        e->Delete();
        Fail(CString(text).ToUtf8());
    }
}

uint64_t CountRows(const DBACCESS_ALL& all) {
    uint64_t rows = 0;
    for (const auto& table : all) {
        rows += table.second.size();
    }
    return rows;
}

void BenchRead(int runs, const std::string& file) {
    const CString path(file.c_str());
    DBACCESS_ALL all;
    Guarded([&] { DbSerializer::Load(path, all); });
    const uint64_t rows = CountRows(all);
    std::vector<std::string> tables;
    for (const auto& table : all) {
        tables.push_back(table.first.ToUtf8());
    }

    const double load = Best(runs, [&] {
                            DBACCESS_ALL copy;
                            Guarded([&] { DbSerializer::Load(path, copy); });
                        }).elapsed;
    DbSource::ForceXML = false;
    const double database = Best(runs, [&] {
                                Guarded([&] {
                                    DbDatabase db(path);
                                    db.GetTablesCount();
                                });
                            }).elapsed;
    const double exported = Best(runs, [&] {
                                for (const std::string& table : tables) {
                                    const std::string command =
                                        "mdb-export '" + file + "' '" + table + "' >/dev/null";
                                    if (std::system(command.c_str()) != 0) {
                                        Fail("mdb-export failed: " + command);
                                    }
                                }
                            }).elapsed;
    std::printf("read %s: %zu tables, %llu rows (best of %d)\n", file.c_str(), tables.size(),
                static_cast<unsigned long long>(rows), runs);
    std::printf("  %-28s %9.4f s %12.0f rows/s\n", "mdb-export, every table", exported,
                rows / exported);
    std::printf("  %-28s %9.4f s %12.0f rows/s  %5.2fx the time of mdb-export\n",
                "DbSerializer::Load", load, rows / load, load / exported);
    std::printf("  %-28s %9.4f s %12.0f rows/s  %5.2fx the time of mdb-export\n",
                "DbDatabase (ForceXML false)", database, rows / database, database / exported);
}

struct Row {
    long id;
    std::wstring name;
    double weight;
    bool flag;
    long count;
    std::wstring note;
};

std::vector<Row> MakeRows(int count) {
    std::vector<Row> rows;
    rows.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const unsigned h = static_cast<unsigned>(i) * 2654435761u;
        rows.push_back({i, L"part " + std::to_wstring(h % 100000), (h % 10000) / 7.0, h % 2 == 0,
                        static_cast<long>(h % 1000), L"Güte " + std::to_wstring(h % 97)});
    }
    return rows;
}

void BenchWrite(int runs, int count, const std::string& dir) {
    const std::vector<Row> rows = MakeRows(count);
    DBACCESS_VECTOR records;
    for (const Row& row : rows) {
        DBACCESS_RECORD record;
        record[L"id"] = row.id;
        record[L"name"] = CString(row.name);
        record[L"weight"] = row.weight;
        record[L"flag"] = row.flag;
        record[L"count"] = row.count;
        record[L"note"] = CString(row.note);
        records.push_back(record);
    }
    int run = 0;
    const Timing odbc = Best(runs, [&] {
        const std::string file = dir + "/odbc" + std::to_string(run++) + ".sqlite";
        Guarded([&] {
            DBACCESS target(CString(file.c_str()), DBACCESS::noOdbcDialog,
                            L"Driver={SQLite3};Database=%s;StepAPI=1");
            target.SetTableData(L"parts", records);
        });
    });
    const Timing native = Best(runs, [&] {
        const std::string file = dir + "/native" + std::to_string(run++) + ".sqlite";
        sqlite3* db = nullptr;
        sqlite3_open(file.c_str(), &db);
        sqlite3_exec(db,
                     "PRAGMA synchronous = NORMAL; BEGIN; CREATE TABLE parts (id integer, name "
                     "text, weight double, flag bit, "
                     "count integer, note text)",
                     nullptr, nullptr, nullptr);
        sqlite3_stmt* insert = nullptr;
        sqlite3_prepare_v2(db, "INSERT INTO parts VALUES (?, ?, ?, ?, ?, ?)", -1, &insert, nullptr);
        for (const Row& row : rows) {
            const std::string name = korvan::EncodeUtf8(row.name);
            const std::string note = korvan::EncodeUtf8(row.note);
            sqlite3_bind_int(insert, 1, static_cast<int>(row.id));
            sqlite3_bind_text(insert, 2, name.c_str(), static_cast<int>(name.size()),
                              SQLITE_TRANSIENT);
            sqlite3_bind_double(insert, 3, row.weight);
            sqlite3_bind_int(insert, 4, row.flag ? 1 : 0);
            sqlite3_bind_int(insert, 5, static_cast<int>(row.count));
            sqlite3_bind_text(insert, 6, note.c_str(), static_cast<int>(note.size()),
                              SQLITE_TRANSIENT);
            sqlite3_step(insert);
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    });
    std::printf("write %d rows of 6 columns to SQLite (best of %d); ratios to the C interface\n",
                count, runs);
    std::printf("  %-26s %10s %12s %7s %10s %7s\n", "", "elapsed", "rows/s", "ratio", "CPU",
                "ratio");
    std::printf("  %-26s %8.4f s %12.0f %7s %8.4f s\n", "SQLite C interface", native.elapsed,
                count / native.elapsed, "", native.cpu);
    std::printf("  %-26s %8.4f s %12.0f %6.2fx %8.4f s %6.2fx\n", "SetTableData over ODBC",
                odbc.elapsed, count / odbc.elapsed, odbc.elapsed / native.elapsed, odbc.cpu,
                odbc.cpu / native.cpu);
}

}  // namespace

int main(int argc, char** argv) {
    int runs = 5;
    int rows = 100000;
    std::string file = KORVAN_MDB_FIXTURE;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            runs = std::max(1, std::atoi(argv[++i]));
        } else if (std::strcmp(argv[i], "--rows") == 0 && i + 1 < argc) {
            rows = std::max(1, std::atoi(argv[++i]));
        } else if (argv[i][0] != '-') {
            file = argv[i];
        } else {
            std::fprintf(stderr, "usage: bench_odbc [--runs N] [--rows N] [MDB_FILE]\n");
            return 2;
        }
    }
#ifndef NDEBUG
    std::fprintf(stderr, "bench_odbc: not a Release build; the figures mean little\n");
#endif
    // The drivers as the tests register them, unless the caller chose.
    if (std::getenv("ODBCSYSINI") == nullptr && std::strlen(KORVAN_ODBCSYSINI) > 0) {
        setenv("ODBCSYSINI", KORVAN_ODBCSYSINI, 1);
    }
    std::string dir = (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp");
    dir += "/korvan-bench-odbc-XXXXXX";
    if (mkdtemp(dir.data()) == nullptr) {
        Fail("cannot make a scratch directory");
    }
    BenchRead(runs, file);
    BenchWrite(runs, rows, dir);
    std::system(("rm -rf '" + dir + "'").c_str());
    return 0;
}
