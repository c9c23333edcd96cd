// The open file behind DbSource's streaming reader, and the state of the
// element scan that outlives one ExtractXmlNode call.
#pragma once

#include <korvan/database.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/files.h"

struct DbSource::Stream {
    explicit Stream(std::unique_ptr<korvan::ReadableFile> opened) : file(std::move(opened)) {}

    std::unique_ptr<korvan::ReadableFile> file;
    uint64_t fileOffset = 0;  // bytes read from the file so far
    int64_t consumed = 0;     // bytes handed out so far, for error positions
    bool rootSeen = false;    // the document element has been opened
    bool capturing = false;
    std::string capture;  // bytes of the element being extracted
};
