#pragma once

#include <string>

/// The processes of the device that can be addressed. Users rely on the value alone: the
/// enumerators' names differ between this stand-in and the device's own headers.
enum e_Process {
    e_ProcessNone = 0,
    e_ProcessSubtitleMgr = 5,
};

/// The names under which the device's processes are registered for messaging.
class LinxServerNameList {
public:
    /// The one list; never destroyed.
    static LinxServerNameList& Instance();

    /// Registered name of \p process, "SubtitleMgr" for 5; empty for a process not listed.
    const std::string& Name(e_Process process) const;

private:
    LinxServerNameList();

    const std::string subtitleMgr;
    const std::string unknown;
};
