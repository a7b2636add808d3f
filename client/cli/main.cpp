#include "cli/SubtitleMgrCli.h"
#include "cli/client_name.h"
#include "cli/options.h"

#include <LogClient.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <new>
#include <string>

namespace {

constexpr unsigned int everyLogLevel = 63;  // a mask: errors (2) and notes of success (8) too

}  // namespace

int main(int argc, char** argv)
{
    try {
        SubtitleMgrCli client;
        // CommonCli::Go() may write into the table that it gets.
        struct option options[longOptionCount];
        std::copy(std::begin(longOptions), std::end(longOptions), options);

        LogClient::Instance().Level(everyLogLevel);
        LogClient::Instance().ProcessName(clientName);
        client.Go(argv, argc, shortOptions, options);
    } catch (const std::bad_alloc&) {
        std::cerr << "Error allocating memory" << std::endl;
    }
    // Kept on purpose: the exit status is always 0. Messages report the failures.
    return 0;
}
