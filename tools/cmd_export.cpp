// tools/cmd_export.cpp - "korvan export": a whole table in the library's own
// text export (DbRecordset::ExportCVS) or as CSV, to standard output or,
// atomically, to a file.
#include "command.h"
#include "writers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

namespace korvan::cli {
namespace {

// Writes beside the target and renames over it only once everything is
// written, so that a failure never leaves a half-written file behind.
class AtomicFile {
  public:
    explicit AtomicFile(std::string target) : m_target(std::move(target)) {
        std::string temp = m_target + ".XXXXXX";
        const int fd = mkstemp(temp.data());
        if (fd < 0) {
            Fail();
        }
        m_temp = temp;
        // mkstemp makes the file private; give it the mode a new file gets.
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(fd, 0666 & ~mask);
        close(fd);
        m_stream.open(m_temp, std::ios::binary | std::ios::trunc);
        if (!m_stream) {
            Fail();
        }
    }
    ~AtomicFile() {
        if (!m_temp.empty()) {
            m_stream.close();
            std::remove(m_temp.c_str());
        }
    }
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    std::ostream& Stream() { return m_stream; }

    void Commit() {
        m_stream.close();
        if (!m_stream || std::rename(m_temp.c_str(), m_target.c_str()) != 0) {
            Fail();
        }
        m_temp.clear();
    }

  private:
    [[noreturn]] void Fail() const {
        throw ToolError(kExitFailure, "cannot write '" + m_target + "': " + std::strerror(errno));
    }

    std::string m_target;
    std::string m_temp;
    std::ofstream m_stream;
};

// The bytes DbRecordset::ExportCVS writes for the table, taken through a
// scratch file, since the export writes to a path.
std::string ExportedBytes(Session& session, const std::string& table) {
    DbRecordset recordset;
    session.OpenRecordset(recordset, table);
    std::string scratch =
        (std::filesystem::temp_directory_path() / "korvan-export-XXXXXX").string();
    const int fd = mkstemp(scratch.data());
    if (fd < 0) {
        throw ToolError(kExitFailure,
                        "cannot create a scratch file in " + scratch + ": " + std::strerror(errno));
    }
    close(fd);
    recordset.ExportCVS(CString(scratch.c_str()));
    std::ifstream in(scratch, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const bool read = !in.bad();
    std::remove(scratch.c_str());
    if (!read) {
        throw ToolError(kExitFailure, "cannot read the export back from " + scratch);
    }
    return bytes;
}

class ExportCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("TABLE", m_table, "(required) the table to export");
        app.add_option("-o,--output", m_output,
                       "write to OUT (replaced only once complete) instead of standard output")
            ->option_text("OUT");
        app.add_option("-f,--format", m_csv, "cvs (the library's text export, the default) or csv")
            ->transform(CLI::CheckedTransformer(
                std::map<std::string, bool>{{"cvs", false}, {"csv", true}}, CLI::ignore_case))
            ->option_text("FORMAT");
        app.footer(R"(By default the table goes out exactly as the library's text export
(DbRecordset::ExportCVS) writes it: the field names, then one line per row in
the table's own order, values separated by "| " and lines ended by a line
feed, nothing quoted, line feeds inside values made blanks. The library writes
as many bytes as the text has characters, which is the first half of the
text's UTF-16LE encoding: programs that read those exports expect exactly
that.

--format csv writes CSV after RFC 4180 instead: a header line, CRLF line ends,
fields quoted when they hold a comma, a quote or a line break. A null is an
empty field, an empty text is "".

With one argument it is the TABLE of the example catalogue; with two they are
FILE and TABLE.

Examples:
  korvan export i_beams --format csv
  korvan export catalogue.xml parts -o parts.txt
  korvan export catalogue.xml parts --format csv -o parts.csv)");
    }

    void Run(Session& session) override {
        ResolveFileArgument(m_file, m_table, true, "TABLE");
        DbDatabase& db = session.Open(m_file);
        session.LoadTables();
        const CString table(m_table.c_str());
        const DbTableDescr* descr = db.GetTableDescr(table);
        if (descr == nullptr) {
            session.NoSuchTable(m_table);
        }
        const std::string exported = m_csv ? std::string() : ExportedBytes(session, m_table);
        const DbRows& rows = session.Rows(table);
        const auto write = [&](std::ostream& out) {
            if (m_csv) {
                WriteRows(*descr, rows, *MakeWriter(Format::Csv, out));
            } else {
                out.write(exported.data(), static_cast<std::streamsize>(exported.size()));
            }
        };
        if (m_output.empty()) {
            write(std::cout);
            return;
        }
        AtomicFile file(m_output);
        write(file.Stream());
        file.Commit();
    }

  private:
    std::string m_file;
    std::string m_table;
    std::string m_output;
    bool m_csv = false;
};

const RegisterCommand<ExportCommand> registration(
    "export",
    "write a whole table in the library's text export or as CSV, to standard output or a file", 40);

}  // namespace
}  // namespace korvan::cli
