// A file system for tests that passes every call on to the system's own and
// fails the ones it is told to: an open, the Nth write, a sync, the rename,
// the directory sync, a read after so many bytes; reads can be made short.
#pragma once

#include "platform/files.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

class FaultyFiles : public korvan::FileSystem {
  public:
    // Each failure carries its own reason, so a test can see it arrive.
    static korvan::FileStatus Injected(const char* what) {
        return korvan::FileStatus::Failure(CString((std::string("injected: ") + what).c_str()));
    }

    bool failOpen = false;
    bool failCheckWritable = false;
    bool failCreate = false;
    int failWrite = 0;  // the number of the write call that fails, from 1; 0 none
    bool failSync = false;
    bool failClose = false;
    bool failRename = false;
    bool failSyncDirectory = false;
    size_t readLimit = std::numeric_limits<size_t>::max();          // bytes at most per read
    uint64_t failReadAfter = std::numeric_limits<uint64_t>::max();  // bytes read before a failure
    int64_t sizeError = 0;  // added to the size a file reports when opened

    int writes = 0;  // write calls so far

    korvan::FileStatus OpenForReading(const CString& path,
                                      std::unique_ptr<korvan::ReadableFile>& file) override {
        if (failOpen) {
            return Injected("open");
        }
        std::unique_ptr<korvan::ReadableFile> real;
        const korvan::FileStatus status = m_system.OpenForReading(path, real);
        if (status) {
            file = std::make_unique<Reader>(*this, std::move(real));
        }
        return status;
    }
    korvan::FileStatus CheckWritable(const CString& path) override {
        return failCheckWritable ? Injected("not writable") : m_system.CheckWritable(path);
    }
    bool Exists(const CString& path) override { return m_system.Exists(path); }
    korvan::FileStatus CreateNew(const CString& path, const CString& model,
                                 std::unique_ptr<korvan::WritableFile>& file) override {
        if (failCreate) {
            return Injected("create");
        }
        std::unique_ptr<korvan::WritableFile> real;
        const korvan::FileStatus status = m_system.CreateNew(path, model, real);
        if (status) {
            file = std::make_unique<Writer>(*this, std::move(real));
        }
        return status;
    }
    korvan::FileStatus Rename(const CString& from, const CString& to) override {
        return failRename ? Injected("rename") : m_system.Rename(from, to);
    }
    korvan::FileStatus SyncDirectory(const CString& directory) override {
        return failSyncDirectory ? Injected("directory sync") : m_system.SyncDirectory(directory);
    }
    korvan::FileStatus Remove(const CString& path) override { return m_system.Remove(path); }
    CString FollowLinks(const CString& path) override { return m_system.FollowLinks(path); }
    bool SameFile(const CString& a, const CString& b) override { return m_system.SameFile(a, b); }
    std::vector<CString> ListDirectory(const CString& directory) override {
        return m_system.ListDirectory(directory);
    }
    uint64_t CurrentProcessId() override { return m_system.CurrentProcessId(); }
    bool IsProcessAlive(uint64_t id) override { return m_system.IsProcessAlive(id); }

  private:
    class Reader : public korvan::ReadableFile {
      public:
        Reader(FaultyFiles& owner, std::unique_ptr<korvan::ReadableFile> real)
            : m_owner(owner), m_real(std::move(real)) {}
        korvan::FileStatus Read(void* buffer, size_t size, size_t& count) override {
            if (m_read >= m_owner.failReadAfter) {
                count = 0;
                return Injected("read");
            }
            size = std::min({size, m_owner.readLimit, m_owner.failReadAfter - m_read});
            const korvan::FileStatus status = m_real->Read(buffer, size, count);
            m_read += count;
            return status;
        }
        korvan::FileStatus Seek(uint64_t offset) override {
            m_read = offset;
            return m_real->Seek(offset);
        }
        uint64_t Size() const override { return m_real->Size() + m_owner.sizeError; }

      private:
        FaultyFiles& m_owner;
        std::unique_ptr<korvan::ReadableFile> m_real;
        uint64_t m_read = 0;
    };

    class Writer : public korvan::WritableFile {
      public:
        Writer(FaultyFiles& owner, std::unique_ptr<korvan::WritableFile> real)
            : m_owner(owner), m_real(std::move(real)) {}
        korvan::FileStatus Write(const void* data, size_t size) override {
            return ++m_owner.writes == m_owner.failWrite ? Injected("write")
                                                         : m_real->Write(data, size);
        }
        korvan::FileStatus Sync() override {
            return m_owner.failSync ? Injected("sync") : m_real->Sync();
        }
        korvan::FileStatus Close() override {
            return m_owner.failClose ? Injected("close") : m_real->Close();
        }

      private:
        FaultyFiles& m_owner;
        std::unique_ptr<korvan::WritableFile> m_real;
    };

    korvan::FileSystem& m_system = korvan::SystemFiles();
};
