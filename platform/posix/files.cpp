// The file system primitives on POSIX systems (file descriptors, fsync of
// files and directories, rename, process liveness through kill(pid, 0)),
// the directory part of a path, and whether standard error is a terminal.
#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace korvan {
namespace {

FileStatus Errno(int error) {
    return FileStatus::Failure(CString(std::strerror(error)));
}

std::string NativePath(const CString& path) {
    return path.ToUtf8();
}

// A directory in DirectoryOf form as a path the system opens.
std::string NativeDirectory(const CString& directory) {
    return directory.IsEmpty() ? std::string(".") : NativePath(directory);
}

// What a regular file is checked for before it is opened: a directory has
// the system's reason, anything else that is not a regular file ours.
FileStatus CheckRegular(const struct stat& info) {
    if (S_ISDIR(info.st_mode)) {
        return Errno(EISDIR);
    }
    return S_ISREG(info.st_mode) ? FileStatus() : FileStatus::NotRegularFile();
}

int OpenRetrying(const std::string& path, int flags, mode_t mode = 0) {
    int fd;
    do {
        fd = open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

class PosixReadableFile : public ReadableFile {
  public:
    PosixReadableFile(int fd, uint64_t size) : m_fd(fd), m_size(size) {}
    ~PosixReadableFile() override { close(m_fd); }
    PosixReadableFile(const PosixReadableFile&) = delete;
    PosixReadableFile& operator=(const PosixReadableFile&) = delete;

    FileStatus Read(void* buffer, size_t size, size_t& count) override {
        ssize_t result;
        do {
            result = read(m_fd, buffer, std::min<size_t>(size, SSIZE_MAX));
        } while (result < 0 && errno == EINTR);
        if (result < 0) {
            count = 0;
            return Errno(errno);
        }
        count = static_cast<size_t>(result);
        return FileStatus();
    }

    FileStatus Seek(uint64_t offset) override {
        if (offset > static_cast<uint64_t>(LLONG_MAX) ||
            lseek(m_fd, static_cast<off_t>(offset), SEEK_SET) < 0) {
            return Errno(offset > static_cast<uint64_t>(LLONG_MAX) ? EINVAL : errno);
        }
        return FileStatus();
    }

    uint64_t Size() const override { return m_size; }

  private:
    int m_fd;
    uint64_t m_size;
};

class PosixWritableFile : public WritableFile {
  public:
    explicit PosixWritableFile(int fd) : m_fd(fd) {}
    ~PosixWritableFile() override {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    PosixWritableFile(const PosixWritableFile&) = delete;
    PosixWritableFile& operator=(const PosixWritableFile&) = delete;

    FileStatus Write(const void* data, size_t size) override {
        const char* bytes = static_cast<const char*>(data);
        while (size > 0) {
            const ssize_t written = write(m_fd, bytes, std::min<size_t>(size, SSIZE_MAX));
            if (written < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return Errno(errno);
            }
            bytes += written;
            size -= static_cast<size_t>(written);
        }
        return FileStatus();
    }

    FileStatus Sync() override { return fsync(m_fd) == 0 ? FileStatus() : Errno(errno); }

    FileStatus Close() override {
        const int fd = m_fd;
        m_fd = -1;
        // After EINTR the descriptor is closed all the same on Linux.
        return close(fd) == 0 || errno == EINTR ? FileStatus() : Errno(errno);
    }

  private:
    int m_fd;
};

class PosixFileSystem : public FileSystem {
  public:
    FileStatus OpenForReading(const CString& path, std::unique_ptr<ReadableFile>& file) override {
        file.reset();
        const std::string name = NativePath(path);
        struct stat info;
        if (stat(name.c_str(), &info) != 0) {
            return Errno(errno);
        }
        // Checked before opening, which for a device may do something, and
        // again after, in case the file changed between: O_NONBLOCK keeps the
        // open of a FIFO from waiting for a writer.
        FileStatus status = CheckRegular(info);
        if (!status) {
            return status;
        }
        const int fd = OpenRetrying(name, O_RDONLY | O_NONBLOCK | O_NOCTTY);
        if (fd < 0) {
            return Errno(errno);
        }
        if (fstat(fd, &info) != 0) {
            status = Errno(errno);
        } else {
            status = CheckRegular(info);
        }
        if (!status) {
            close(fd);
            return status;
        }
        file = std::make_unique<PosixReadableFile>(fd, static_cast<uint64_t>(info.st_size));
        return status;
    }

    // Asks the system rather than opening the file: an open for writing
    // would tell watchers of the file that it was written.
    FileStatus CheckWritable(const CString& path) override {
        const std::string name = NativePath(path);
        struct stat info;
        if (stat(name.c_str(), &info) != 0) {
            return Errno(errno);
        }
        const FileStatus status = CheckRegular(info);
        if (!status) {
            return status;
        }
        return faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) == 0 ? FileStatus()
                                                                        : Errno(errno);
    }

    bool Exists(const CString& path) override {
        struct stat info;
        return stat(NativePath(path).c_str(), &info) == 0 || (errno != ENOENT && errno != ENOTDIR);
    }

    FileStatus CreateNew(const CString& path, const CString& model,
                         std::unique_ptr<WritableFile>& file) override {
        file.reset();
        const std::string name = NativePath(path);
        const int fd = OpenRetrying(name, O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY, 0666);
        if (fd < 0) {
            return Errno(errno);
        }
        struct stat info;
        if (stat(NativePath(model).c_str(), &info) == 0) {
            if (fchown(fd, info.st_uid, info.st_gid) != 0) {
                // Only a privileged writer can keep the owner; the
                // permissions are kept always.
            }
            if (fchmod(fd, info.st_mode & 07777) != 0) {
                const int error = errno;
                close(fd);
                unlink(name.c_str());
                return Errno(error);
            }
        }
        file = std::make_unique<PosixWritableFile>(fd);
        return FileStatus();
    }

    FileStatus Rename(const CString& from, const CString& to) override {
        return rename(NativePath(from).c_str(), NativePath(to).c_str()) == 0 ? FileStatus()
                                                                             : Errno(errno);
    }

    // A directory that cannot be opened, or a file system that cannot sync
    // directories, leaves the rename as durable as the system makes it.
    FileStatus SyncDirectory(const CString& directory) override {
        const int fd = OpenRetrying(NativeDirectory(directory), O_RDONLY | O_DIRECTORY);
        if (fd < 0) {
            return FileStatus();
        }
        const bool synced = fsync(fd) == 0 || errno == EINVAL || errno == ENOTSUP;
        const int error = errno;
        close(fd);
        return synced ? FileStatus() : Errno(error);
    }

    FileStatus Remove(const CString& path) override {
        return unlink(NativePath(path).c_str()) == 0 ? FileStatus() : Errno(errno);
    }

    CString FollowLinks(const CString& path) override {
        CString current = path;
        // As many links as the system itself follows in one path.
        for (int hops = 0; hops < 40; ++hops) {
            const std::string name = NativePath(current);
            struct stat info;
            if (lstat(name.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
                break;
            }
            std::string target(PATH_MAX, '\0');
            const ssize_t length = readlink(name.c_str(), target.data(), target.size());
            if (length <= 0 || static_cast<size_t>(length) >= target.size()) {
                break;
            }
            target.resize(static_cast<size_t>(length));
            current = target[0] == '/' ? CString(target.c_str())
                                       : DirectoryOf(current) + CString(target.c_str());
        }
        return current;
    }

    bool SameFile(const CString& a, const CString& b) override {
        struct stat first;
        struct stat second;
        return stat(NativePath(a).c_str(), &first) == 0 &&
               stat(NativePath(b).c_str(), &second) == 0 && first.st_dev == second.st_dev &&
               first.st_ino == second.st_ino;
    }

    std::vector<CString> ListDirectory(const CString& directory) override {
        std::vector<CString> names;
        DIR* listing = opendir(NativeDirectory(directory).c_str());
        if (listing == nullptr) {
            return names;
        }
        while (const dirent* entry = readdir(listing)) {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
                names.emplace_back(entry->d_name);
            }
        }
        closedir(listing);
        return names;
    }

    uint64_t CurrentProcessId() override { return static_cast<uint64_t>(getpid()); }

    // A process of another user answers EPERM: it runs all the same.
    bool IsProcessAlive(uint64_t id) override {
        if (id == 0 || id > static_cast<uint64_t>(INT_MAX)) {
            return false;
        }
        return kill(static_cast<pid_t>(id), 0) == 0 || errno == EPERM;
    }
};

}  // namespace

FileSystem& SystemFiles() {
    static PosixFileSystem files;
    return files;
}

bool StandardErrorIsTerminal() {
    return isatty(STDERR_FILENO) != 0;
}

CString DirectoryOf(const CString& path) {
    return path.Left(path.ReverseFind(L'/') + 1);
}

}  // namespace korvan
