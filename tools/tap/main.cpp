#include "tap/tap.h"
#include "words/exit_status.h"

#include <iostream>
#include <new>

int main(int argc, char** argv)
{
    try {
        tap::Options options;
        int status = words::exitDone;
        return tap::ParseOptions(argc, argv, options, status) ? tap::Tap(options).Run() : status;
    } catch (const std::bad_alloc&) {
        std::cerr << "SubtitleMgrTap: "
                  << "no memory" << std::endl;
        return words::exitFailed;
    }
}
