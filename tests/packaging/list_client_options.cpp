// Prints every option of the client's tables, one per line, in its typed form.

#include "cli/options.h"
#include "packaging/tool_options.h"

#include <cctype>
#include <iostream>

namespace {

constexpr char usage[] = "Usage: list_client_options\n"
                         "Prints every option of the client, one per line.\n";

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "list_client_options", usage)) {
        return 0;
    }
    for (const char* letter = shortOptions; *letter != '\0'; ++letter) {
        if (std::isalpha(static_cast<unsigned char>(*letter))) {
            std::cout << '-' << *letter << '\n';
        }
    }
    for (const option& entry : longOptions) {
        if (entry.name) {
            std::cout << "--" << entry.name << '\n';
        }
    }
}
