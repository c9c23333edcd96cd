// libFuzzer target: one file, one verdict, whichever way it is read.
//
// Each input is the content of a database file, read once as a whole
// document and once streamed (small buffer, short reads, last table first).
// Either both readings refuse the file, or both load the same tables, in the
// same order, with the same fields and the same rows and cells. Anything else
// is a finding, reported with both reasons or the first difference.

#include "fuzz/fuzz_support.h"

using korvan::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    korvan::fuzz::MemoryFiles files;
    files.Put(L"catalogue.xml", korvan::fuzz::Bytes(data, size));
    const korvan::fuzz::Reading whole = korvan::fuzz::Read(L"catalogue.xml", {});
    files.readLimit = 1 + size % 5;
    const korvan::fuzz::Reading streamed =
        korvan::fuzz::Read(L"catalogue.xml", {true, static_cast<int>(1 + size % 61)});

    Check(whole.Refused() == streamed.Refused(), "the two reading modes give different verdicts",
          "whole document: " + (whole.Refused() ? whole.reason.ToUtf8() : "loads") +
              "\nstreamed: " + (streamed.Refused() ? streamed.reason.ToUtf8() : "loads"));
    Check(whole.content == streamed.content, "the two reading modes load different contents",
          "whole document, then streamed, at " +
              korvan::fuzz::FirstDifference(whole.content, streamed.content));
    return 0;
}
