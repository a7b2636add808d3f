#pragma once

#include <string>

// Numbered by position, like the names of real vendors.
enum e_Process {
    LINX_SUPERVISOR,
    LINX_STREAMER,
    LINX_RECORDER,
    LINX_DISPLAY,
    LINX_SENSORD,
    LINX_SUBTITLED,
    LINX_PROCESS_COUNT
};

class LinxServerNameList {
public:
    static LinxServerNameList& Instance();
    const std::string& Name(e_Process process) const;
};
