#pragma once

namespace control {

/// One screen of examples. Tests run each of them, in this order.
///
/// Lines that begin with two blanks have a command, and what it does after two more.
extern const char* const cheatSheet;

}  // namespace control
