// Prints every option that the client's own tables have, one a line, as it is typed.

#include "cli/options.h"

#include <cctype>
#include <iostream>

int main()
{
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
