// The open file behind DbSource's streaming reader, and the state of the
// element scan that outlives one ExtractXmlNode call.
#pragma once

#include <korvan/database.h>

#include <cstdint>
#include <string>

struct DbSource::Stream {
    explicit Stream(int descriptor) : fd(descriptor) {}
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    int fd;
    int64_t consumed = 0;   // bytes handed out so far, for error positions
    bool rootSeen = false;  // the document element has been opened
    bool capturing = false;
    std::string capture;  // bytes of the element being extracted
};
