// The file system primitives on Windows (handles, FlushFileBuffers, the
// replacement of a file by ReplaceFileW or MoveFileExW written through,
// process liveness through process handles), the directory part of a path,
// and whether standard error is a console.
//
// The reasons of the failures every system has ("No such file or
// directory", "Permission denied", "Is a directory") are worded as on every
// other system, so that both builds report them alike; the rest are the
// system's own words.
#include "platform/files.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace korvan {
namespace {

FileStatus Failure(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_NETPATH:
            return FileStatus::Failure(L"No such file or directory");
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_WRITE_PROTECT:
            return FileStatus::Failure(L"Permission denied");
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return FileStatus::Failure(L"File exists");
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return FileStatus::Failure(L"No space left on device");
        default:
            break;
    }
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    CString reason = length > 0 ? CString(text, static_cast<int>(length)) : CString();
    LocalFree(text);
    reason.TrimRight(L" .\r\n");
    if (reason.IsEmpty()) {
        reason.Format(L"system error %lu", static_cast<unsigned long>(error));
    }
    return FileStatus::Failure(reason);
}

FileStatus LastError() {
    return Failure(GetLastError());
}

FileStatus IsDirectory() {
    return FileStatus::Failure(L"Is a directory");
}

// What is at path, before anything opens it: a directory has its reason, a
// missing file the system's.
FileStatus CheckAttributes(const CString& path) {
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return LastError();
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) ? IsDirectory() : FileStatus();
}

// A handle that is a file on a disk, not a console, a device or a pipe.
FileStatus CheckRegular(HANDLE handle) {
    return GetFileType(handle) == FILE_TYPE_DISK ? FileStatus() : FileStatus::NotRegularFile();
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class Handle {
  public:
    explicit Handle(HANDLE handle) : m_handle(handle) {}
    ~Handle() { Close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    bool Valid() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_handle; }
    HANDLE Release() { return std::exchange(m_handle, INVALID_HANDLE_VALUE); }
    bool Close() { return !Valid() || CloseHandle(Release()) != 0; }

  private:
    HANDLE m_handle;
};

class WindowsReadableFile : public ReadableFile {
  public:
    WindowsReadableFile(HANDLE handle, uint64_t size) : m_handle(handle), m_size(size) {}

    FileStatus Read(void* buffer, size_t size, size_t& count) override {
        DWORD read = 0;
        const auto chunk = static_cast<DWORD>(std::min<size_t>(size, 1u << 30));
        if (!ReadFile(m_handle.get(), buffer, chunk, &read, nullptr)) {
            count = 0;
            return LastError();
        }
        count = read;
        return FileStatus();
    }

    FileStatus Seek(uint64_t offset) override {
        LARGE_INTEGER distance;
        distance.QuadPart = static_cast<LONGLONG>(std::min<uint64_t>(offset, LLONG_MAX));
        if (offset > static_cast<uint64_t>(LLONG_MAX) ||
            !SetFilePointerEx(m_handle.get(), distance, nullptr, FILE_BEGIN)) {
            return offset > static_cast<uint64_t>(LLONG_MAX) ? Failure(ERROR_NEGATIVE_SEEK)
                                                             : LastError();
        }
        return FileStatus();
    }

    uint64_t Size() const override { return m_size; }

  private:
    Handle m_handle;
    uint64_t m_size;
};

class WindowsWritableFile : public WritableFile {
  public:
    explicit WindowsWritableFile(HANDLE handle) : m_handle(handle) {}

    FileStatus Write(const void* data, size_t size) override {
        const char* bytes = static_cast<const char*>(data);
        while (size > 0) {
            DWORD written = 0;
            const auto chunk = static_cast<DWORD>(std::min<size_t>(size, 1u << 30));
            if (!WriteFile(m_handle.get(), bytes, chunk, &written, nullptr)) {
                return LastError();
            }
            bytes += written;
            size -= written;
        }
        return FileStatus();
    }

    FileStatus Sync() override {
        return FlushFileBuffers(m_handle.get()) ? FileStatus() : LastError();
    }

    FileStatus Close() override { return m_handle.Close() ? FileStatus() : LastError(); }

  private:
    Handle m_handle;
};

// The full path of path ("C:\\data\\x" for "\\data\\x" on drive C:); path
// itself should the system not make one.
CString FullPath(const CString& path) {
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFullPathNameW(path, static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) {
            return path;
        }
        if (length < full.size()) {
            full.resize(length);
            return CString(full);
        }
        full.resize(length);
    }
}

// The identity of the file at path, links followed.
bool FileIdentity(const CString& path, BY_HANDLE_FILE_INFORMATION& info) {
    const Handle handle(CreateFileW(path, 0, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return handle.Valid() && GetFileInformationByHandle(handle.get(), &info);
}

class WindowsFileSystem : public FileSystem {
  public:
    FileStatus OpenForReading(const CString& path, std::unique_ptr<ReadableFile>& file) override {
        file.reset();
        FileStatus status = CheckAttributes(path);
        if (!status) {
            return status;
        }
        Handle handle(CreateFileW(path, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!handle.Valid()) {
            return LastError();
        }
        status = CheckRegular(handle.get());
        LARGE_INTEGER size;
        if (status && !GetFileSizeEx(handle.get(), &size)) {
            status = LastError();
        }
        if (status) {
            file = std::make_unique<WindowsReadableFile>(handle.Release(),
                                                         static_cast<uint64_t>(size.QuadPart));
        }
        return status;
    }

    // Opening for writing without writing changes nothing; it is refused
    // for a read-only file, one the user may not write and one another
    // program holds without sharing.
    FileStatus CheckWritable(const CString& path) override {
        FileStatus status = CheckAttributes(path);
        if (!status) {
            return status;
        }
        const Handle handle(CreateFileW(path, GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
        return handle.Valid() ? CheckRegular(handle.get()) : LastError();
    }

    bool Exists(const CString& path) override {
        if (GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES) {
            return true;
        }
        const DWORD error = GetLastError();
        return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
    }

    // The replaced file's attributes and access rights pass to the new one
    // when ReplaceFileW puts it in place, so model has nothing to give here.
    FileStatus CreateNew(const CString& path, const CString& /*model*/,
                         std::unique_ptr<WritableFile>& file) override {
        file.reset();
        Handle handle(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!handle.Valid()) {
            return LastError();
        }
        file = std::make_unique<WindowsWritableFile>(handle.Release());
        return FileStatus();
    }

    // Over an existing file ReplaceFileW, which keeps that file's attributes
    // and access rights; to a new name MoveFileExW. Both write through, so
    // the rename is on the disk when they return. ReplaceFileW is given full
    // paths (Wine's takes no path that starts at the root of the current
    // drive).
    FileStatus Rename(const CString& from, const CString& to) override {
        if (GetFileAttributesW(to) != INVALID_FILE_ATTRIBUTES) {
            if (ReplaceFileW(FullPath(to), FullPath(from), nullptr, REPLACEFILE_WRITE_THROUGH,
                             nullptr, nullptr)) {
                return FileStatus();
            }
            const DWORD error = GetLastError();
            if (error != ERROR_FILE_NOT_FOUND) {
                return Failure(error);
            }
        }
        return MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
                   ? FileStatus()
                   : LastError();
    }

    FileStatus SyncDirectory(const CString& /*directory*/) override { return FileStatus(); }

    FileStatus Remove(const CString& path) override {
        return DeleteFileW(path) ? FileStatus() : LastError();
    }

    // A symbolic link (a reparse point) leads to the final path of what it
    // points at; anything else, a link to nothing included, stays as it is.
    CString FollowLinks(const CString& path) override {
        const DWORD attributes = GetFileAttributesW(path);
        if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
            return path;
        }
        const Handle handle(CreateFileW(path, 0, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS, nullptr));
        if (!handle.Valid()) {
            return path;
        }
        std::wstring target(MAX_PATH, L'\0');
        for (;;) {
            const DWORD length =
                GetFinalPathNameByHandleW(handle.get(), target.data(),
                                          static_cast<DWORD>(target.size()), FILE_NAME_NORMALIZED);
            if (length == 0) {
                return path;
            }
            if (length < target.size()) {
                target.resize(length);
                break;
            }
            target.resize(length + 1);
        }
        const std::wstring_view prefix = L"\\\\?\\";
        if (target.compare(0, prefix.size(), prefix) == 0 && target.size() > 6 &&
            target[5] == L':') {
            target.erase(0, prefix.size());  // "\\?\C:\..." names "C:\..."
        }
        return CString(target);
    }

    bool SameFile(const CString& a, const CString& b) override {
        BY_HANDLE_FILE_INFORMATION first;
        BY_HANDLE_FILE_INFORMATION second;
        return FileIdentity(a, first) && FileIdentity(b, second) &&
               first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
               first.nFileIndexHigh == second.nFileIndexHigh &&
               first.nFileIndexLow == second.nFileIndexLow;
    }

    std::vector<CString> ListDirectory(const CString& directory) override {
        std::vector<CString> names;
        WIN32_FIND_DATAW entry;
        const CString pattern = (directory.IsEmpty() ? CString(L".\\") : directory) + L"*";
        const HANDLE search = FindFirstFileW(pattern, &entry);
        if (search == INVALID_HANDLE_VALUE) {
            return names;
        }
        do {
            const std::wstring_view name = entry.cFileName;
            if (name != L"." && name != L"..") {
                names.emplace_back(name);
            }
        } while (FindNextFileW(search, &entry));
        FindClose(search);
        return names;
    }

    uint64_t CurrentProcessId() override { return GetCurrentProcessId(); }

    // A process of another user cannot be opened: it runs all the same.
    bool IsProcessAlive(uint64_t id) override {
        if (id == 0 || id > 0xFFFFFFFFu) {
            return false;
        }
        const HANDLE process = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                           static_cast<DWORD>(id));
        if (!process) {
            return GetLastError() == ERROR_ACCESS_DENIED;
        }
        const bool running = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
        CloseHandle(process);
        return running;
    }
};

}  // namespace

FileSystem& SystemFiles() {
    static WindowsFileSystem files;
    return files;
}

bool StandardErrorIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

// Both separators count, and a drive ("C:name" is "name" in the current
// directory of drive C:).
CString DirectoryOf(const CString& path) {
    const int slash = std::max(path.ReverseFind(L'/'), path.ReverseFind(L'\\'));
    const int drive = path.GetLength() >= 2 && path[1] == L':' ? 1 : -1;
    return path.Left(std::max(slash, drive) + 1);
}

}  // namespace korvan
