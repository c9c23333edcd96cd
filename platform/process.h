// Internal: what a command-line program needs of its process: its
// arguments, its standard streams and where it lies. Exported from the shared
// library only because the korvan tool uses it.
#pragma once

#include <korvan/platform.h>

#include <string>
#include <vector>

namespace korvan {

// The program's arguments as UTF-8, whatever the system's code page: on
// Windows they come from the wide command line, elsewhere they are argv.
KORVAN_API std::vector<std::string> CommandLineArguments(int argc, char** argv);

// Makes standard output and standard error carry the program's UTF-8 bytes
// unchanged: no line-end translation, and a console shows UTF-8.
KORVAN_API void UseUtf8StandardStreams();

// The path of the running program; empty when the system does not tell.
KORVAN_API CString ExecutablePath();

}  // namespace korvan
