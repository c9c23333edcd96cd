// tools/main.cpp - the korvan command line: global options, the registered
// commands, and the mapping of every failure to a message and an exit code.
#include "command.h"

#include "platform/process.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace korvan::cli {
namespace {

const char* const kFooter =
    R"(FILE comes first and may be left out: every command then reads the bundled
example catalogue (as --example does). Run "korvan COMMAND --help" for the
arguments and examples of a command.

Examples:
  korvan tables
  korvan schema i_beams
  korvan query "select designation, mass from i_beams where mass > 30 order by mass desc"
  korvan query catalogue.xml "select * from parts" --format csv
  korvan export catalogue.xml parts -o parts.csv
  korvan -v log catalogue.xml

Exit status: 0 success, 1 a file or query problem (with the library's own
message on standard error), 2 a usage error.)";

std::string WithUnixLineEnds(std::string text) {
    for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at)) {
        text.erase(at, 1);
    }
    return text;
}

// Runs fn; returns 0, or the exit code of its failure with the message.
template <class Fn>
int Guarded(Fn fn, std::string& message) {
    try {
        fn();
        return 0;
    } catch (const ToolError& e) {
        message = e.what();
        return e.ExitCode();
    } catch (DbException* e) {
        message = e->Message().ToUtf8();
        e->Delete();
    } catch (CException* e) {
        wchar_t text[1024] = L"";
        e->GetErrorMessage(text, 1024);
        e->Delete();
        message = text[0] ? CString(text).ToUtf8() : "the library failed without a message";
    } catch (const CAtlException& e) {
        char text[64];
        std::snprintf(text, sizeof text, "the library failed with error 0x%08X",
                      static_cast<unsigned>(e.m_hr));
        message = text;
    } catch (const std::bad_alloc&) {
        message = "out of memory";
    } catch (const std::exception& e) {
        message = e.what();
    } catch (...) {
        message = "unexpected failure";
    }
    return kExitFailure;
}

}  // namespace
}  // namespace korvan::cli

int main(int argc, char** argv) {
    using namespace korvan::cli;
    korvan::UseUtf8StandardStreams();
    std::ios::sync_with_stdio(false);
    // CLI11 takes the arguments last first, without the program's name.
    std::vector<std::string> arguments = korvan::CommandLineArguments(argc, argv);
    std::reverse(arguments.begin(), arguments.end());
    if (!arguments.empty()) {
        arguments.pop_back();
    }

    Session session;
    CLI::App app("Reads, inspects and queries korvan catalogue databases.", "korvan");
    app.set_version_flag("--version", "korvan " KORVAN_VERSION);
    app.add_flag("-v,--verbose", session.verbose,
                 "afterwards print the database's message log (analysis lines, timings) "
                 "to standard error");
    app.add_flag("--example", session.example, "read the bundled example catalogue");
    app.require_subcommand(1);
    app.fallthrough();  // global options are accepted after the command too
    // "/path" is a file on every system, never a Windows-style option (the
    // subcommands take this setting over from here).
    app.allow_windows_style_options(false);

    std::vector<CommandEntry> entries = RegisteredCommands();
    std::sort(entries.begin(), entries.end(),
              [](const CommandEntry& a, const CommandEntry& b) { return a.rank < b.rank; });
    std::vector<std::pair<CLI::App*, std::unique_ptr<Command>>> commands;
    for (const CommandEntry& entry : entries) {
        CLI::App* sub = app.add_subcommand(entry.name, entry.summary);
        std::unique_ptr<Command> command = entry.make();
        command->Define(*sub);
        commands.emplace_back(sub, std::move(command));
    }
    app.footer(kFooter);

    try {
        app.parse(arguments);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : kExitUsage;
    }

    Command* chosen = nullptr;
    for (const auto& [sub, command] : commands) {
        if (sub->parsed()) {
            chosen = command.get();
        }
    }
    std::string message;
    int code = Guarded(
        [&] {
            chosen->Run(session);
            session.Close();
        },
        message);
    if (code != 0) {
        std::string ignored;
        Guarded([&] { session.Close(); }, ignored);
    }
    if (session.verbose) {
        for (const std::string& line : session.Log()) {
            std::cerr << WithUnixLineEnds(line) << '\n';
        }
    }
    if (!std::cout.flush() && code == 0) {
        message = "cannot write to standard output";
        code = kExitFailure;
    }
    if (code != 0) {
        std::cerr << "korvan: " << WithUnixLineEnds(message) << '\n';
    }
    if (code == kExitUsage) {
        std::cerr << "Run with --help for more information.\n";
    }
    return code;
}
