// Sensor test of SubtitleMgrCli: sends sensor states without the real inputs changing.

#include "cli/SubtitleMgrCli.h"
#include "console/prompts.h"
#include "stats/SubtitleStats.h"

#include <iostream>

namespace {

// By value: the enumerators' names differ between SDKs.
// Kept on purpose: Mics is the second on the menu and has the last value.
constexpr e_Sensors brakes = static_cast<e_Sensors>(0);
constexpr e_Sensors lights = static_cast<e_Sensors>(1);
constexpr e_Sensors siren = static_cast<e_Sensors>(2);
constexpr e_Sensors aux = static_cast<e_Sensors>(3);
constexpr e_Sensors crash = static_cast<e_Sensors>(4);
constexpr e_Sensors mics = static_cast<e_Sensors>(5);

void PrintMenu()
{
    std::cout << std::endl;
    std::cout << "Choose an sensor option:" << std::endl;
    std::cout << "1) Brakes ON" << std::endl;
    std::cout << "2) Brakes OFF" << std::endl;
    std::cout << "3) Mics ON" << std::endl;
    std::cout << "4) Mics OFF" << std::endl;
    std::cout << "5) Lights ON" << std::endl;
    std::cout << "6) Lights OFF" << std::endl;
    std::cout << "7) Siren ON" << std::endl;
    std::cout << "8) Siren OFF" << std::endl;
    std::cout << "9) Aux ON" << std::endl;
    std::cout << "0) Aux OFF" << std::endl;
    std::cout << "n) Crash ON" << std::endl;
    std::cout << "m) Crash OFF" << std::endl;
    std::cout << "c) Clear statistics" << std::endl;
    std::cout << "s) View statistics" << std::endl;
    std::cout << "x) Exit" << std::endl;
    std::cout << std::endl;
}

struct SensorState {
    e_Sensors sensor;
    bool on;
};

/// \return false when \p key asks to leave
bool HandleKey(char key, SensorState& state)
{
    switch (key) {
    case '1': state = {brakes, true}; return true;
    case '2': state = {brakes, false}; return true;
    case '3': state = {mics, true}; return true;
    case '4': state = {mics, false}; return true;
    case '5': state = {lights, true}; return true;
    case '6': state = {lights, false}; return true;
    case '7': state = {siren, true}; return true;
    case '8': state = {siren, false}; return true;
    case '9': state = {aux, true}; return true;
    case '0': state = {aux, false}; return true;
    case 'n': state = {crash, true}; return true;
    case 'm': state = {crash, false}; return true;
    case 'c': subtitleStats.Clear(); return true;
    case 's': subtitleStats.Display(); return true;
    case 'x':
    case 'q': return false;
    default: DiscardOneCharacter(); return true;
    }
}

}  // namespace

void SubtitleMgrCli::SensorTest()
{
    SensorState state{brakes, false};
    char key = 0;
    bool goesOn = true;
    while (goesOn) {
        PrintMenu();
        ReadMenuKey(key);
        goesOn = HandleKey(key, state);
        // Kept on purpose: the last state is sent after every key, also after keys that choose no
        // sensor and after those that leave.
        if (subtitleClient.SendSensorUpdate(state.sensor, state.on)) {
            std::cout << "Sent sensor =" << static_cast<int>(state.sensor) << "  "
                      << (state.on ? "ON" : "OFF") << std::endl;
        } else {
            std::cerr << "Error Sending sensor" << std::endl;
        }
    }
}
