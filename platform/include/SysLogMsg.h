#pragma once

#include <LogMsg.h>

/// A log entry; its destructor completes it.
///
/// Entries go to the system log, as datagrams to /dev/log. If the environment variable SUBTITLE_LOG
/// names a file or a device (no symlink, no pipe), they are appended to it instead, one line each:
/// `<UTC time> <process>[<pid>] level=<n> <text>`. Control bytes in the text and bytes that are not
/// valid UTF-8 are written as \xNN, and a text above 8 KiB is cut. An entry that cannot be written
/// at once may be lost; the next entry is preceded by the number of lost ones. Logging never waits,
/// never fails and never ends a program.
class SysLogMsg : public LogMsg {
public:
    SysLogMsg() = default;
    ~SysLogMsg() override;
};
