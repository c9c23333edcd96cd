// tools/cmd_schema.cpp - "korvan schema": the fields of one table or of all,
// with their types, key flags and indexes.
#include "command.h"
#include "writers.h"

#include <iostream>

namespace korvan::cli {
namespace {

// The names of the indexes that include the field, joined by ", ".
std::string IndexesOf(const DbTableDescr& descr, const CString& field) {
    std::string names;
    for (const auto& [key, index] : descr.GetIndexes()) {
        for (const CString& indexed : index->m_fieldNames) {
            if (indexed.CompareNoCase(field) == 0) {
                names += (names.empty() ? "" : ", ") + index->m_name.ToUtf8();
                break;
            }
        }
    }
    return names;
}

class SchemaCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        AddFileArgument(app, m_file);
        app.add_option("TABLE", m_table, "the table to describe; every table without it")
            ->check(kNotEmpty);
        AddFormatOption(app, m_format);
        app.footer(R"(A single argument is the FILE when it ends in .xml or .mdb, and otherwise a
TABLE of the example catalogue.

Examples:
  korvan schema
  korvan schema i_beams
  korvan schema catalogue.xml
  korvan schema catalogue.xml parts --format csv)");
    }

    void Run(Session& session) override {
        ResolveFileArgument(m_file, m_table, false, "TABLE");
        DbDatabase& db = session.Open(m_file);
        std::vector<CString> tables;
        if (m_table.empty()) {
            const int count = db.GetTablesCount();
            for (int i = 0; i < count; ++i) {
                tables.push_back(db.GetTableName(static_cast<size_t>(i)));
            }
        } else {
            const DbTableInfo* info = db.GetTableInfo(CString(m_table.c_str()));
            if (info == nullptr) {
                session.NoSuchTable(m_table);
            }
            tables.push_back(info->name);
        }
        const std::unique_ptr<RowWriter> writer = MakeWriter(m_format, std::cout);
        writer->Begin({{"table"}, {"field"}, {"type"}, {"key"}, {"indexes"}});
        for (const CString& table : tables) {
            const DbTableDescr& descr = *db.GetTableDescr(table);
            for (size_t i = 0; i < descr.GetFieldCount(); ++i) {
                const DbFieldDescr& field = descr.GetField(static_cast<int>(i));
                writer->Row({Cell::Text(table.ToUtf8()), Cell::Text(field.GetName().ToUtf8()),
                             Cell::Text(field.GetTypeString().ToUtf8()),
                             Cell::Boolean(field.IsKey()),
                             Cell::Text(IndexesOf(descr, field.GetName()))});
            }
        }
        writer->End();
    }

  private:
    std::string m_file;
    std::string m_table;
    Format m_format = Format::Table;
};

const RegisterCommand<SchemaCommand> registration(
    "schema", "show the fields of a table (or of all) with types, key flags and indexes", 20);

}  // namespace
}  // namespace korvan::cli
