// libFuzzer target: whatever loads is saved, and what was saved reads back
// the same.
//
// Each input is the content of a database file. When it loads (as a whole
// document), it is saved to a second file. A save may fail (false), and then
// must not have written that file; a save that succeeds must have written a
// file that loads in both reading modes to exactly the database that was
// saved: the same tables in the same order, fields, rows and cells.

#include "fuzz/fuzz_support.h"

using korvan::fuzz::Check;

namespace {

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
    CheckReadsBack(L"saved.xml", loaded, {}, "whole document");
    CheckReadsBack(L"saved.xml", loaded, {true, 4096}, "streamed");
    return 0;
}
