// tools/command.cpp - the command registry and the arguments every command
// shares.
#include "command.h"

#include <algorithm>
#include <cctype>

namespace korvan::cli {
namespace {

bool NamesDatabaseFile(const std::string& name) {
    if (name.size() < 4) {
        return false;
    }
    std::string extension = name.substr(name.size() - 4);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".xml" || extension == ".mdb";
}

}  // namespace

std::vector<CommandEntry>& RegisteredCommands() {
    static std::vector<CommandEntry> commands;
    return commands;
}

const CLI::Validator kNotEmpty(
    [](std::string& value) { return value.empty() ? "an empty argument is not allowed" : ""; }, "");

void AddFileArgument(CLI::App& app, std::string& file) {
    app.add_option("FILE", file,
                   "database file: .xml, or an Access .mdb file read through ODBC; "
                   "without it the bundled example catalogue")
        ->check(kNotEmpty);
}

void ResolveFileArgument(std::string& file, std::string& second, bool secondRequired,
                         const char* secondName) {
    if (second.empty() && !file.empty() && (secondRequired || !NamesDatabaseFile(file))) {
        std::swap(file, second);
    }
    if (secondRequired && second.empty()) {
        throw ToolError(kExitUsage, std::string(secondName) + " is required");
    }
}

void ResolveLeadingFile(std::string& file,
                        const std::vector<std::pair<std::string*, const char*>>& arguments) {
    const size_t given = static_cast<size_t>(std::count_if(
        arguments.begin(), arguments.end(), [](const auto& a) { return !a.first->empty(); }));
    // FILE was left out when an argument is missing and it names no database
    // file, or when exactly one is missing.
    if (!file.empty() && given < arguments.size() &&
        (given + 1 == arguments.size() || !NamesDatabaseFile(file))) {
        for (size_t i = arguments.size() - 1; i > 0; --i) {
            *arguments[i].first = *arguments[i - 1].first;
        }
        *arguments[0].first = file;
        file.clear();
    }
    for (const auto& [value, name] : arguments) {
        if (value->empty()) {
            throw ToolError(kExitUsage, std::string(name) + " is required");
        }
    }
}

}  // namespace korvan::cli
