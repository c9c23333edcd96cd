// Runs a fuzz target's entry point on every file of the given folders (and
// on files given by name), in name order, without fuzzing: how the ordinary
// test run replays the kept corpora, with whatever compiler and sanitizers
// the build uses. A finding ends the program as it ends a fuzzer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::filesystem::path> Inputs(const std::filesystem::path& argument) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(argument)) {
        for (const auto& entry : std::filesystem::directory_iterator(argument)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
    } else {
        files.push_back(argument);
    }
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FOLDER_OR_FILE...\n", argv[0]);
        return 2;
    }
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::vector<std::filesystem::path> files = Inputs(argv[i]);
        if (files.empty()) {
            std::fprintf(stderr, "%s: no inputs in %s\n", argv[0], argv[i]);
            return 1;
        }
        for (const std::filesystem::path& file : files) {
            std::ifstream in(file, std::ios::binary);
            if (!in) {
                std::fprintf(stderr, "%s: cannot read %s\n", argv[0], file.string().c_str());
                return 1;
            }
            const std::string bytes{std::istreambuf_iterator<char>(in),
                                    std::istreambuf_iterator<char>()};
            std::fprintf(stderr, "%s\n", file.filename().string().c_str());
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::printf("%s inputs replayed\n", std::to_string(count).c_str());
    return 0;
}
