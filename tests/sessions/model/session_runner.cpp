// Runs a program once for each order: session_runner PROGRAM [ARGUMENT...], see session_server.h.
// The arguments of the order follow those given here; its first, the program's name, is left out.

#include "packaging/tool_options.h"
#include "tests/sessions/model/session_server.h"

#include <unistd.h>

#include <cstdlib>

namespace {

constexpr char usage[] = "Usage: session_runner PROGRAM [ARGUMENT...]\n"
                         "Runs the program once for each order that it reads.\n";

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "session_runner", usage)) {
        return 0;
    }
    if (argc < 2) {
        return 2;
    }
    const SessionOrder order = ServeSessions();
    for (const std::string& setting : order.environment) {
        const std::size_t sign = setting.find('=');
        setenv(setting.substr(0, sign).c_str(), setting.substr(sign + 1).c_str(), 1);
    }
    std::vector<char*> words(argv + 1, argv + argc);
    for (std::size_t i = 1; i < order.arguments.size(); ++i) {
        words.push_back(const_cast<char*>(order.arguments[i].c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}
