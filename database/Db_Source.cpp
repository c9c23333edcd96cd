// DbSource: classification of the database file by its extension, the checks
// that it can be read and written, and copies of a source.
#include "database/Db_SourceStream.h"

#include "database/Db_FileName.h"
#include "model/Db_Exception.h"
#include "platform/files.h"

#include <algorithm>

bool DbSource::ForceXML = true;
int DbSource::MaxBufferSize = 16384;

namespace {

// Only the last three characters are replaced: "cat.mdb" becomes "cat.xml".
CString WithXmlExtension(const CString& file) {
    return file.Left(file.GetLength() - 3) + L"xml";
}

}  // namespace

DbSource::DbSource(DbDatabase* db)
    : m_database(db),
      m_kind(0),
      m_formatChecked(0),
      m_bufferSize(MaxBufferSize),
      m_bufferPosition(0),
      m_eof(false),
      m_readOnly(false),
      m_sequential(false),
      m_valid(false) {}

DbSource::DbSource(DbDatabase* db, const CString& file) : DbSource(db) {
    SetFile(file, false);
}

DbSource::DbSource(const DbSource& other) : DbSource(other.m_database) {
    *this = other;
}

// The owner stays: a source belongs to the database that holds it. An open
// stream is not shared; the copy opens the file itself at the same offset, so
// both continue from the same element independently.
DbSource& DbSource::operator=(const DbSource& other) {
    if (this == &other) {
        return *this;
    }
    m_stream.reset();
    m_kind = other.m_kind;
    m_formatChecked = other.m_formatChecked;
    m_currentPath = other.m_currentPath;
    m_file = other.m_file;
    m_bufferSize = other.m_bufferSize;
    m_bufferPosition = other.m_bufferPosition;
    m_buffer.Copy(other.m_buffer);
    m_eof = other.m_eof;
    m_readOnly = other.m_readOnly;
    m_sequential = other.m_sequential;
    m_valid = other.m_valid;
    std::unique_ptr<korvan::ReadableFile> file;
    if (other.m_stream && korvan::Files().OpenForReading(m_file, file) &&
        file->Seek(other.m_stream->fileOffset)) {
        m_stream = std::make_unique<Stream>(std::move(file));
        m_stream->fileOffset = other.m_stream->fileOffset;
        m_stream->consumed = other.m_stream->consumed;
        m_stream->rootSeen = other.m_stream->rootSeen;
        m_stream->capturing = other.m_stream->capturing;
        m_stream->capture = other.m_stream->capture;
    }
    return *this;
}

DbSource::~DbSource() = default;

void DbSource::Reset() {
    m_stream.reset();
    m_buffer.RemoveAll();
    m_bufferSize = MaxBufferSize;
    m_bufferPosition = 0;
    m_currentPath.Empty();
    m_eof = false;
}

void DbSource::Classify(bool create) {
    if (create) {
        // Deliberate: a new file is always an XML file when ForceXML is set,
        // whatever its extension, and never an mdb file.
        if (ForceXML && m_file.GetLength() >= 3) {
            m_file = WithXmlExtension(m_file);
            m_kind = 1;
        }
        if (korvan::HasExtension(m_file, L"xml")) {
            m_kind = 1;
            m_sequential = false;
        }
        return;
    }
    if (korvan::HasExtension(m_file, L"xml")) {
        m_kind = 1;
        m_sequential = false;
    } else if (korvan::HasExtension(m_file, L"mdb")) {
        m_kind = 2;
        m_sequential = false;
        if (ForceXML) {
            // Deliberate: mdb catalogues are migrated to XML, so the XML file
            // of the same base name is opened instead.
            m_file = WithXmlExtension(m_file);
            m_kind = 1;
        }
    }
}

void DbSource::SetFile(const CString& file, bool readOnly) {
    Reset();
    m_readOnly = readOnly;
    m_file = file;
    Classify(false);
    if (m_database != nullptr) {
        m_database->Clear();
    }
    m_valid = CheckSource();
}

void DbSource::Create(const CString& file) {
    Reset();
    m_file = file;
    Classify(true);
    if (m_database != nullptr) {
        m_database->Clear();
    }
    m_valid = true;
}

bool DbSource::CheckSource() {
    const bool known = m_kind != 0;
    if (m_file.IsEmpty()) {
        return known;
    }
    // Only a regular file is a database; anything else is refused at once.
    if (!korvan::CheckReadable(m_file)) {
        KORVAN_THROW_AT("Db_Source", 222,
                        StringBuilder(L"Invalid source file '%s'", m_file.GetString()));
    }
    if (!korvan::Files().CheckWritable(m_file)) {
        m_readOnly = true;
    }
    return known;
}

CString DbSource::GetBareName() const {
    const int start = std::max(m_file.ReverseFind(L'\\'), m_file.ReverseFind(L'/')) + 1;
    int end = m_file.ReverseFind(L'.');
    if (end < start) {
        end = m_file.GetLength();
    }
    return m_file.Mid(start, end - start);
}

void DbSource::SetSequentialAccess(bool sequential) {
    if (m_kind == 1) {
        m_sequential = sequential;
    }
}

void DbSource::Release() {
    m_stream.reset();
    m_buffer.RemoveAll();
    m_bufferSize = 0;
    m_bufferPosition = 0;
    m_eof = true;
}
