#pragma once

#include <LogMsg.h>

/// A log entry; its destructor completes it.
///
/// Entries go to the system log, as those of syslog(3) do. When the environment's SUBTITLE_LOG
/// names a file they are appended to that instead (a file or a device, no symlink, no pipe), one
/// line an entry: `<UTC time> <process>[<pid>] level=<n> <text>`. Control bytes in the text and
/// bytes that are not valid UTF-8 are written as \xNN, and a text above 8 KiB is cut. An entry that
/// cannot be written at once may be lost, and the next one is preceded by the number of those:
/// logging never waits, never fails and never ends a program.
class SysLogMsg : public LogMsg {
public:
    SysLogMsg() = default;
    ~SysLogMsg() override;
};
