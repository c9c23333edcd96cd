// tools/cmd_find.cpp - "korvan find": the rows of a table that meet a
// condition, walked with a recordset's FindFirst and FindNext.
#include "command.h"
#include "writers.h"

#include <iostream>

namespace korvan::cli {
namespace {

class FindCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("TABLE", m_table, "(required) the table to search");
        app.add_option("CONDITION", m_condition,
                       "(required) a WHERE condition on the table's fields");
        AddFormatOption(app, m_format);
        AddLimitOption(app, m_limit);
        app.footer(R"text(Prints the rows of TABLE that meet CONDITION, in the table's order, as a
recordset finds them: FindFirst, then FindNext until nothing more is found.
The condition is written as the WHERE part of a SELECT: comparisons of a field
with a value or another field (=, ==, <>, !=, <, <=, >, >=; texts in quotes,
equal without regard to case), joined by and, or, not and brackets. FILE may
be left out: two arguments are TABLE and CONDITION of the example catalogue.

Examples:
  korvan find channels "height >= 300"
  korvan find catalogue.xml parts "price < 2.5 and (name = 'bolt' or name = 'nut')" -f csv)text");
    }

    void Run(Session& session) override {
        ResolveLeadingFile(m_file, {{&m_table, "TABLE"}, {&m_condition, "CONDITION"}});
        DbDatabase& db = session.Open(m_file);
        session.LoadTables();
        DbRecordset recordset;
        session.OpenRecordset(recordset, m_table);
        session.TakeLog();  // failure messages should show the search's own lines only
        const CString condition(m_condition.c_str());
        std::vector<const DbTableRow*> found;
        for (bool more = recordset.FindFirst(condition); more && found.size() < m_limit;
             more = recordset.FindNext(condition)) {
            found.push_back(recordset.GetCurrentRow());
        }
        if (found.empty() && db.GetErrorLog().Find(L"SQL Analyze - failed") >= 0) {
            session.Fail("the condition cannot be used", session.TakeLog());
        }
        WriteRows(*recordset.GetTableDescr(), found, *MakeWriter(m_format, std::cout));
    }

  private:
    std::string m_file;
    std::string m_table;
    std::string m_condition;
    Format m_format = Format::Table;
    uint64_t m_limit = UINT64_MAX;
};

const RegisterCommand<FindCommand> registration(
    "find", "print the rows of a table that meet a condition, found one after the other", 35);

}  // namespace
}  // namespace korvan::cli
