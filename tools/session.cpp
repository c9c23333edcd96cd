// tools/session.cpp - opening the database, reading it with progress, and
// its message log.
#include "command.h"

#include "platform/files.h"
#include "platform/process.h"

#include <filesystem>
#include <iostream>

namespace korvan::cli {
namespace {

// Loads shorter than this show no progress at all.
constexpr double kProgressDelaySeconds = 0.25;

// Paths as UTF-8 both ways, whatever the system's own path encoding.
std::filesystem::path PathOf(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string Utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

std::string ExampleCatalogue() {
    namespace fs = std::filesystem;
    std::vector<fs::path> candidates;
    std::error_code error;
    const CString executable = korvan::ExecutablePath();
    if (!executable.IsEmpty()) {
        candidates.push_back(
            (PathOf(executable.ToUtf8()).parent_path() / KORVAN_EXAMPLE_FROM_BINDIR)
                .lexically_normal());
    }
    candidates.emplace_back(KORVAN_EXAMPLE_IN_SOURCE);
    std::string tried;
    for (const fs::path& candidate : candidates) {
        if (fs::is_regular_file(candidate, error)) {
            return Utf8Of(candidate);
        }
        tried += "\n  " + Utf8Of(candidate);
    }
    throw ToolError(kExitFailure, "the example catalogue is missing; looked for" + tried);
}

// The "loading table k/n" line on a terminal, wiped when loading ends, also
// by a failure.
class ProgressLine {
  public:
    ProgressLine() = default;
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() {
        if (m_shown) {
            std::cerr << "\r\033[K" << std::flush;
        }
    }

    void Show(int table, int count) {
        std::cerr << "\rloading table " << table << '/' << count << std::flush;
        m_shown = true;
    }
    bool Shown() const { return m_shown; }

  private:
    bool m_shown = false;
};

}  // namespace

Session::~Session() {
    Close();
}

DbDatabase& Session::Open(const std::string& file) {
    if (example && !file.empty()) {
        throw ToolError(kExitUsage, "give either FILE or --example, not both");
    }
    m_file = file.empty() ? ExampleCatalogue() : file;
    // The tool reads .mdb files themselves (through ODBC), never an .xml file
    // beside them.
    DbSource::ForceXML = false;
    // Opened in two steps so that a refusal can be explained: the source
    // knows which file it tried (an .mdb file is read through ODBC).
    m_db = std::make_unique<DbDatabase>();
    try {
        m_db->GetSource()->SetFile(CString(m_file.c_str()), false);
    } catch (DbException* e) {
        std::string message = e->Message().ToUtf8();
        e->Delete();
        const korvan::FileStatus readable = korvan::CheckReadable(m_db->GetName());
        if (!readable) {
            message += ": " + readable.Reason().ToUtf8();
        }
        throw ToolError(kExitFailure, message);
    }
    if (!m_db->IsOpen()) {
        throw ToolError(
            kExitFailure,
            "'" + m_file + "' is not a database file: the name must end in .xml or .mdb");
    }
    // Table by table reading lets LoadTables report where it is; it has to be
    // chosen before anything is read.
    m_progress = korvan::StandardErrorIsTerminal();
    if (m_progress) {
        m_db->GetSource()->SetSequentialAccess(true);
    }
    return *m_db;
}

DbDatabase& Session::OpenOrCreate(const std::string& file) {
    std::error_code error;
    if (file.empty() || std::filesystem::exists(file, error)) {
        return Open(file);
    }
    m_file = file;
    m_db = std::make_unique<DbDatabase>();
    m_db->Create(CString(file.c_str()));
    return *m_db;
}

void Session::OpenRecordset(DbRecordset& recordset, const std::string& table) {
    const DbTableInfo* info = m_db->GetTableInfo(CString(table.c_str()));
    if (info == nullptr) {
        NoSuchTable(table);
    }
    // A name is taken for a SELECT when it holds the word; the statement
    // that answers with the whole table serves for those.
    recordset.SetDatabase(m_db.get());
    if (!recordset.Open(info->name) && !recordset.Open(L"select * from [" + info->name + L"]")) {
        Fail("table '" + table + "' cannot be opened", TakeLog());
    }
}

void Session::LoadTables() {
    const int count = m_db->GetTablesCount();
    const double start = korvan::MonotonicSeconds();
    ProgressLine progress;
    for (int i = 0; i < count; ++i) {
        if (m_progress &&
            (progress.Shown() || korvan::MonotonicSeconds() - start > kProgressDelaySeconds)) {
            progress.Show(i + 1, count);
        }
        Rows(m_db->GetTableName(static_cast<size_t>(i)));
    }
}

DbRows& Session::Rows(const CString& table) {
    DbTableData* data = m_db->GetTableData(table);
    if (data == nullptr) {
        NoSuchTable(table.ToUtf8());
    }
    DbRows* rows = data->GetRows();
    if (rows == nullptr) {
        Fail("the rows of table '" + table.ToUtf8() + "' cannot be read", TakeLog());
    }
    return *rows;
}

void Session::NoSuchTable(const std::string& table) const {
    throw ToolError(kExitFailure, "no table '" + table + "' in " + m_file);
}

std::vector<std::string> Session::TakeLog() {
    std::vector<std::string> lines;
    if (m_db) {
        std::vector<CString> messages;
        m_db->GetError(messages);
        for (const CString& message : messages) {
            lines.push_back(message.ToUtf8());
        }
        m_log.insert(m_log.end(), lines.begin(), lines.end());
    }
    return lines;
}

const std::vector<std::string>& Session::Log() {
    TakeLog();
    return m_log;
}

void Session::Fail(const std::string& what, const std::vector<std::string>& lines) const {
    std::string message = what;
    if (!verbose) {
        for (const std::string& line : lines) {
            message += '\n' + line;
        }
    }
    throw ToolError(kExitFailure, message);
}

void Session::Close() {
    if (m_db) {
        TakeLog();
        // Query answers are registry entries too; marking everything as
        // unchanged keeps the destructor from saving the file.
        m_db->Sync();
        m_db.reset();
    }
}

}  // namespace korvan::cli
