#include "tests/editing/sub_console_texts.h"

std::string DynamicTestMenu(unsigned start, unsigned increment, unsigned width, unsigned height,
                            bool shapesOn)
{
    const auto number = [](unsigned value) { return std::to_string(value) + ")\n"; };
    return "\n"
           "Choose an option:\n"
           "1) Set pixel start value (currently " +
           number(start) + "2) Set pixel incr value  (currently " + number(increment) +
           "3) Set segment width     (currently " + number(width) +
           "4) Set segment height    (currently " + number(height) +
           "5) Add/remove shapes     (currently " + (shapesOn ? "on)\n" : "off)\n") +
           "s) step up initial color value\n"
           "x) Exit\n"
           "\n";
}

std::string SensorTestMenu()
{
    return "\n"
           "Choose an sensor option:\n"
           "1) Brakes ON\n"
           "2) Brakes OFF\n"
           "3) Mics ON\n"
           "4) Mics OFF\n"
           "5) Lights ON\n"
           "6) Lights OFF\n"
           "7) Siren ON\n"
           "8) Siren OFF\n"
           "9) Aux ON\n"
           "0) Aux OFF\n"
           "n) Crash ON\n"
           "m) Crash OFF\n"
           "c) Clear statistics\n"
           "s) View statistics\n"
           "x) Exit\n"
           "\n";
}
