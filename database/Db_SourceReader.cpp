// DbSource's streaming reader: hands out the text of one element at a time
// from a file read in chunks of MaxBufferSize bytes.
//
// The scanner understands as much XML as it needs to keep the element path
// right: start, end and empty-element tags (attribute values may hold ">" or
// "/"), comments, CDATA sections, processing instructions and a document type
// declaration. Everything it does not need (text, entities) is passed over.
// Input that breaks the element structure - a stray "<", an end tag that does
// not close the open element, a second root, text outside the root, a file
// that ends inside an element - ends the stream and throws a DbException
// naming the file, so a damaged file can never be taken for a short one.
#include "database/Db_SourceStream.h"

#include "model/Db_Exception.h"
#include "model/Db_ReadGuard.h"
#include "platform/files.h"
#include "platform/utf.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char kSource[] = "Db_Source";

bool IsXmlSpace(BYTE b) {
    return b == ' ' || b == '\t' || b == '\r' || b == '\n';
}

// The last "\"-separated component of a path.
CString LastComponent(const CString& path) {
    return path.Mid(path.ReverseFind(L'\\') + 1);
}

// Drops the last component of a path.
void PopComponent(CString& path) {
    path = path.Left(std::max(path.ReverseFind(L'\\'), 0));
}

// Paths are compared exactly, except that with anyCaseRoot the root element
// is matched without regard to case, as the whole-document reader finds it.
bool SamePath(const CString& a, const CString& b, bool anyCaseRoot) {
    if (a.GetLength() != b.GetLength()) {
        return false;
    }
    if (!anyCaseRoot) {
        return a == b;
    }
    int rootEnd = a.Find(L'\\', 1);
    if (rootEnd < 0) {
        rootEnd = a.GetLength();
    }
    return a.Left(rootEnd).CompareNoCase(b.Left(rootEnd)) == 0 && a.Mid(rootEnd) == b.Mid(rootEnd);
}

}  // namespace

// Reads one byte, refilling the buffer from the file when it is used up;
// false at the end of the file, which also sets eof.
bool DbSource::NextByte(BYTE& b) {
    if (m_bufferPosition >= m_bufferSize) {
        if (!m_stream) {
            return false;
        }
        size_t count = 0;
        const korvan::FileStatus read = m_stream->file->Read(
            m_buffer.GetData(), static_cast<size_t>(m_buffer.GetSize()), count);
        if (!read) {
            KORVAN_THROW(kSource, StringBuilder(L"Cannot read '%s': %s", m_file.GetString(),
                                                read.Reason().GetString()));
        }
        if (count == 0) {
            m_eof = true;
            return false;
        }
        m_stream->fileOffset += count;
        m_bufferSize = static_cast<int>(count);
        m_bufferPosition = 0;
    }
    b = m_buffer[m_bufferPosition++];
    ++m_stream->consumed;
    if (m_stream->capturing) {
        m_stream->capture += static_cast<char>(b);
    }
    return true;
}

bool DbSource::OpenStream() {
    std::unique_ptr<korvan::ReadableFile> file;
    if (!korvan::Files().OpenForReading(m_file, file)) {
        return false;
    }
    m_stream = std::make_unique<Stream>(std::move(file));
    m_buffer.SetSize(std::max(m_bufferSize, 1));
    m_bufferSize = 0;
    m_bufferPosition = 0;
    if (m_formatChecked == 0) {
        m_formatChecked = 1;
    }
    m_currentPath.Empty();
    return true;
}

namespace {

// The scan of one ExtractXmlNode call; next reads one byte (false at the end
// of the file). Every structural error throws.
template <typename NextByte>
class Scanner {
  public:
    Scanner(const CString& file, NextByte next, CString& path)
        : m_file(file), m_next(next), m_path(path) {}

    // The message of a structural error found at offset.
    CString Malformed(const wchar_t* what, int64_t offset) const {
        return StringBuilder(L"Malformed XML in '%s' near byte %lld: %s", m_file.GetString(),
                             static_cast<long long>(offset), what);
    }

    // The next byte inside a construct: the end of the file here means the
    // file was cut short.
    BYTE Next(int64_t offset) {
        BYTE b;
        if (!m_next(b)) {
            KORVAN_THROW(kSource, Malformed(L"the file ends inside markup", offset));
        }
        return b;
    }

    // Skips bytes up to and including terminator (two or three bytes).
    void SkipPast(const char* terminator, int64_t offset) {
        const size_t length = std::strlen(terminator);
        std::string tail;
        while (tail.size() < length ||
               tail.compare(tail.size() - length, length, terminator) != 0) {
            tail += static_cast<char>(Next(offset));
            if (tail.size() > length) {
                tail.erase(0, 1);
            }
        }
    }

    // "<!" has been read: a comment, a CDATA section or a declaration.
    void SkipBang(int64_t offset) {
        const BYTE b = Next(offset);
        if (b == '-') {
            if (Next(offset) != '-') {
                KORVAN_THROW(kSource, Malformed(L"invalid comment", offset));
            }
            SkipPast("-->", offset);
        } else if (b == '[') {
            for (const char* expected = "CDATA["; *expected != 0; ++expected) {
                if (Next(offset) != static_cast<BYTE>(*expected)) {
                    KORVAN_THROW(kSource, Malformed(L"invalid CDATA section", offset));
                }
            }
            if (m_path.IsEmpty()) {
                KORVAN_THROW(kSource, Malformed(L"text outside the root element", offset));
            }
            SkipPast("]]>", offset);
        } else {
            // A declaration such as <!DOCTYPE ...>, maybe with an internal
            // subset in brackets; quoted text may hold any of ">[]".
            BYTE quote = 0;
            int brackets = 0;
            for (BYTE c = b;; c = Next(offset)) {
                if (quote != 0) {
                    quote = c == quote ? 0 : quote;
                } else if (c == '"' || c == '\'') {
                    quote = c;
                } else if (c == '[') {
                    ++brackets;
                } else if (c == ']') {
                    --brackets;
                } else if (c == '>' && brackets <= 0) {
                    return;
                }
            }
        }
    }

    // Reads the rest of a start tag after its name and the delimiter that
    // ended the name; true when it is an empty-element tag.
    bool FinishStartTag(BYTE delimiter, int64_t offset) {
        if (delimiter == '>') {
            return false;
        }
        BYTE quote = 0;
        BYTE previous = delimiter;
        for (;;) {
            const BYTE c = Next(offset);
            if (quote != 0) {
                if (c == quote) {
                    quote = 0;
                    previous = c;
                } else if (c == '<') {
                    KORVAN_THROW(kSource, Malformed(L"\"<\" in an attribute value", offset));
                }
                continue;
            }
            if (c == '>') {
                return previous == '/';
            }
            if (c == '<') {
                KORVAN_THROW(kSource, Malformed(L"\"<\" inside a tag", offset));
            }
            if (c == '"' || c == '\'') {
                quote = c;
            }
            previous = c;
        }
    }

    // Reads a tag name whose first byte is first; returns it decoded and sets
    // delimiter to the byte that ended it.
    CString ReadName(BYTE first, BYTE& delimiter, int64_t offset) {
        std::string name;
        for (BYTE c = first;; c = Next(offset)) {
            if (IsXmlSpace(c) || c == '>' || c == '/') {
                delimiter = c;
                break;
            }
            if (c == '<' || c == '"' || c == '\'' || c == '=') {
                KORVAN_THROW(kSource, Malformed(L"invalid tag name", offset));
            }
            name += static_cast<char>(c);
        }
        std::wstring decoded;
        if (name.empty() || !korvan::DecodeUtf8(name, decoded)) {
            KORVAN_THROW(kSource, Malformed(L"invalid tag name", offset));
        }
        return CString(std::move(decoded));
    }

    // "</" has been read: reads the name and checks that it closes the open
    // element.
    void ReadEndTag(int64_t offset) {
        BYTE delimiter;
        const CString name = ReadName(Next(offset), delimiter, offset);
        for (BYTE c = delimiter; c != '>'; c = Next(offset)) {
            if (!IsXmlSpace(c)) {
                KORVAN_THROW(kSource, Malformed(L"invalid end tag", offset));
            }
        }
        if (m_path.IsEmpty() || LastComponent(m_path) != name) {
            KORVAN_THROW(kSource, Malformed(L"end tag does not match the open element", offset));
        }
    }

  private:
    const CString& m_file;
    NextByte m_next;
    CString& m_path;
};

}  // namespace

bool DbSource::ExtractXmlNode(const CString& path, CString& text) {
    text.Empty();
    std::string utf8;
    if (!ExtractXmlText(path, utf8, Search::WholeFile)) {
        return false;
    }
    // Checked strictly while extracted: nothing is replaced here.
    text = CString(korvan::DecodeUtf8Lenient(utf8));
    return true;
}

bool DbSource::ExtractXmlText(const CString& path, std::string& utf8, Search search) {
    utf8.clear();
    if (m_kind != 1 || m_eof) {
        return false;
    }
    // After an error of any kind the stream is over.
    korvan::ReadGuard guard(m_database, [this] { Release(); });
    if (!m_stream && !OpenStream()) {
        return false;
    }
    Stream& stream = *m_stream;
    Scanner scanner(
        m_file, [this](BYTE& b) { return NextByte(b); }, m_currentPath);
    // A section search ends when the element that holds the section closes;
    // a search through the whole file has no such element.
    const bool section = search == Search::Section;
    const CString holder = section ? path.Left(std::max(path.ReverseFind(L'\\'), 0)) : CString();

    BYTE b;
    while (NextByte(b)) {
        const int64_t offset = stream.consumed - 1;
        if (b != '<') {
            if (offset == 0 && b == 0xEF) {
                if (scanner.Next(offset) != 0xBB || scanner.Next(offset) != 0xBF) {
                    KORVAN_THROW(kSource, scanner.Malformed(L"invalid byte order mark", offset));
                }
            } else if (m_currentPath.IsEmpty() && !IsXmlSpace(b)) {
                KORVAN_THROW(kSource, scanner.Malformed(L"text outside the root element", offset));
            }
            continue;
        }
        b = scanner.Next(offset);
        if (b == '?') {
            scanner.SkipPast("?>", offset);
        } else if (b == '!') {
            scanner.SkipBang(offset);
        } else if (b == '/') {
            scanner.ReadEndTag(offset);
            const bool closesHolder =
                !stream.capturing && !holder.IsEmpty() && SamePath(m_currentPath, holder, section);
            PopComponent(m_currentPath);
            if (stream.capturing && m_currentPath.GetLength() < path.GetLength()) {
                break;
            }
            if (closesHolder) {
                return false;
            }
        } else {
            BYTE delimiter;
            const CString name = scanner.ReadName(b, delimiter, offset);
            if (m_currentPath.IsEmpty()) {
                if (stream.rootSeen) {
                    KORVAN_THROW(kSource, scanner.Malformed(L"a second root element", offset));
                }
                stream.rootSeen = true;
            }
            m_currentPath += L"\\" + name;
            if (!stream.capturing && SamePath(m_currentPath, path, section)) {
                stream.capturing = true;
                stream.capture.assign(1, '<');
                stream.capture += name.ToUtf8();
                stream.capture += static_cast<char>(delimiter);
            }
            if (scanner.FinishStartTag(delimiter, offset)) {
                PopComponent(m_currentPath);
                if (stream.capturing && m_currentPath.GetLength() < path.GetLength()) {
                    break;
                }
            }
        }
    }

    if (stream.capturing) {
        if (m_eof) {
            KORVAN_THROW(kSource,
                         scanner.Malformed(L"the file ends inside an element", stream.consumed));
        }
        stream.capturing = false;
        if (!korvan::IsValidUtf8(stream.capture)) {
            KORVAN_THROW(kSource, StringBuilder(L"Invalid UTF-8 in '%s' (element %s)",
                                                m_file.GetString(), path.GetString()));
        }
        // The capture grew a byte at a time: its spare capacity would stay
        // with the text for as long as the table waits to be parsed.
        utf8 = std::move(stream.capture);
        utf8.shrink_to_fit();
        stream.capture.clear();
        return true;
    }
    if (!m_currentPath.IsEmpty()) {
        KORVAN_THROW(kSource,
                     scanner.Malformed(L"the file ends inside an element", stream.consumed));
    }
    if (!stream.rootSeen) {
        KORVAN_THROW(kSource, scanner.Malformed(L"no root element", stream.consumed));
    }
    // The end of the file without a match.
    Release();
    return false;
}
