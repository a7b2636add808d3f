#pragma once

#include "view/options.h"

#include <string>

namespace view {

/// Runs a command. \return the exit status
int Run(const Options& options);

/// The commands.
int MakePictures(const Options& options);
int BringBack(const Options& options);
int WriteCapture(const Options& options);
int DrawRegions(const Options& options);
int ShowPage(const Options& options);

/// Why there is no picture of a recording.
std::string NothingToShow(const Options& options);

constexpr char noOutput[] = "standard output cannot be written";

/// Writes a line on standard error.
void Say(const std::string& text);

/// Says why the program failed. \return \p status
int Fail(int status, const std::string& problem);

}  // namespace view
