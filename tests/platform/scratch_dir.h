// A scratch directory for tests that touch files, and whole-file helpers.
#pragma once

#include <korvan/platform.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

// A fresh directory, removed with everything in it at the end of the test.
class ScratchDir {
  public:
    ScratchDir() {
        std::random_device random;
        for (;;) {
            m_path = ::testing::TempDir() + "korvan-" + std::to_string(random());
            if (std::filesystem::create_directory(m_path)) {
                break;
            }
        }
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    std::string Path(const std::string& name) const { return m_path + "/" + name; }
    CString File(const std::string& name) const { return CString(Path(name).c_str()); }
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

inline void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
