// DbDatabase: writing the XML database file.
//
// A file is never written in place: the document goes to a temporary file
// beside the target, which replaces the target only once it is complete and
// on disk. A failed save leaves the previous file exactly as it was.
#include <korvan/database.h>

#include "database/Db_FileName.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Collects the document into an open file, remembering the first error.
class FileWriter : public pugi::xml_writer {
  public:
    explicit FileWriter(int fd) : m_fd(fd) {}

    void write(const void* data, size_t size) override {
        const char* bytes = static_cast<const char*>(data);
        while (size > 0 && m_error == 0) {
            const ssize_t written = ::write(m_fd, bytes, size);
            if (written < 0) {
                if (errno != EINTR) {
                    m_error = errno;
                }
                continue;
            }
            bytes += written;
            size -= static_cast<size_t>(written);
        }
    }
    int error() const { return m_error; }

  private:
    int m_fd;
    int m_error = 0;
};

// Writes document to path through a temporary file in the same directory;
// returns 0 or the errno of the step that failed.
int WriteAtomically(const pugi::xml_document& document, std::string path) {
    // Through a symbolic link the file it points at is replaced, not the link.
    if (char* real = realpath(path.c_str(), nullptr)) {
        path = real;
        std::free(real);
    }
    struct stat existing;
    const bool exists = stat(path.c_str(), &existing) == 0;
    // Renaming over a file ignores its permissions; a file that cannot be
    // written is not replaced either.
    if (exists && access(path.c_str(), W_OK) != 0) {
        return errno;
    }
    std::string temporary;
    int fd = -1;
    for (int attempt = 0; fd < 0; ++attempt) {
        temporary = path + ".tmp" + std::to_string(getpid()) + "-" + std::to_string(attempt);
        fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && (errno != EEXIST || attempt == 99)) {
            return errno;
        }
    }
    FileWriter writer(fd);
    document.save(writer, "\t", pugi::format_default | pugi::format_no_declaration,
                  pugi::encoding_utf8);
    int error = writer.error();
    if (error == 0 && exists && fchmod(fd, existing.st_mode & 07777) != 0) {
        error = errno;
    }
    if (error == 0 && fsync(fd) != 0) {
        error = errno;
    }
    if (close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && rename(temporary.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(temporary.c_str());
        return error;
    }
    // The rename itself is made durable by syncing the directory.
    const size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int dir = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        fsync(dir);
        close(dir);
    }
    return 0;
}

}  // namespace

bool DbDatabase::SaveMdb(const CString&) {
    return false;
}

void DbDatabase::RefreshQueries() {
    for (DbTableInfo* entry : EntriesInOrder()) {
        if (entry->type == DbTableInfo::QUERY && !entry->IsQuerySync()) {
            CString name = entry->name;
            Query(entry->sql, name);
        }
    }
}

bool DbDatabase::Save(const CString& file) {
    try {
        RefreshQueries();
        LoadTables();
        if (korvan::HasExtension(file, L"xml")) {
            pugi::xml_document document;
            pugi::xml_node declaration = document.append_child(pugi::node_pi);
            declaration.set_name("xml");
            declaration.set_value("version='1.0' encoding='UTF-8'");
            if (!Save(document, pugi::xml_node())) {
                return false;
            }
            const int error = WriteAtomically(document, file.ToUtf8());
            if (error != 0) {
                Log(StringBuilder(L"Database not saved to '%s': %S", file.GetString(),
                                  std::strerror(error)));
                return false;
            }
            // The file now holds everything: nothing is left to save, and
            // nothing of an earlier, damaged file is left to protect.
            if (file == m_source->GetFile()) {
                Sync();
                m_readFailed = false;
            }
            return true;
        }
        if (korvan::HasExtension(file, L"mdb")) {
            if (!SaveMdb(file)) {
                return false;
            }
            Sync();
            return !IsChanged();
        }
        return false;
    } catch (DbException* e) {
        Log(e->Message());
        e->Delete();
        return false;
    }
}

bool DbDatabase::Save(pugi::xml_document& document, pugi::xml_node parent) {
    ReadStructure();
    CreateHeaderTables();
    pugi::xml_node owner = parent ? parent : static_cast<pugi::xml_node>(document);
    pugi::xml_node database = owner.append_child("database");
    try {
        pugi::xml_node header = database.append_child("header");
        bool ok = SaveSection(document, header.append_child("structure"), true, true);
        ok = SaveSection(document, header.append_child("data"), true, false) && ok;
        pugi::xml_node body = database.append_child("body");
        ok = SaveSection(document, body.append_child("structure"), false, true) && ok;
        ok = SaveSection(document, body.append_child("data"), false, false) && ok;
        return ok;
    } catch (...) {
        // Only a complete "database" element is ever left in the document.
        owner.remove_child(database);
        throw;
    }
}

// One "table" element per table: the header tables are the registry positions
// 0 and 1, the body tables every TABLE from position 2 on. A table that fails
// is logged and the others are still written.
bool DbDatabase::SaveSection(pugi::xml_document& document, pugi::xml_node section, bool header,
                             bool structure) {
    const wchar_t* const what = header ? (structure ? L"header structure" : L"header data")
                                       : (structure ? L"body structure" : L"body data");
    const size_t count = m_descriptors.size();
    bool ok = true;
    for (size_t i = header ? 0 : 2; i < (header ? std::min<size_t>(count, 2) : count); ++i) {
        const DbTableInfo* entry = Lookup(m_descriptors[i].first);
        if (!header && entry->type != DbTableInfo::TABLE) {
            continue;
        }
        pugi::xml_node table = section.append_child("table");
        table.append_attribute("name").set_value(entry->name.ToUtf8().c_str());
        const bool saved = structure ? GetTableDescr(i)->Save(document, table)
                                     : GetTableData(i)->Save(document, table);
        if (!saved) {
            ok = false;
            Log(StringBuilder(L"Error on table \"%s\" - %s saving", entry->name.GetString(), what));
        }
    }
    return ok;
}
