// Shared pieces of the benchmark programs: the clock, workloads run in forked
// children that send back their figures and their peak memory, a text table
// for the results, the generated catalogue data with its loaders into korvan
// and into an in-memory SQLite database, and a scratch directory.
//
// Figures are meant to come from a Release build (bench/README.md); a program
// built otherwise says so first. A workload runs in its own child process so
// that one program can report the peak memory of several workloads, and each
// figure is the best over a few children.
#pragma once

#include <korvan/database.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

inline double Now() {
    return korvan::MonotonicSeconds();
}

// The shortest of runs calls of fn, in seconds: the noise of a shared machine
// only ever adds time.
template <typename Fn>
double BestOf(int runs, Fn&& fn) {
    double best = 1e300;
    for (int run = 0; run < runs; ++run) {
        const double start = Now();
        fn();
        best = std::min(best, Now() - start);
    }
    return best;
}

// A line of warning when the figures cannot be taken as they stand.
inline void WarnUnlessRelease() {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
    std::printf(
        "WARNING: not a Release build; build in build/rel for figures (bench/README.md)\n\n");
#endif
}

// Ends the program (or the child it is called in) at once.
[[noreturn]] inline void Die(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::fflush(stderr);
    std::_Exit(1);
}

inline std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline std::string Format(const char* format, ...) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    return buffer;
}

// "a / b" with two decimals, "-" when b is not a positive figure.
inline std::string Ratio(double a, double b) {
    return b > 0 ? Format("%.2f", a / b) : std::string("-");
}

inline std::string Megabytes(double bytes) {
    return Format("%.1f MB", bytes / (1024.0 * 1024.0));
}

// Command lines: "--name value" options and "--flag" switches the program
// declares, and any number of sizes (row counts) given as plain numbers.
class Args {
  public:
    Args(int argc, char** argv, const std::vector<std::string>& options,
         const std::vector<std::string>& flags, const char* usage) {
        for (int i = 1; i < argc; ++i) {
            const std::string word = argv[i];
            if (word == "-h" || word == "--help") {
                std::printf("%s", usage);
                std::exit(0);
            }
            if (word.rfind("--", 0) == 0) {
                const std::string name = word.substr(2);
                if (std::find(flags.begin(), flags.end(), name) != flags.end()) {
                    m_values.emplace_back(name, "");
                } else if (std::find(options.begin(), options.end(), name) != options.end() &&
                           i + 1 < argc) {
                    m_values.emplace_back(name, argv[++i]);
                } else {
                    Die("unknown or incomplete option " + word + "\n" + usage);
                }
            } else {
                char* end = nullptr;
                const unsigned long long size = std::strtoull(word.c_str(), &end, 10);
                if (*end != 0 || size == 0) {
                    Die("not a size: " + word + "\n" + usage);
                }
                m_sizes.push_back(size);
            }
        }
    }

    std::vector<uint64_t> Sizes(std::vector<uint64_t> defaults) const {
        return m_sizes.empty() ? defaults : m_sizes;
    }
    int Int(const std::string& name, int fallback) const {
        for (const auto& [key, value] : m_values) {
            if (key == name) {
                return std::max(1, std::atoi(value.c_str()));
            }
        }
        return fallback;
    }
    bool Flag(const std::string& name) const {
        return std::any_of(m_values.begin(), m_values.end(),
                           [&](const auto& entry) { return entry.first == name; });
    }

  private:
    std::vector<uint64_t> m_sizes;
    std::vector<std::pair<std::string, std::string>> m_values;
};

// ---------------------------------------------------------------------------
// Memory of the running process, from /proc/self/status.

inline uint64_t StatusBytes(const char* key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const size_t length = std::strlen(key);
    while (std::getline(status, line)) {
        if (line.compare(0, length, key) == 0) {
            return std::strtoull(line.c_str() + length, nullptr, 10) * 1024;
        }
    }
    return 0;
}

inline uint64_t ResidentBytes() {
    return StatusBytes("VmRSS:");
}

inline uint64_t PeakBytes() {
    return StatusBytes("VmHWM:");
}

// Sets the peak (VmHWM) back to the present resident size. A new child starts
// with its peak at its resident size anyway, so a kernel that refuses the
// reset changes nothing for measures taken from the start of a child.
inline void ResetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

// ---------------------------------------------------------------------------
// Workloads in forked children.

// The resident size of this child when its workload started.
inline uint64_t& ChildStartBytes() {
    static uint64_t bytes = 0;
    return bytes;
}

// Within a workload: the peak resident size so far above the size at start,
// in bytes.
inline double PeakInChild() {
    return static_cast<double>(PeakBytes()) - static_cast<double>(ChildStartBytes());
}

struct Sample {
    std::vector<double> figures;  // as the workload filled them
    double peak = 0;              // bytes: the child's peak resident size above its size at start
};

// The workload fills figures (the same number on every run); what it
// allocates and leaves behind dies with the child.
using Work = std::function<void(std::vector<double>& figures)>;

inline void WriteAll(int fd, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = write(fd, bytes, size);
        if (n <= 0) {
            std::_Exit(3);
        }
        bytes += n;
        size -= static_cast<size_t>(n);
    }
}

inline bool ReadAll(int fd, void* data, size_t size) {
    char* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t n = read(fd, bytes, size);
        if (n <= 0) {
            return false;
        }
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

inline Sample RunInChild(const Work& work) {
    int fds[2];
    if (pipe(fds) != 0) {
        Die("pipe failed");
    }
    std::fflush(nullptr);  // nothing buffered may be printed twice
    const pid_t pid = fork();
    if (pid < 0) {
        Die("fork failed");
    }
    if (pid == 0) {
        close(fds[0]);
        std::vector<double> figures;
        ResetPeak();
        ChildStartBytes() = ResidentBytes();
        try {
            work(figures);
        } catch (DbException* e) {
            std::fprintf(stderr, "DbException: %s\n", e->Message().ToUtf8().c_str());
            e->Delete();
            std::fflush(nullptr);
            std::_Exit(2);
        }
        const double peak = PeakInChild();
        const uint64_t count = figures.size();
        WriteAll(fds[1], &count, sizeof count);
        WriteAll(fds[1], figures.data(), count * sizeof(double));
        WriteAll(fds[1], &peak, sizeof peak);
        std::fflush(nullptr);
        std::_Exit(0);  // the workload's objects die with the process
    }
    close(fds[1]);
    Sample sample;
    uint64_t count = 0;
    bool complete = ReadAll(fds[0], &count, sizeof count);
    if (complete) {
        sample.figures.resize(count);
        complete = ReadAll(fds[0], sample.figures.data(), count * sizeof(double)) &&
                   ReadAll(fds[0], &sample.peak, sizeof sample.peak);
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFSIGNALED(status)) {
        Die(Format("a benchmark workload died of signal %d", WTERMSIG(status)));
    }
    if (!complete || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        Die("a benchmark workload failed");
    }
    return sample;
}

// runs children of the same workload; every figure and the peak are the
// smallest over the runs. On a machine shared with other work the noise only
// ever adds time, and the figures that are not times (sizes, counts, peaks)
// come out the same in every run.
inline Sample BestOfRuns(int runs, const Work& work) {
    Sample best = RunInChild(work);
    for (int run = 1; run < runs; ++run) {
        const Sample next = RunInChild(work);
        for (size_t i = 0; i < best.figures.size(); ++i) {
            best.figures[i] = std::min(best.figures[i], next.figures.at(i));
        }
        best.peak = std::min(best.peak, next.peak);
    }
    return best;
}

// ---------------------------------------------------------------------------
// Result tables: the first column left-aligned, the others right-aligned.

class TextTable {
  public:
    explicit TextTable(std::vector<std::string> head) { m_rows.push_back(std::move(head)); }

    void Add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }

    void Print() const {
        std::vector<size_t> widths;
        for (const auto& row : m_rows) {
            widths.resize(std::max(widths.size(), row.size()));
            for (size_t c = 0; c < row.size(); ++c) {
                widths[c] = std::max(widths[c], Width(row[c]));
            }
        }
        for (size_t r = 0; r < m_rows.size(); ++r) {
            std::string line;
            for (size_t c = 0; c < m_rows[r].size(); ++c) {
                const std::string& cell = m_rows[r][c];
                const std::string pad(widths[c] - Width(cell), ' ');
                line += c == 0 ? cell + pad : "  " + pad + cell;
            }
            std::printf("%s\n", line.c_str());
            if (r == 0) {
                size_t total = 0;
                for (const size_t w : widths) {
                    total += w + 2;
                }
                std::printf("%s\n", std::string(total - 2, '-').c_str());
            }
        }
        std::printf("\n");
    }

  private:
    // Columns are counted in characters, not in UTF-8 bytes.
    static size_t Width(const std::string& text) {
        return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    }

    std::vector<std::vector<std::string>> m_rows;
};

// ---------------------------------------------------------------------------
// Generated catalogue tables: 12 fields of four kinds, filled from a hash of
// (seed, row, field) so that every program and every child sees the same
// values without storing them.

constexpr int kFields = 12;

struct Column {
    const wchar_t* name;
    DbFieldDescr::eFieldType type;
    const char* sqlType;
};

// name: high-cardinality text in mixed case; id: the row number; grade and
// material: low-cardinality texts; note: texts with letters beyond ASCII.
inline const std::array<Column, kFields>& Columns() {
    static const std::array<Column, kFields> columns = {{
        {L"name", DbFieldDescr::ftText, "TEXT"},
        {L"id", DbFieldDescr::ftLong, "INTEGER"},
        {L"weight", DbFieldDescr::ftDouble, "REAL"},
        {L"active", DbFieldDescr::ftBoolean, "INTEGER"},
        {L"grade", DbFieldDescr::ftText, "TEXT"},
        {L"size", DbFieldDescr::ftLong, "INTEGER"},
        {L"length", DbFieldDescr::ftDouble, "REAL"},
        {L"note", DbFieldDescr::ftText, "TEXT"},
        {L"count", DbFieldDescr::ftLong, "INTEGER"},
        {L"painted", DbFieldDescr::ftBoolean, "INTEGER"},
        {L"area", DbFieldDescr::ftDouble, "REAL"},
        {L"material", DbFieldDescr::ftText, "TEXT"},
    }};
    return columns;
}

inline uint64_t Mix(uint64_t x) {  // splitmix64
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

inline CComVariant CellValue(uint64_t seed, uint64_t row, int field) {
    static const wchar_t* const profiles[] = {L"HEA", L"HEB", L"IPE", L"UPN",
                                              L"hea", L"ipe", L"RHS", L"L"};
    static const wchar_t* const grades[] = {L"S235", L"S275", L"S355", L"S420",
                                            L"S460", L"s235", L"s355", L"E295"};
    static const wchar_t* const notes[] = {L"Träger %u", L"Łącznik %u", L"note %u"};
    static const wchar_t* const materials[] = {L"steel", L"aluminium", L"timber", L"concrete"};
    const uint64_t h = Mix((seed * 0x100000000ull + row) * kFields + static_cast<uint64_t>(field));
    const unsigned high = static_cast<unsigned>(h >> 32);
    switch (field) {
        case 0:
            return CComVariant(StringBuilder(L"%s %u", profiles[h % 8], high % 20000));
        case 1:
            return CComVariant(static_cast<long>(row));
        case 2:
            return CComVariant(static_cast<double>(high % 100000) / 100.0);
        case 3:
        case 9:
            return CComVariant((h & 1) != 0);
        case 4:
            return CComVariant(grades[h % 8]);
        case 5:
            return CComVariant(static_cast<long>(high % 1000));
        case 6:
            return CComVariant(static_cast<double>(high % 12000) / 10.0);
        case 7:
            return CComVariant(StringBuilder(notes[h % 3], high % 500));
        case 8:
            return CComVariant(static_cast<long>(high % 50));
        case 10:
            return CComVariant(static_cast<double>(high % 5000) / 7.0);
        default:
            return CComVariant(materials[h % 4]);
    }
}

// The cells of one generated table, made before any timing starts: the
// variants korvan takes and the UTF-8 texts SQLite takes.
struct Dataset {
    uint64_t rows = 0;
    std::vector<CComVariant> cells;  // row-major
    std::vector<std::string> texts;  // UTF-8 of the text cells, "" for the others

    const CComVariant& At(uint64_t row, int field) const { return cells[row * kFields + field]; }
    const std::string& Text(uint64_t row, int field) const { return texts[row * kFields + field]; }
    uint64_t Cells() const { return rows * kFields; }
};

inline Dataset Generate(uint64_t rows, uint64_t seed = 1) {
    Dataset data;
    data.rows = rows;
    data.cells.reserve(rows * kFields);
    data.texts.reserve(rows * kFields);
    for (uint64_t r = 0; r < rows; ++r) {
        for (int f = 0; f < kFields; ++f) {
            data.cells.push_back(CellValue(seed, r, f));
            const CComVariant& v = data.cells.back();
            data.texts.push_back(v.vt == VT_BSTR ? korvan::EncodeUtf8(v.bstrVal) : std::string());
        }
    }
    return data;
}

// A table of db with the generated fields, filled through the public
// interface: CreateTable, CreateField, AddRows, then SetValue on every cell.
inline DbTableInfo* FillTable(DbDatabase& db, const CString& name, const Dataset& data) {
    DbTableInfo* table = db.CreateTable(name, DbTableInfo::TABLE);
    if (table == nullptr) {
        Die("table " + name.ToUtf8() + " could not be created");
    }
    for (const Column& column : Columns()) {
        table->descr->CreateField(column.name, false, column.type);
    }
    DbTableData* rows = table->data;
    const uint64_t first = rows->AddRows(data.rows);
    for (uint64_t r = 0; r < data.rows; ++r) {
        DbTableRow& row = *rows->GetRow(static_cast<int>(first + r));
        for (int f = 0; f < kFields; ++f) {
            row[static_cast<uint64_t>(f)].SetValue(data.At(r, f));
        }
    }
    return table;
}

// ---------------------------------------------------------------------------
// The SQLite reference.

class Sqlite {
  public:
    Sqlite() {
        if (sqlite3_open(":memory:", &m_db) != SQLITE_OK) {
            Die("sqlite3_open failed");
        }
    }
    ~Sqlite() { sqlite3_close(m_db); }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    sqlite3* get() const { return m_db; }

    void Exec(const std::string& sql) const {
        char* error = nullptr;
        if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
            Die("SQLite: " + sql + ": " + (error ? error : "?"));
        }
    }

    sqlite3_stmt* Prepare(const std::string& sql) const {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            Die("SQLite: " + sql + ": " + sqlite3_errmsg(m_db));
        }
        return statement;
    }

  private:
    sqlite3* m_db = nullptr;
};

// The same table in SQLite, one prepared INSERT per row in one transaction;
// rowid is the row number plus one.
inline void FillSqliteTable(const Sqlite& db, const std::string& name, const Dataset& data) {
    std::string create = "CREATE TABLE " + name + " (";
    std::string insert = "INSERT INTO " + name + " VALUES (";
    for (int f = 0; f < kFields; ++f) {
        const Column& column = Columns()[static_cast<size_t>(f)];
        create += (f ? ", " : "") + CString(column.name).ToUtf8() + " " + column.sqlType;
        insert += f ? ", ?" : "?";
    }
    db.Exec(create + ")");
    db.Exec("BEGIN");
    sqlite3_stmt* statement = db.Prepare(insert + ")");
    for (uint64_t r = 0; r < data.rows; ++r) {
        for (int f = 0; f < kFields; ++f) {
            const CComVariant& v = data.At(r, f);
            switch (v.vt) {
                case VT_BSTR: {
                    const std::string& text = data.Text(r, f);
                    sqlite3_bind_text(statement, f + 1, text.data(), static_cast<int>(text.size()),
                                      SQLITE_STATIC);
                    break;
                }
                case VT_I4:
                    sqlite3_bind_int64(statement, f + 1, v.lVal);
                    break;
                case VT_R8:
                    sqlite3_bind_double(statement, f + 1, v.dblVal);
                    break;
                default:  // VT_BOOL
                    sqlite3_bind_int(statement, f + 1, v.boolVal ? 1 : 0);
                    break;
            }
        }
        if (sqlite3_step(statement) != SQLITE_DONE) {
            Die(std::string("SQLite insert: ") + sqlite3_errmsg(db.get()));
        }
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    db.Exec("COMMIT");
}

// ---------------------------------------------------------------------------
// A scratch directory under $TMPDIR (or /tmp), removed with its content.

class ScratchDir {
  public:
    ScratchDir() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/korvan-bench-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            Die("cannot create a scratch directory in " + pattern);
        }
        m_path = pattern;
    }
    ~ScratchDir() {
        if (!m_keep) {
            std::error_code ignored;
            std::filesystem::remove_all(m_path, ignored);
        }
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    void Keep() { m_keep = true; }

  private:
    std::string m_path;
    bool m_keep = false;
};

}  // namespace bench
