// tools/cmd_tables.cpp - "korvan tables": every table and query of the
// database with its type, field count and row count.
#include "command.h"
#include "writers.h"

#include <iostream>

namespace korvan::cli {
namespace {

class TablesCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        AddFormatOption(app, m_format);
        app.footer(R"(Examples:
  korvan tables
  korvan tables catalogue.xml --format json)");
    }

    void Run(Session& session) override {
        DbDatabase& db = session.Open(m_file);
        session.LoadTables();
        const std::unique_ptr<RowWriter> writer = MakeWriter(m_format, std::cout);
        writer->Begin({{"table"}, {"type"}, {"fields", true}, {"rows", true}});
        const int count = db.GetTablesCount();
        for (int i = 0; i < count; ++i) {
            const CString name = db.GetTableName(static_cast<size_t>(i));
            const DbTableInfo* info = db.GetTableInfo(name);
            writer->Row({Cell::Text(name.ToUtf8()),
                         Cell::Text(info->type == DbTableInfo::QUERY ? "QUERY" : "TABLE"),
                         Cell::Number(info->descr->GetFieldCount()),
                         Cell::Number(session.Rows(name).GetRowsCount())});
        }
        writer->End();
    }

  private:
    std::string m_file;
    Format m_format = Format::Table;
};

const RegisterCommand<TablesCommand> registration(
    "tables", "list the tables with their type (TABLE/QUERY), field and row counts", 10);

}  // namespace
}  // namespace korvan::cli
