// platform/files.h - the library's one way to files: reading a file whole or
// in chunks, checking that a file can be read or written, and replacing a
// file atomically. Internal (not installed); exported from the shared
// library only because the korvan tool writes its exports through it.
//
// Two layers. FileSystem is the small set of primitives each operating
// system implements (platform/posix/files.cpp, platform/windows/files.cpp):
// opening, reading, writing, syncing, renaming, listing, process liveness.
// The operations built on them - ReadWholeFile, CheckReadable, AtomicFile -
// are written once, in files.cpp, for every system. Paths are CStrings and
// failures carry the system's own words for the reason ("No such file or
// directory", "Permission denied"), so nothing here names a system type.
//
// Only regular files are ever opened: a directory, a FIFO, a device or a
// socket is refused at once with "not a regular file" (a directory with the
// system's "Is a directory"), and no open can block.
//
// Every call goes through the installed FileSystem (Files()), which is the
// system's own unless a test has put another in its place with
// ScopedFileSystem: that is how tests make the Nth write, a rename or a sync
// fail. The library is used from one thread at a time; so is this.
#pragma once

#include <korvan/platform.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace korvan {

// The outcome of a file operation: success, or failure with the reason.
class [[nodiscard]] FileStatus {
  public:
    FileStatus() = default;  // success
    static FileStatus Failure(const CString& reason) {
        FileStatus status;
        status.m_failed = true;
        status.m_reason = reason;
        return status;
    }
    // The reason every system gives for something that is not a regular
    // file (and not a directory, which has a reason of its own).
    static FileStatus NotRegularFile() { return Failure(L"not a regular file"); }

    bool Ok() const { return !m_failed; }
    explicit operator bool() const { return Ok(); }
    const CString& Reason() const { return m_reason; }

  private:
    bool m_failed = false;
    CString m_reason;
};

// A regular file open for reading.
class KORVAN_API ReadableFile {
  public:
    virtual ~ReadableFile() = default;
    // Reads at most size bytes into buffer and sets count to the number
    // read: 0 only at the end of the file. Fewer bytes than asked for do not
    // mean the end has come.
    virtual FileStatus Read(void* buffer, size_t size, size_t& count) = 0;
    // Moves to offset, counted from the start, for the next Read.
    virtual FileStatus Seek(uint64_t offset) = 0;
    // The size of the file when it was opened.
    virtual uint64_t Size() const = 0;
};

// A new file open for writing. Destroying it closes it without syncing.
class KORVAN_API WritableFile {
  public:
    virtual ~WritableFile() = default;
    // Writes all size bytes (a partial write is continued).
    virtual FileStatus Write(const void* data, size_t size) = 0;
    // Returns once everything written is on the disk.
    virtual FileStatus Sync() = 0;
    virtual FileStatus Close() = 0;
};

// The primitives of one operating system's file system.
class KORVAN_API FileSystem {
  public:
    virtual ~FileSystem() = default;
    // Opens a regular file for reading; refuses anything else at once.
    virtual FileStatus OpenForReading(const CString& path, std::unique_ptr<ReadableFile>& file) = 0;
    // Whether path, which must be a regular file, may be written. Never
    // blocks, creates, truncates or changes the file.
    virtual FileStatus CheckWritable(const CString& path) = 0;
    // Whether anything is at path, following symbolic links.
    virtual bool Exists(const CString& path) = 0;
    // Creates path for writing; fails when it exists. The new file gets the
    // permissions of model when model exists, the defaults otherwise.
    virtual FileStatus CreateNew(const CString& path, const CString& model,
                                 std::unique_ptr<WritableFile>& file) = 0;
    // Puts the file from in the place of to in one step, replacing to.
    virtual FileStatus Rename(const CString& from, const CString& to) = 0;
    // Makes the renames done in directory durable (a directory of
    // DirectoryOf form; nothing to do where a rename is durable itself).
    virtual FileStatus SyncDirectory(const CString& directory) = 0;
    virtual FileStatus Remove(const CString& path) = 0;
    // Where path leads through symbolic links: path itself when it is no
    // link, and for a link to nothing the path its target would have.
    virtual CString FollowLinks(const CString& path) = 0;
    // Whether both paths exist and name the same file.
    virtual bool SameFile(const CString& a, const CString& b) = 0;
    // The names (not paths) of the entries of directory (DirectoryOf form);
    // empty when it cannot be read.
    virtual std::vector<CString> ListDirectory(const CString& directory) = 0;
    virtual uint64_t CurrentProcessId() = 0;
    // False only when no process with that id runs any more.
    virtual bool IsProcessAlive(uint64_t id) = 0;
};

// The file system of this operating system.
KORVAN_API FileSystem& SystemFiles();
// The file system every operation goes through.
KORVAN_API FileSystem& Files();

// Puts another file system in place of the installed one for its lifetime.
class KORVAN_API ScopedFileSystem {
  public:
    explicit ScopedFileSystem(FileSystem& replacement);
    ~ScopedFileSystem();
    ScopedFileSystem(const ScopedFileSystem&) = delete;
    ScopedFileSystem& operator=(const ScopedFileSystem&) = delete;

  private:
    FileSystem* m_previous;
};

// The directory part of path with its trailing separator ("data/" of
// "data/cat.xml"), or "" for a bare name in the current directory; a
// directory's path plus an entry's name is the entry's path.
KORVAN_API CString DirectoryOf(const CString& path);

// Whether the process's standard error is a terminal (the tool shows
// progress there only then).
KORVAN_API bool StandardErrorIsTerminal();

// The whole content of a regular file. A file that grows while it is read
// is refused, so the read is bounded by the size the file had.
KORVAN_API FileStatus ReadWholeFile(const CString& path, std::string& bytes);

// Whether path opens for reading (a regular file, permission to read).
KORVAN_API FileStatus CheckReadable(const CString& path);

// Replaces a file in one step. Open creates a temporary file beside the
// target (through a symbolic link, beside the file it points at, which is
// what gets replaced); Write appends to it; Commit syncs it, renames it over
// the target and syncs the directory. The target is never written in place:
// until Commit succeeds it is exactly as it was, and a failed or abandoned
// AtomicFile removes its temporary.
//
// The temporary is named "TARGET.tmpPID-N" (the writer's process id and a
// number). Open removes temporaries of that form that writers which no
// longer run have left behind; those of live writers stay.
class KORVAN_API AtomicFile {
  public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // Fails when the target exists but is no regular file or cannot be
    // written (renaming over it would ignore its permissions).
    FileStatus Open(const CString& target);
    // After a failure writes nothing more; Commit reports the first one.
    FileStatus Write(const void* data, size_t size);
    FileStatus Commit();

  private:
    void Abandon();
    void RemoveStaleTemporaries() const;

    CString m_target;  // the file replaced, links followed
    CString m_temporary;
    std::unique_ptr<WritableFile> m_file;
    FileStatus m_status;
};

}  // namespace korvan
