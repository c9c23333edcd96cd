// tools/cmd_export.cpp - "korvan export": a whole table as CSV, to standard
// output or, atomically, to a file.
#include "command.h"
#include "writers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

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

class ExportCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("TABLE", m_table, "(required) the table to export");
        app.add_option("-o,--output", m_output,
                       "write to OUT (replaced only once complete) instead of standard output")
            ->option_text("OUT");
        app.footer(R"(Writes CSV after RFC 4180: a header line, CRLF line ends, fields quoted when
they hold a comma, a quote or a line break. A null is an empty field, an empty
text is "". With one argument it is the TABLE of the example catalogue; with
two they are FILE and TABLE.

Examples:
  korvan export i_beams
  korvan export catalogue.xml parts -o parts.csv)");
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
        const DbRows& rows = session.Rows(table);
        if (m_output.empty()) {
            WriteRows(*descr, rows, *MakeWriter(Format::Csv, std::cout));
            return;
        }
        AtomicFile file(m_output);
        WriteRows(*descr, rows, *MakeWriter(Format::Csv, file.Stream()));
        file.Commit();
    }

  private:
    std::string m_file;
    std::string m_table;
    std::string m_output;
};

const RegisterCommand<ExportCommand> registration(
    "export", "write a whole table as CSV, to standard output or a file", 40);

}  // namespace
}  // namespace korvan::cli
