// tools/command.h - the commands of the korvan tool and the session they
// share.
//
// A command is one file: a class derived from Command that declares its
// options on its CLI11 subcommand and runs against a Session, registered at
// start-up with a static RegisterCommand<T> object. main() builds the command
// line from the registered commands, runs the chosen one and turns every
// failure into a message on standard error and an exit code.
#pragma once

#include <CLI/CLI.hpp>

#include <korvan/database.h>
#include <korvan/recordset.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvan::cli {

constexpr int kExitFailure = 1;  // a file or query problem
constexpr int kExitUsage = 2;    // the command line itself is wrong

// A failure the tool reports in its own words.
class ToolError : public std::runtime_error {
  public:
    ToolError(int exitCode, const std::string& message)
        : std::runtime_error(message), m_exitCode(exitCode) {}
    int ExitCode() const { return m_exitCode; }

  private:
    int m_exitCode;
};

// What every command works with: the global options, the open database and
// the database's message log.
class Session {
  public:
    Session() = default;
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool verbose = false;  // --verbose: the log goes to standard error afterwards
    bool example = false;  // --example: the bundled catalogue even if FILE could be given

    // Opens file, or the bundled example catalogue when file is empty. On a
    // terminal the file is read table by table so that LoadTables can show
    // its progress.
    DbDatabase& Open(const std::string& file);
    // Opens file like Open, or starts a new database for it when there is no
    // file of that name yet.
    DbDatabase& OpenOrCreate(const std::string& file);
    // Reads the rows of every table now; a table that cannot be read is a
    // failure.
    void LoadTables();
    // The rows of a table or query, read if need be; a failure when there is
    // no such entry or its rows cannot be read.
    DbRows& Rows(const CString& table);
    // Opens recordset on the table (or query answer) of the open database;
    // a failure when there is none.
    void OpenRecordset(DbRecordset& recordset, const std::string& table);
    // A failure naming a table the database does not hold.
    [[noreturn]] void NoSuchTable(const std::string& table) const;
    // The log lines the database wrote since the last call; the session
    // keeps them all for Log().
    std::vector<std::string> TakeLog();
    // Every log line since the database was opened.
    const std::vector<std::string>& Log();
    // Fails with what, followed by the library's own lines unless --verbose
    // prints the whole log anyway.
    [[noreturn]] void Fail(const std::string& what, const std::vector<std::string>& lines) const;
    // Takes the rest of the log and releases the database without ever
    // writing it back: the tool only reads.
    void Close();

  private:
    std::unique_ptr<DbDatabase> m_db;
    std::string m_file;
    bool m_progress = false;
    std::vector<std::string> m_log;
};

class Command {
  public:
    virtual ~Command() = default;
    // Declares options and positionals, help text and examples.
    virtual void Define(CLI::App& app) = 0;
    // Throws ToolError (or lets library exceptions through) on failure.
    virtual void Run(Session& session) = 0;
};

struct CommandEntry {
    const char* name;
    const char* summary;
    int rank;  // place in the help listing
    std::unique_ptr<Command> (*make)();
};

std::vector<CommandEntry>& RegisteredCommands();

template <class T>
struct RegisterCommand {
    RegisterCommand(const char* name, const char* summary, int rank) {
        RegisteredCommands().push_back({name, summary, rank, []() -> std::unique_ptr<Command> {
                                            return std::make_unique<T>();
                                        }});
    }
};

// Refuses an empty argument: a quoted "" is a mistake, never "not given".
extern const CLI::Validator kNotEmpty;

// Adds the optional FILE positional. Every command takes it first; without
// it the bundled example catalogue is used.
void AddFileArgument(CLI::App& app, std::string& file);
// Every command takes FILE first and at most one argument after it, both
// optional on the command line so that a single argument can be either. A
// single argument is the FILE only when the second argument may be left out
// and it ends in ".xml" or ".mdb" (in any case); a missing required second
// argument is a usage error.
void ResolveFileArgument(std::string& file, std::string& second, bool secondRequired,
                         const char* secondName);
// For commands with FILE and then several required arguments, each given
// with its name: when one argument is missing, or more are and FILE does not
// end in ".xml" or ".mdb", FILE was left out and the others move up. Then a
// missing argument is a usage error naming the first one missing.
void ResolveLeadingFile(std::string& file,
                        const std::vector<std::pair<std::string*, const char*>>& arguments);

}  // namespace korvan::cli
