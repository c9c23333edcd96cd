// tools/cmd_log.cpp - "korvan log": the database's message log of reading a
// file, and of running a query on it.
#include "command.h"
#include "query_failure.h"

#include <iostream>

namespace korvan::cli {
namespace {

class LogCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("SQL", m_sql, "a query to run after reading, whose lines follow")
            ->check(kNotEmpty);
        app.footer(R"(Prints to standard output the log the library writes while it reads the file
(tables created, rows parsed, timings) and, when SQL is given, while it analyses
and runs the query. A single argument is the FILE when it ends in .xml or .mdb,
and otherwise SQL run on the example catalogue.

Examples:
  korvan log
  korvan log catalogue.xml
  korvan log "select designation from i_beams where mass > 30")");
    }

    void Run(Session& session) override {
        ResolveFileArgument(m_file, m_sql, false, "SQL");
        DbDatabase& db = session.Open(m_file);
        bool answered = true;
        try {
            session.LoadTables();
            if (!m_sql.empty()) {
                CString answer;
                answered = db.Query(CString(m_sql.c_str()), answer);
            }
        } catch (...) {
            Print(session);
            throw;
        }
        const std::vector<std::string> lines = Print(session);
        if (!answered) {
            throw ToolError(kExitFailure,
                            "the query failed: " + ExplainQueryFailure(db, m_sql, lines));
        }
    }

  private:
    // Prints the log and returns it.
    static std::vector<std::string> Print(Session& session) {
        const std::vector<std::string>& log = session.Log();
        for (const std::string& line : log) {
            std::cout << line << '\n';
        }
        return log;
    }

    std::string m_file;
    std::string m_sql;
};

const RegisterCommand<LogCommand> registration(
    "log", "print the library's message log of reading a file (and of running SQL)", 50);

}  // namespace
}  // namespace korvan::cli
