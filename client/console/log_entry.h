#pragma once

#include "cli/client_name.h"

#include <LogClient.h>
#include <SysLogMsg.h>

#include <new>
#include <ostream>

// Bits of the process's log level.
constexpr unsigned int logErrors = 2;
constexpr unsigned int logSuccess = 8;

/// Makes one log entry of \p parts when the process's level has the bit \p level, and otherwise
/// nothing at all, not even the text.
///
/// \param line  __LINE__ at the statement that makes the entry: it is part of the text
template <typename... Parts>
void MakeLogEntry(unsigned int level, int line, const Parts&... parts)
{
    if ((LogClient::Instance().Level() & level) == 0) {
        return;
    }
    SysLogMsg entry;
    std::ostream& text = entry.Log(level, LogClient::Instance().ProcessName());
    text << clientName << ':' << line << ' ';
    (text << ... << parts);
}

/// Logs that memory was refused to \p what, a command for example. Without memory for the entry,
/// the entry is lost.
inline void LogRefusedMemory(int line, const char* what)
{
    try {
        MakeLogEntry(logErrors, line, "Error allocating memory for ", what);
    } catch (const std::bad_alloc&) {
    }
}
