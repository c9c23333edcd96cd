// libFuzzer target: reading a database file streamed, element by element.
//
// Each input is the content of a database file, read in sequential mode with
// a small buffer (its size follows the input's length, so elements and tags
// fall across buffer boundaries in every way) from a file whose reads come
// in short pieces. The last table is reached first, which reads through all
// the others, and then every table, row and cell is looked at. The file may
// be refused; nothing else may happen.

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    korvan::fuzz::MemoryFiles files;
    files.readLimit = 1 + size % 5;
    files.Put(L"catalogue.xml", korvan::fuzz::Bytes(data, size));
    korvan::fuzz::Read(L"catalogue.xml",
                       korvan::fuzz::ReadMode{true, static_cast<int>(1 + size % 61)});
    return 0;
}
