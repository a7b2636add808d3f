#include "view/view.h"
#include "words/exit_status.h"

#include <new>

int main(int argc, char** argv)
{
    try {
        view::Options options;
        int status = words::exitDone;
        return view::ParseOptions(argc, argv, options, status) ? view::Run(options) : status;
    } catch (const std::bad_alloc&) {
        return view::Fail(words::exitFailed, "no memory");
    }
}
