// The file operations that are the same on every system - reading a whole
// file, the read check, atomic replacement with its temporaries - written
// on the primitives of the installed FileSystem, and the installation.
#include "platform/files.h"

#include <utility>

namespace korvan {
namespace {

FileSystem* g_installed = nullptr;

// Bytes asked for per read once the expected size has been read (the read
// that finds the end, or finds that the file grew).
constexpr size_t kProbe = 4096;

// The id in "NAME.tmpID-N" when name has that form for prefix "NAME.tmp".
bool TemporaryWriter(const CString& name, const CString& prefix, uint64_t& id) {
    if (name.GetLength() <= prefix.GetLength() || name.Left(prefix.GetLength()) != prefix) {
        return false;
    }
    const std::wstring rest = name.Mid(prefix.GetLength()).GetString();
    const size_t dash = rest.find(L'-');
    const auto digits = [](const std::wstring& text) {
        return !text.empty() && text.size() <= 19 &&
               text.find_first_not_of(L"0123456789") == std::wstring::npos;
    };
    if (dash == std::wstring::npos || !digits(rest.substr(0, dash)) ||
        !digits(rest.substr(dash + 1))) {
        return false;
    }
    id = std::stoull(rest.substr(0, dash));
    return true;
}

}  // namespace

FileSystem& Files() {
    return g_installed != nullptr ? *g_installed : SystemFiles();
}

ScopedFileSystem::ScopedFileSystem(FileSystem& replacement) : m_previous(g_installed) {
    g_installed = &replacement;
}

ScopedFileSystem::~ScopedFileSystem() {
    g_installed = m_previous;
}

FileStatus ReadWholeFile(const CString& path, std::string& bytes) {
    bytes.clear();
    std::unique_ptr<ReadableFile> file;
    FileStatus status = Files().OpenForReading(path, file);
    if (!status) {
        return status;
    }
    const uint64_t expected = file->Size();
    if (expected > bytes.max_size() - kProbe) {
        return FileStatus::Failure(L"File too large");
    }
    // One allocation for the whole file and the probe for its end.
    bytes.resize(static_cast<size_t>(expected) + kProbe);
    size_t total = 0;
    for (;;) {
        size_t count = 0;
        status = file->Read(bytes.data() + total, bytes.size() - total, count);
        if (!status) {
            bytes.clear();
            return status;
        }
        if (count == 0) {
            break;
        }
        total += count;
        if (total > expected) {
            bytes.clear();
            return FileStatus::Failure(L"the file grew while it was read");
        }
    }
    bytes.resize(total);
    return status;
}

FileStatus CheckReadable(const CString& path) {
    std::unique_ptr<ReadableFile> file;
    return Files().OpenForReading(path, file);
}

// ---------------------------------------------------------------------------
// AtomicFile.

AtomicFile::~AtomicFile() {
    Abandon();
}

void AtomicFile::Abandon() {
    if (m_file) {
        m_file.reset();
        (void)Files().Remove(m_temporary);
    }
    m_temporary.Empty();
}

FileStatus AtomicFile::Open(const CString& target) {
    Abandon();
    FileSystem& files = Files();
    m_target = files.FollowLinks(target);
    if (files.Exists(m_target)) {
        m_status = files.CheckWritable(m_target);
        if (!m_status) {
            return m_status;
        }
    }
    RemoveStaleTemporaries();
    const CString prefix = m_target + L".tmp" + CString(std::to_wstring(files.CurrentProcessId()));
    // A number already taken belongs to another save of this process, or to
    // a writer that still runs.
    for (int attempt = 0; attempt < 100; ++attempt) {
        m_temporary = prefix + L"-" + CString(std::to_wstring(attempt));
        m_status = files.CreateNew(m_temporary, m_target, m_file);
        if (m_status || !files.Exists(m_temporary)) {
            break;
        }
    }
    if (!m_status) {
        m_file.reset();
        m_temporary.Empty();
    }
    return m_status;
}

FileStatus AtomicFile::Write(const void* data, size_t size) {
    if (m_status && !m_file) {
        m_status = FileStatus::Failure(L"the file is not open");
    }
    if (m_status) {
        m_status = m_file->Write(data, size);
    }
    return m_status;
}

FileStatus AtomicFile::Commit() {
    if (m_status && !m_file) {
        m_status = FileStatus::Failure(L"the file is not open");
    }
    FileSystem& files = Files();
    if (m_status) {
        m_status = m_file->Sync();
    }
    if (m_status) {
        m_status = m_file->Close();
    }
    if (m_status) {
        m_status = files.Rename(m_temporary, m_target);
    }
    if (!m_status) {
        Abandon();
        return m_status;
    }
    m_file.reset();
    m_temporary.Empty();
    // The target is replaced; the directory sync makes that survive a crash,
    // and a failure here means it may not.
    m_status = files.SyncDirectory(DirectoryOf(m_target));
    return m_status;
}

// A writer killed during a save leaves its temporary behind: one that no
// running process owns is removed by the next save of the same file.
void AtomicFile::RemoveStaleTemporaries() const {
    FileSystem& files = Files();
    const CString directory = DirectoryOf(m_target);
    const CString prefix = m_target.Mid(directory.GetLength()) + L".tmp";
    const uint64_t self = files.CurrentProcessId();
    for (const CString& name : files.ListDirectory(directory)) {
        uint64_t writer = 0;
        if (TemporaryWriter(name, prefix, writer) && writer != self &&
            !files.IsProcessAlive(writer)) {
            (void)files.Remove(directory + name);
        }
    }
}

}  // namespace korvan
