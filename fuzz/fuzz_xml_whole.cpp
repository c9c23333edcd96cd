// libFuzzer target: reading a database file as a whole document.
//
// Each input is the content of a database file. It is read as one document
// and every table, row and cell is then looked at. The file may be refused
// (a DbException); nothing else may happen: no crash, sanitizer report, leak,
// hang, or exception of another kind.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    korvan::fuzz::MemoryFiles files;
    files.Put(L"catalogue.xml", korvan::fuzz::Bytes(data, size));
    korvan::fuzz::Read(L"catalogue.xml", korvan::fuzz::ReadMode{});
    return 0;
}
