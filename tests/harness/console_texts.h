#pragma once

#include <string>

/// The menu of tests/sessions/texts/ with its first and last empty line, in each of its two states.
std::string SubscribedMenu();
std::string UnsubscribedMenu();
