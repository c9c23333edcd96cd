// libFuzzer target: whatever loads is saved, and what was saved reads back
// the same.
//
// Each input is the content of a database file. When it loads (as a whole
// document), it is saved to a second file. A save may fail (false), and then
// must not have written that file; a save that succeeds must have written a
// well-formed XML 1.0 file (every character allowed, names that are XML
// names, no attribute twice in an element: what any conforming parser asks)
// that loads in both reading modes to exactly the database that was saved:
// the same tables in the same order, fields, rows and cells.

#include "fuzz/fuzz_support.h"
#include "platform/utf.h"

#include <set>
#include <string>
#include <vector>

using korvan::fuzz::Check;

namespace {

// The code points of valid UTF-8.
std::u32string CodePoints(std::string_view utf8) {
    std::u32string out;
    for (size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t c = length == 1 ? lead : lead & (0x7F >> length);
        for (size_t k = 1; k < length; ++k) {
            c = (c << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
        }
        out += c;
        i += length;
    }
    return out;
}

bool IsXmlChar(char32_t c) {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

bool IsNameStartChar(char32_t c) {
    return c == ':' || c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) ||
           (c >= 0x370 && c <= 0x37D) || (c >= 0x37F && c <= 0x1FFF) || c == 0x200C ||
           c == 0x200D || (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) ||
           (c >= 0x3001 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) ||
           (c >= 0xFDF0 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0xEFFFF);
}

bool IsNameChar(char32_t c) {
    return IsNameStartChar(c) || c == '-' || c == '.' || (c >= '0' && c <= '9') || c == 0xB7 ||
           (c >= 0x300 && c <= 0x36F) || c == 0x203F || c == 0x2040;
}

void CheckName(const char* name) {
    const std::u32string c = CodePoints(name);
    Check(!c.empty() && IsNameStartChar(c[0]) &&
              std::all_of(c.begin() + 1, c.end(), [](char32_t ch) { return IsNameChar(ch); }),
          "a saved file has a name that is no XML name", name);
}

void CheckChars(const char* text, const char* where) {
    for (const char32_t c : CodePoints(text)) {
        if (!IsXmlChar(c)) {
            char code[16];
            std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(c));
            korvan::fuzz::Fail("a saved file holds a character XML does not allow",
                               std::string(where) + ": " + code);
        }
    }
}

// What the library's own reader lets pass but a conforming parser refuses.
void CheckConforming(const std::string& file) {
    Check(korvan::IsValidUtf8(file), "a saved file is not UTF-8");
    pugi::xml_document doc;
    Check(static_cast<bool>(doc.load_buffer(file.data(), file.size())),
          "a saved file does not parse");
    std::vector<pugi::xml_node> open{doc.document_element()};
    while (!open.empty()) {
        const pugi::xml_node node = open.back();
        open.pop_back();
        if (node.type() != pugi::node_element) {
            CheckChars(node.value(), "text");
            continue;
        }
        CheckName(node.name());
        std::set<std::string> names;
        for (const pugi::xml_attribute attribute : node.attributes()) {
            CheckName(attribute.name());
            Check(names.insert(attribute.name()).second,
                  "a saved file has an attribute twice in one element", attribute.name());
            CheckChars(attribute.value(), attribute.name());
        }
        for (const pugi::xml_node child : node.children()) {
            open.push_back(child);
        }
    }
}

void CheckReadsBack(const CString& file, const korvan::fuzz::Reading& saved,
                    const korvan::fuzz::ReadMode& mode, const char* modeName) {
    const korvan::fuzz::Reading reloaded = korvan::fuzz::Read(file, mode);
    Check(!reloaded.Refused(), "a saved file is refused when read back",
          std::string(modeName) + ": " + reloaded.reason.ToUtf8());
    Check(reloaded.content == saved.content, "a saved file reads back different content",
          std::string(modeName) + ", saved then read back, at " +
              korvan::fuzz::FirstDifference(saved.content, reloaded.content));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    korvan::fuzz::MemoryFiles files;
    files.Put(L"catalogue.xml", korvan::fuzz::Bytes(data, size));
    const korvan::fuzz::Reading loaded = korvan::fuzz::Read(L"catalogue.xml", {});
    if (loaded.Refused()) {
        return 0;
    }
    if (!loaded.db->Save(L"saved.xml")) {
        Check(files.Find(L"saved.xml") == nullptr, "a failed save left a file behind");
        return 0;
    }
    CheckConforming(*files.Find(L"saved.xml"));
    CheckReadsBack(L"saved.xml", loaded, {}, "whole document");
    CheckReadsBack(L"saved.xml", loaded, {true, 4096}, "streamed");
    return 0;
}
