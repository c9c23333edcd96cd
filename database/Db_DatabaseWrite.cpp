// DbDatabase: writing the XML database file.
//
// A file is never written in place: the document goes to a temporary file
// beside the target, which replaces the target only once it is complete and
// on disk. A failed save leaves the previous file exactly as it was.
#include <korvan/database.h>

#include "database/Db_FileName.h"
#include "model/Db_XmlText.h"
#include "platform/files.h"

namespace {

// Hands the document to the file as pugixml produces it; the file keeps the
// first failure for Commit to report.
class AtomicFileWriter : public pugi::xml_writer {
  public:
    explicit AtomicFileWriter(korvan::AtomicFile& file) : m_file(file) {}
    void write(const void* data, size_t size) override { (void)m_file.Write(data, size); }

  private:
    korvan::AtomicFile& m_file;
};

korvan::FileStatus WriteAtomically(const pugi::xml_document& document, const CString& path) {
    korvan::AtomicFile file;
    const korvan::FileStatus opened = file.Open(path);
    if (!opened) {
        return opened;
    }
    AtomicFileWriter writer(file);
    document.save(writer, "\t", pugi::format_default | pugi::format_no_declaration,
                  pugi::encoding_utf8);
    return file.Commit();
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

// A database whose reading failed holds only part of its file: written back,
// it would replace the whole with that part. The destructor's save meets
// the same refusal.
bool DbDatabase::WouldOverwriteUnreadSource(const CString& file) {
    const CString& source = m_source->GetFile();
    return m_readFailed && !source.IsEmpty() &&
           (file == source || korvan::Files().SameFile(file, source));
}

bool DbDatabase::Save(const CString& file) {
    if (WouldOverwriteUnreadSource(file)) {
        Log(
            StringBuilder(L"Database not saved to '%s': reading that file failed, and the "
                          L"database does not hold all of it",
                          file.GetString()));
        return false;
    }
    try {
        RefreshQueries();
        LoadTables();
        if (korvan::HasExtension(file, L"xml")) {
            pugi::xml_document document;
            pugi::xml_node declaration = document.append_child(pugi::node_pi);
            declaration.set_name("xml");
            declaration.set_value("version='1.0' encoding='UTF-8'");
            if (!Save(document, pugi::xml_node())) {
                Log(StringBuilder(L"Database not saved to '%s': a table could not be written",
                                  file.GetString()));
                return false;
            }
            const korvan::FileStatus written = WriteAtomically(document, file);
            if (!written) {
                Log(StringBuilder(L"Database not saved to '%s': %s", file.GetString(),
                                  written.Reason().GetString()));
                return false;
            }
            // The file now holds everything: nothing is left to save.
            if (file == m_source->GetFile()) {
                Sync();
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
        pugi::xml_attribute name = table.append_attribute("name");
        const CString fault = korvan::XmlTextFault(entry->name.str());
        if (fault.IsEmpty()) {
            name.set_value(entry->name.ToUtf8().c_str());
        } else {
            Log(
                StringBuilder(L"Table \"%s\" not written: its name holds %s, which XML does not "
                              L"allow",
                              entry->name.GetString(), fault.GetString()));
        }
        bool saved = structure ? GetTableDescr(i)->Save(document, table)
                               : GetTableData(i)->Save(document, table);
        saved = saved && fault.IsEmpty();
        if (!saved) {
            ok = false;
            Log(StringBuilder(L"Error on table \"%s\" - %s saving", entry->name.GetString(), what));
        }
    }
    return ok;
}
