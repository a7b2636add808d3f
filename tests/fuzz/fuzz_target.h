#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// A fuzz target is one function that gets any bytes and checks the product with them. The fuzzer
// generates the bytes; builds without the fuzzer replay the corpus.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

/// Unless \p holds, writes \p text, which names the error, to the original standard error and ends
/// the program.
void Require(bool holds, const char* text);

/// Requires equal values, and shows both otherwise.
void RequireEqual(const std::string& actual, const std::string& expected, const char* text);

/// A folder for the files of this process, which is removed at its end.
const std::string& ScratchFolder();

/// If FUZZ_REPEATABLE is set, clears the fuzzer's coverage for the current input. The fuzzer
/// chooses inputs by coverage, and the coverage of several threads varies.
void ForgetCoverage();
