// tools/cmd_convert.cpp - "korvan convert": a whole database from an XML or
// .mdb file into an XML file or, table by table, into any ODBC target.
#include "command.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace korvan::cli {
namespace {

bool EndsWithXml(const std::string& name) {
    return name.size() >= 4 &&
           CString(name.substr(name.size() - 4).c_str()).CompareNoCase(L".xml") == 0;
}

// The access tag a field's type is written as.
int TagOf(VARTYPE type) {
    switch (type) {
        case VT_BOOL:
            return DBACCESS_COLUMN::typeInt;
        case VT_I2:
            return DBACCESS_COLUMN::typeShort;
        case VT_I4:
            return DBACCESS_COLUMN::typeLong;
        case VT_R4:
            return DBACCESS_COLUMN::typeFloat;
        case VT_R8:
            return DBACCESS_COLUMN::typeDouble;
        case VT_ARRAY | VT_UI1:
            return DBACCESS_COLUMN::typeBinary;
        default:
            return DBACCESS_COLUMN::typeString;
    }
}

// A table without rows still has columns: one record defines them.
void DefineColumns(const DbTableDescr& descr, DBACCESS_VECTOR& rows) {
    DBACCESS_RECORD definition;
    for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
        const DbFieldDescr& field = descr.GetField(static_cast<int>(f));
        DBACCESS_COLUMN column(field.GetName());
        column.type = TagOf(field.GetType());
        definition.push_back(column);
    }
    rows.push_back(definition);
    rows.emptyTable = true;
}

// "[#####.....] 3/7 parts" on a terminal, redrawn per table and wiped at the
// end (also by a failure).
class ProgressBar {
  public:
    explicit ProgressBar(int count) : m_count(count), m_shown(isatty(STDERR_FILENO) != 0) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() {
        if (m_shown) {
            std::cerr << "\r\033[K" << std::flush;
        }
    }

    void Show(int done, const std::string& table) {
        if (!m_shown) {
            return;
        }
        constexpr int kWidth = 30;
        const int filled = m_count > 0 ? done * kWidth / m_count : kWidth;
        std::cerr << "\r\033[K[" << std::string(static_cast<size_t>(filled), '#')
                  << std::string(static_cast<size_t>(kWidth - filled), '.') << "] " << done << '/'
                  << m_count << ' ' << table << std::flush;
    }

  private:
    int m_count;
    bool m_shown;
};

class ConvertCommand : public Command {
  public:
    void Define(CLI::App& app) override {
        app.add_option("IN", m_in, "the database to read: .xml, or an Access .mdb file")
            ->required();
        app.add_option("OUT", m_out,
                       "an .xml file to write; with --odbc, what takes the place of %s in the "
                       "connection string (a file name)");
        app.add_option("--odbc", m_connection,
                       "write every table through ODBC with this connection string, e.g. "
                       "\"Driver={SQLite3};Database=%s\"; existing tables are replaced");
        app.footer(R"(Tables are written one by one, each as a whole: where the target has
transactions, a table that fails leaves what was there before. Query answers
are not written. On a terminal a progress bar shows the tables as they go;
the last line says how many tables and rows were written in how long.

Examples:
  korvan convert catalogue.mdb catalogue.xml
  korvan convert catalogue.xml copy.xml
  korvan convert catalogue.mdb catalogue.sqlite --odbc "Driver={SQLite3};Database=%s"
  korvan convert catalogue.xml --odbc "Driver={PostgreSQL Unicode};Servername=db;Database=cat;Uid=me;Pwd=secret")");
    }

    void Run(Session& session) override {
        const bool odbc = !m_connection.empty();
        if (odbc && m_connection.find("%s") != std::string::npos && m_out.empty()) {
            throw ToolError(kExitUsage, "OUT is required: the connection string has %s for it");
        }
        if (!odbc && !EndsWithXml(m_out)) {
            throw ToolError(kExitUsage, m_out.empty()
                                            ? "OUT is required"
                                            : "OUT must be an .xml file; write other targets "
                                              "with --odbc \"CONNECTION STRING\"");
        }
        const double start = korvan::MonotonicSeconds();
        DbDatabase& db = session.Open(m_in);
        session.LoadTables();
        std::vector<CString> tables;
        uint64_t rows = 0;
        for (int i = 0; i < db.GetTablesCount(); ++i) {
            const CString name = db.GetTableName(static_cast<size_t>(i));
            if (db.GetTableInfo(name)->type == DbTableInfo::TABLE) {
                tables.push_back(name);
                rows += session.Rows(name).GetRowsCount();
            }
        }
        if (odbc) {
            WriteOdbc(db, tables);
        } else if (!db.Save(CString(m_out.c_str()))) {
            session.Fail("cannot write " + m_out, session.TakeLog());
        }
        char summary[160];
        std::snprintf(summary, sizeof summary, "%zu tables, %llu rows in %.2f s", tables.size(),
                      static_cast<unsigned long long>(rows), korvan::MonotonicSeconds() - start);
        std::cout << summary << '\n';
    }

  private:
    void WriteOdbc(DbDatabase& db, const std::vector<CString>& tables) {
        const CString connection(m_connection.c_str());
        DBACCESS target(CString(m_out.c_str()), DBACCESS::noOdbcDialog, connection);
        ProgressBar progress(static_cast<int>(tables.size()));
        for (size_t i = 0; i < tables.size(); ++i) {
            progress.Show(static_cast<int>(i), tables[i].ToUtf8());
            DBACCESS_VECTOR rows;
            db.GetTable(tables[i], rows);
            if (rows.empty()) {
                DefineColumns(*db.GetTableDescr(tables[i]), rows);
            }
            target.SetTableData(tables[i], rows);
        }
        progress.Show(static_cast<int>(tables.size()), "");
    }

    std::string m_in;
    std::string m_out;
    std::string m_connection;
};

const RegisterCommand<ConvertCommand> registration(
    "convert", "write a whole database to an .xml file or through ODBC to any database", 60);

}  // namespace
}  // namespace korvan::cli
