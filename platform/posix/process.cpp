// The process of a command-line program on a POSIX system: argv is UTF-8
// already and the streams carry bytes as they are.
#include "platform/process.h"

#include <unistd.h>

#include <climits>

namespace korvan {

std::vector<std::string> CommandLineArguments(int argc, char** argv) {
    return std::vector<std::string>(argv, argv + argc);
}

void UseUtf8StandardStreams() {}

CString ExecutablePath() {
    std::string path(PATH_MAX, '\0');
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0 || static_cast<size_t>(length) >= path.size()) {
        return CString();
    }
    path.resize(static_cast<size_t>(length));
    return CString(path.c_str());
}

}  // namespace korvan
