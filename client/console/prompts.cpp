#include "console/prompts.h"

#include <StringUtilities.h>

#include <iostream>
#include <limits>
#include <new>

void ReadMenuKey(char& key) { std::cin >> key; }

void AskNumber(const char* prompt, unsigned int& number)
{
    std::cout << prompt;
    std::cin >> number;
}

std::string AskWord(const char* prompt)
{
    std::string word;
    std::cout << prompt;
    std::cin >> word;
    // Only a std::bad_alloc that the extraction catches itself makes the stream bad. The stream
    // would then fail for ever. The rest of the line must not be read as keys.
    if (std::cin.bad()) {
        std::cin.clear();
        std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        throw std::bad_alloc();
    }
    return word;
}

bool AskYesNo(const char* prompt) { return StringUtilities::StringToBool(AskWord(prompt)); }

void DiscardOneCharacter() { std::cin.ignore(); }
