// tools/cmd_join.cpp - "korvan join": two tables joined on a field, through
// the library's inner_join (or right_join).
#include "command.h"
#include "writers.h"

#include <iostream>

namespace korvan::cli {
namespace {

class JoinCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("LEFT", m_left, "(required) the first table");
        app.add_option("RIGHT", m_right, "(required) the second table");
        app.add_option("FIELD", m_field,
                       "(required) the field both tables are joined on, or LEFTFIELD=RIGHTFIELD");
        app.add_flag("--right", m_rightJoin,
                     "keep every row of RIGHT, with LEFT's fields left at their defaults where "
                     "nothing matches");
        AddFormatOption(app, m_format);
        AddLimitOption(app, m_limit);
        app.footer(R"(Joins LEFT and RIGHT where LEFT's field equals RIGHT's. The answer has
LEFT's fields, then RIGHT's, named table.field. Without --right (an inner
join) only rows that match are kept, one for each row of the table with more
rows (RIGHT when both have as many): for it the other table is sought through
an index on its field, and the first match found is taken. With --right every
row of RIGHT gives one row. FILE may be left out: three arguments are LEFT,
RIGHT and FIELD of the example catalogue.

Examples:
  korvan join catalogue.xml orders parts part=id
  korvan join catalogue.xml parts stock id --right --format csv)");
    }

    void Run(Session& session) override {
        ResolveLeadingFile(m_file, {{&m_left, "LEFT"}, {&m_right, "RIGHT"}, {&m_field, "FIELD"}});
        DbDatabase& db = session.Open(m_file);
        session.LoadTables();
        const CString left = TableName(session, db, m_left);
        const CString right = TableName(session, db, m_right);
        const size_t equals = m_field.find('=');
        const CString leftField(m_field.substr(0, equals).c_str());
        const CString rightField(equals == std::string::npos ? m_field.c_str()
                                                             : m_field.substr(equals + 1).c_str());
        CheckField(db, left, leftField);
        CheckField(db, right, rightField);
        const CString answer = m_rightJoin
                                   ? db.right_join(left, right, leftField, L"=", rightField)
                                   : db.inner_join(left, right, leftField, L"=", rightField);
        WriteRows(*db.GetTableDescr(answer), session.Rows(answer), *MakeWriter(m_format, std::cout),
                  m_limit);
    }

  private:
    static CString TableName(Session& session, DbDatabase& db, const std::string& table) {
        const DbTableInfo* info = db.GetTableInfo(CString(table.c_str()));
        if (info == nullptr) {
            session.NoSuchTable(table);
        }
        return info->name;
    }

    static void CheckField(DbDatabase& db, const CString& table, const CString& field) {
        if (!db.GetTableDescr(table)->IsField(field)) {
            throw ToolError(kExitFailure,
                            "no field '" + field.ToUtf8() + "' in table '" + table.ToUtf8() + "'");
        }
    }

    std::string m_file;
    std::string m_left;
    std::string m_right;
    std::string m_field;
    bool m_rightJoin = false;
    Format m_format = Format::Table;
    uint64_t m_limit = UINT64_MAX;
};

const RegisterCommand<JoinCommand> registration(
    "join", "join two tables on a field (inner, or keeping every row of the second)", 37);

}  // namespace
}  // namespace korvan::cli
