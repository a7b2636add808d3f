#include "console/prompts.h"

#include <StringUtilities.h>

#include <iostream>

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
    return word;
}

bool AskYesNo(const char* prompt) { return StringUtilities::StringToBool(AskWord(prompt)); }

void DiscardOneCharacter() { std::cin.ignore(); }
