#include "control/control.h"
#include "words/exit_status.h"

#include <iostream>
#include <new>

int main(int argc, char** argv)
{
    try {
        control::Options options;
        int status = words::exitDone;
        return control::ParseOptions(argc, argv, options, status) ? control::Control(options).Run()
                                                                  : status;
    } catch (const std::bad_alloc&) {
        std::cerr << "SubtitleMgrCtl: "
                  << "no memory" << std::endl;
        return words::exitFailed;
    }
}
