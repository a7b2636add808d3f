#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// A fuzz target is one function that gets any bytes and lets nothing wrong pass. The fuzzer makes
// the bytes up; builds without the fuzzer replay the corpus.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

/// Unless \p holds, ends the program with \p text, which says what is wrong, on standard error as
/// it was at the start.
void Require(bool holds, const char* text);

/// The same with both values shown.
void RequireEqual(const std::string& actual, const std::string& expected, const char* text);

/// Folder for the files of this process, removed at its end.
const std::string& ScratchFolder();

/// With FUZZ_REPEATABLE set, clears what the fuzzer has counted for the current input. It chooses
/// inputs by the code that ran, and what several threads run differs from time to time.
void ForgetCoverage();
