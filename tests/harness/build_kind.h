#pragma once

// Sanitizers make a program several times slower: repetitions and time limits depend on them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif
#else
constexpr bool isSanitized = false;
#endif

// An emulator makes a program even slower, most of all its start.
#ifdef SUBTITLE_EMULATED
constexpr bool isEmulated = true;
#else
constexpr bool isEmulated = false;
#endif

// The thread sanitizer and the emulator each run an additional thread in every process.
#if defined(__SANITIZE_THREAD__) || defined(SUBTITLE_EMULATED)
constexpr int threadsOfTheBuild = 1;
#else
constexpr int threadsOfTheBuild = 0;
#endif
