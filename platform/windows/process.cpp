// The process of a command-line program on Windows: arguments from the wide
// command line, standard streams in binary mode with a UTF-8 console, the
// module's own file name.
#include "platform/process.h"

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>

namespace korvan {

std::vector<std::string> CommandLineArguments(int argc, char** argv) {
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!wide) {
        return std::vector<std::string>(argv, argv + argc);
    }
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) {
        arguments.push_back(EncodeUtf8(wide[i]));
    }
    LocalFree(wide);
    return arguments;
}

void UseUtf8StandardStreams() {
    std::fflush(stdout);
    std::fflush(stderr);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}

CString ExecutablePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            return CString();
        }
        if (length < path.size()) {
            path.resize(length);
            return CString(path);
        }
        path.resize(path.size() * 2);
    }
}

}  // namespace korvan
