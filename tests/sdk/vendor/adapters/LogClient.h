#pragma once

#include_next <LogClient.h>

/// The client needs a reference; this vendor's Instance() is a pointer.
struct LogClientByReference {
    static LogClient& Instance() { return *LogClient::Instance(); }
};
#define LogClient LogClientByReference
