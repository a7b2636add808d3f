#pragma once

#include <string>

enum e_Process { e_FirstProcess = 0, e_SixthProcess = 5 };

class LinxServerNameList {
public:
    static LinxServerNameList& Instance();
    const std::string& Name(e_Process process) const;
};
