// tools/cmd_export.cpp - "korvan export": a whole table in the library's own
// text export (DbRecordset::ExportCVS) or as CSV, to standard output or,
// atomically, to a file.
#include "command.h"
#include "writers.h"

#include "platform/files.h"

#include <filesystem>
#include <iostream>
#include <map>
#include <streambuf>
#include <string>
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

// The bytes DbRecordset::ExportCVS writes for the table, read back from a
// scratch file, since the export writes to a path.
std::string ExportedBytes(Session& session, const std::string& table) {
    DbRecordset recordset;
    session.OpenRecordset(recordset, table);
    std::error_code error;
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path(error) /
        ("korvan-export-" + std::to_string(korvan::Files().CurrentProcessId()) + ".txt");
    const CString path(scratch.wstring());
    recordset.ExportCVS(path);
    std::string bytes;
    const korvan::FileStatus read = korvan::ReadWholeFile(path, bytes);
    static_cast<void>(korvan::Files().Remove(path));
    if (!read) {
        throw ToolError(kExitFailure,
                        "cannot export through '" + path.ToUtf8() + "': " + read.Reason().ToUtf8());
    }
    return bytes;
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
        WriteFileAtomically(m_output, write);
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
