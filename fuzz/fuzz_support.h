// What the fuzz targets share: the input as text, a file system held in
// memory (so that reading and saving a database touch no disk and every
// input starts from the same empty state), reading a database in either mode
// into a comparable description, and the check that stops the run on a
// broken promise.
#pragma once

#include <korvan/database.h>

#include "platform/files.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace korvan::fuzz {

inline std::string_view Bytes(const uint8_t* data, size_t size) {
    return std::string_view(reinterpret_cast<const char*>(data), size);
}

// The input as text: UTF-8 when it is valid, otherwise one character per
// byte, so that every input reaches the code under test.
inline CString Text(const uint8_t* data, size_t size) {
    const std::string_view bytes = Bytes(data, size);
    std::wstring text;
    if (!DecodeUtf8(bytes, text)) {
        text.assign(bytes.begin(), bytes.end());
    }
    return CString(std::move(text));
}

// A broken promise: says which, with the details, and ends the run so that
// the fuzzer (or the replay test) reports the input.
[[noreturn]] inline void Fail(const char* what, const std::string& details) {
    std::fprintf(stderr, "FUZZ FINDING: %s\n%s\n", what, details.c_str());
    std::fflush(stderr);
    std::abort();
}

inline void Check(bool holds, const char* what, const std::string& details = std::string()) {
    if (!holds) {
        Fail(what, details);
    }
}

// Files held in memory. Installed for its lifetime in place of the system's
// file system; reads return at most readLimit bytes at a time, so that short
// reads are part of what every input exercises.
class MemoryFiles : public FileSystem {
  public:
    MemoryFiles() : m_scope(*this) {}

    size_t readLimit = SIZE_MAX;

    void Put(const CString& path, std::string_view content) {
        m_files[path] = std::string(content);
    }
    const std::string* Find(const CString& path) const {
        const auto it = m_files.find(path);
        return it == m_files.end() ? nullptr : &it->second;
    }

    FileStatus OpenForReading(const CString& path, std::unique_ptr<ReadableFile>& file) override {
        const std::string* content = Find(path);
        if (content == nullptr) {
            return Missing();
        }
        file = std::make_unique<Reader>(*content, readLimit);
        return FileStatus();
    }
    FileStatus CheckWritable(const CString& path) override {
        return Find(path) != nullptr ? FileStatus() : Missing();
    }
    bool Exists(const CString& path) override { return Find(path) != nullptr; }
    FileStatus CreateNew(const CString& path, const CString& /*model*/,
                         std::unique_ptr<WritableFile>& file) override {
        if (Exists(path)) {
            return FileStatus::Failure(L"File exists");
        }
        m_files[path];
        file = std::make_unique<Writer>(*this, path);
        return FileStatus();
    }
    FileStatus Rename(const CString& from, const CString& to) override {
        const auto it = m_files.find(from);
        if (it == m_files.end()) {
            return Missing();
        }
        std::string content = std::move(it->second);
        m_files.erase(it);
        m_files[to] = std::move(content);
        return FileStatus();
    }
    FileStatus SyncDirectory(const CString& /*directory*/) override { return FileStatus(); }
    FileStatus Remove(const CString& path) override {
        return m_files.erase(path) > 0 ? FileStatus() : Missing();
    }
    CString FollowLinks(const CString& path) override { return path; }
    bool SameFile(const CString& a, const CString& b) override { return a == b && Exists(a); }
    std::vector<CString> ListDirectory(const CString& directory) override {
        std::vector<CString> names;
        for (const auto& [path, content] : m_files) {
            if (DirectoryOf(path) == directory) {
                names.push_back(path.Mid(directory.GetLength()));
            }
        }
        return names;
    }
    uint64_t CurrentProcessId() override { return 1; }
    bool IsProcessAlive(uint64_t /*id*/) override { return true; }

  private:
    static FileStatus Missing() { return FileStatus::Failure(L"No such file or directory"); }

    class Reader : public ReadableFile {
      public:
        Reader(std::string content, size_t limit) : m_content(std::move(content)), m_limit(limit) {}
        FileStatus Read(void* buffer, size_t size, size_t& count) override {
            count = std::min({size, m_limit, m_content.size() - m_at});
            std::copy_n(m_content.data() + m_at, count, static_cast<char*>(buffer));
            m_at += count;
            return FileStatus();
        }
        FileStatus Seek(uint64_t offset) override {
            m_at = static_cast<size_t>(std::min<uint64_t>(offset, m_content.size()));
            return FileStatus();
        }
        uint64_t Size() const override { return m_content.size(); }

      private:
        std::string m_content;
        size_t m_limit;
        size_t m_at = 0;
    };

    class Writer : public WritableFile {
      public:
        Writer(MemoryFiles& owner, const CString& path) : m_owner(owner), m_path(path) {}
        FileStatus Write(const void* data, size_t size) override {
            m_owner.m_files[m_path].append(static_cast<const char*>(data), size);
            return FileStatus();
        }
        FileStatus Sync() override { return FileStatus(); }
        FileStatus Close() override { return FileStatus(); }

      private:
        MemoryFiles& m_owner;
        CString m_path;
    };

    std::map<CString, std::string> m_files;
    ScopedFileSystem m_scope;
};

// How a database file is read: as a whole document, or streamed element by
// element (then with the given buffer size, and touching the last table
// before the others, so that reading ahead is part of it).
struct ReadMode {
    bool sequential = false;
    int bufferSize = 16384;
};

// A database read from a file, described line by line: every table in
// registry order with its type, every field with its type and key flag, every
// row with each cell's type, null flag and text form. Two databases hold the
// same when their descriptions are equal.
struct Reading {
    std::unique_ptr<DbDatabase> db;  // null when the file was refused
    CString reason;                  // why it was refused
    std::vector<std::string> content;

    bool Refused() const { return db == nullptr; }
};

// A cell's type, null flag and text form. A float is described by the text
// it settles to: its 7 significant digits may name its neighbour instead (at
// the top of a decade), whose text then stays; so one save and reload may
// move it once by a unit of the last digit, which is how the text form has
// always been.
inline std::string Describe(const DbFieldValue& cell) {
    CString text;
    cell.ValueToString(text);
    if (cell.GetType() == VT_R4) {
        CComVariant settled(text);
        VariantChangeType(&settled, &settled, 0, VT_R4);
        VariantChangeType(&settled, &settled, 0, VT_BSTR);
        text = CString(settled.bstrVal);
    }
    return std::to_string(cell.GetType()) + (cell.IsNull() ? " null " : " ") + text.ToUtf8();
}

// Reads every table of db; false (with the reason) when the rows of one
// cannot be read.
inline bool DescribeDatabase(DbDatabase& db, std::vector<std::string>& content, CString& reason) {
    const int count = db.GetTablesCount();
    for (int t = 0; t < count; ++t) {
        const DbTableInfo* info = db.GetTableInfo(db.GetTableName(t));
        DbTableData* data = db.GetTableData(static_cast<size_t>(t));
        DbRows* rows = data != nullptr ? data->GetRows() : nullptr;
        if (info == nullptr || rows == nullptr) {
            reason = L"the rows of table " + db.GetTableName(t) + L" cannot be read: " +
                     db.GetErrorLog();
            return false;
        }
        content.push_back("table " + info->name.ToUtf8() + " type " + std::to_string(info->type));
        const DbTableDescr& descr = *info->descr;
        for (size_t f = 0; f < descr.GetFieldCount(); ++f) {
            const DbFieldDescr& field = descr.GetField(static_cast<int>(f));
            content.push_back("field " + field.GetName().ToUtf8() + " type " +
                              std::to_string(field.GetType()) + (field.IsKey() ? " key" : ""));
        }
        for (uint64_t r = 0; r < rows->GetRowsCount(); ++r) {
            const DbTableRow& row = *rows->GetRow(static_cast<int>(r));
            std::string line = "row";
            for (size_t f = 0; f < row.GetFieldCount(); ++f) {
                line += " | " + Describe(row[f]);
            }
            content.push_back(std::move(line));
        }
    }
    return true;
}

// Reads the database file at path in the given mode. A refusal is a
// DbException, or rows that cannot be read; any other exception is left to
// end the run.
inline Reading Read(const CString& path, const ReadMode& mode) {
    Reading reading;
    const int previousBufferSize = DbSource::MaxBufferSize;
    DbSource::MaxBufferSize = mode.bufferSize;
    try {
        auto db = std::make_unique<DbDatabase>(path);
        if (mode.sequential) {
            db->GetSource()->SetSequentialAccess(true);
            if (const int count = db->GetTablesCount(); count > 0) {
                db->GetTableData(static_cast<size_t>(count - 1));
            }
        }
        if (DescribeDatabase(*db, reading.content, reading.reason)) {
            reading.db = std::move(db);
        }
    } catch (DbException* e) {
        reading.reason = e->Message();
        e->Delete();
    }
    DbSource::MaxBufferSize = previousBufferSize;
    if (reading.Refused()) {
        reading.content.clear();
    }
    return reading;
}

// The first line where two descriptions differ, for the report.
inline std::string FirstDifference(const std::vector<std::string>& a,
                                   const std::vector<std::string>& b) {
    const auto [left, right] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return "line " + std::to_string(left - a.begin()) + ":\n  " +
           (left != a.end() ? *left : std::string("(end)")) + "\n  " +
           (right != b.end() ? *right : std::string("(end)"));
}

}  // namespace korvan::fuzz
