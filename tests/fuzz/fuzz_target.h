#pragma once

#include "tests/harness/TempDir.h"

#include <cstddef>
#include <cstdint>
#include <string>

// A fuzz target is one function that gets any bytes and checks the product with them. The fuzzer
// generates the bytes; builds without the fuzzer replay the corpus.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

/// Unless \p holds, writes \p text, which names the error, to the original standard error and ends
/// the program.
void Require(bool holds, const char* text);

/// Whether \p text has only printable characters of ASCII.
bool IsPlain(const std::string& text);

/// The folder of this process.
const TempDir& Scratch();

/// If FUZZ_REPEATABLE is set, clears the fuzzer's coverage for the current input. The fuzzer
/// chooses inputs by coverage, and the coverage of several threads varies.
void ForgetCoverage();
