// tools/cmd_export.cpp - "korvan export": a whole table as CSV, to standard
// output or, atomically, to a file.
#include "command.h"
#include "writers.h"

#include "platform/files.h"

#include <iostream>
#include <streambuf>
#include <vector>

namespace korvan::cli {
namespace {

// An output stream's buffer that empties into an AtomicFile in large pieces.
// The file keeps the first failure, which Commit reports.
class AtomicFileBuffer : public std::streambuf {
  public:
    explicit AtomicFileBuffer(korvan::AtomicFile& file) : m_file(file), m_bytes(1 << 16) {
        setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
    }

  protected:
    int_type overflow(int_type c) override {
        if (!Drain()) {
            return traits_type::eof();
        }
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }
    int sync() override { return Drain() ? 0 : -1; }

  private:
    bool Drain() {
        const korvan::FileStatus written =
            m_file.Write(pbase(), static_cast<size_t>(pptr() - pbase()));
        setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
        return written.Ok();
    }

    korvan::AtomicFile& m_file;
    std::vector<char> m_bytes;
};

// Writes what write puts on its stream to path, replacing path only once
// everything is written and on the disk.
template <class Write>
void WriteFileAtomically(const std::string& path, Write write) {
    korvan::AtomicFile file;
    korvan::FileStatus status = file.Open(CString(path.c_str()));
    if (status) {
        AtomicFileBuffer buffer(file);
        std::ostream out(&buffer);
        write(out);
        out.flush();
        status = file.Commit();
    }
    if (!status) {
        throw ToolError(kExitFailure, "cannot write '" + path + "': " + status.Reason().ToUtf8());
    }
}

class ExportCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("TABLE", m_table, "(required) the table to export")->check(kNotEmpty);
        app.add_option("-o,--output", m_output,
                       "write to OUT (replaced only once complete) instead of standard output")
            ->check(kNotEmpty)
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
        WriteFileAtomically(m_output, [&](std::ostream& out) {
            WriteRows(*descr, rows, *MakeWriter(Format::Csv, out));
        });
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
