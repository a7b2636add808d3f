#pragma once

#include <string>

// How every command of the console, the dynamic test and the sensor test read standard input.
//
// - A prompt has no line end, only its own trailing blanks; the answer is typed after it.
// - All reads are formatted extractions, which skip leading white space. Input after the answer
//   stays for the next read: "12" and Enter are two menu keys.
// - Some commands discard one character after their last answer, normally the newline.
// - Kept on purpose: failed input is neither tested for nor cleared. A number that does not parse
//   becomes 0. After it, and after the end of the input, every read takes nothing and leaves its
//   variable as it was, for ever. The last menu key is then carried out again and again.
// - Refused memory is not failed input: a word that cannot be stored is discarded with the rest of
//   its line, and std::bad_alloc ends the command.

/// Reads one character into \p key, which keeps its value when there is none.
void ReadMenuKey(char& key);

/// Prompts for a decimal number; \p number keeps its value when there is nothing to read.
void AskNumber(const char* prompt, unsigned int& number);

/// Prompts for one word without white space. \return it; empty when there is nothing to read
std::string AskWord(const char* prompt);

/// Prompts for a word that StringUtilities::StringToBool() understands.
bool AskYesNo(const char* prompt);

void DiscardOneCharacter();
