// tools/cmd_query.cpp - "korvan query": runs a SELECT (or names a table) and
// prints the answer.
#include "command.h"
#include "writers.h"

#include <iostream>

namespace korvan::cli {
namespace {

class QueryCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("SQL", m_sql, "(required) a SELECT statement, or the name of a table")
            ->check(kNotEmpty);
        AddFormatOption(app, m_format);
        AddLimitOption(app, m_limit);
        app.footer(R"(With one argument it is the SQL, run on the example catalogue; with two they
are FILE and SQL. The SQL is one argument: quote it for the shell.

In the table form a null shows as NULL; in CSV and TSV it is an empty field
while an empty text is ""; in JSON it is null.

Examples:
  korvan query "select designation, mass, height from i_beams where mass > 30 order by mass desc"
  korvan query i_beams --limit 5
  korvan query catalogue.xml "select top 10 * from parts where price >= 2.5" --format json)");
    }

    void Run(Session& session) override {
        ResolveFileArgument(m_file, m_sql, true, "SQL");
        DbDatabase& db = session.Open(m_file);
        session.LoadTables();
        session.TakeLog();  // failure messages should show the query's own lines only
        CString answer;
        if (!db.Query(CString(m_sql.c_str()), answer)) {
            session.Fail("the query failed", session.TakeLog());
        }
        const DbRows& rows = session.Rows(answer);
        const std::unique_ptr<RowWriter> writer = MakeWriter(m_format, std::cout);
        WriteRows(*db.GetTableDescr(answer), rows, *writer, m_limit);
    }

  private:
    std::string m_file;
    std::string m_sql;
    Format m_format = Format::Table;
    uint64_t m_limit = UINT64_MAX;
};

const RegisterCommand<QueryCommand> registration(
    "query", "run a SELECT statement (or name a table) and print the answer", 30);

}  // namespace
}  // namespace korvan::cli
