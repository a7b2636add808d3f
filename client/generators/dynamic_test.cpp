// Dynamic test of SubtitleMgrCli: sends the test pattern after every change of its settings.

#include "cli/SubtitleMgrCli.h"
#include "console/prompts.h"

#include <RegionDataItem.h>

#include <iostream>

namespace {

struct Settings {
    unsigned char startValue = 0;
    unsigned char increment = 8;
    unsigned int segmentWidth = 80;
    unsigned int segmentHeight = 12;
    bool shapesOn = false;
};

void PrintMenu(const Settings& settings)
{
    const unsigned int startValue = settings.startValue;
    const unsigned int increment = settings.increment;
    const char* shapes = settings.shapesOn ? "on" : "off";
    std::cout << std::endl;
    std::cout << "Choose an option:" << std::endl;
    std::cout << "1) Set pixel start value (currently " << startValue << ")" << std::endl;
    std::cout << "2) Set pixel incr value  (currently " << increment << ")" << std::endl;
    std::cout << "3) Set segment width     (currently " << settings.segmentWidth << ")"
              << std::endl;
    std::cout << "4) Set segment height    (currently " << settings.segmentHeight << ")"
              << std::endl;
    std::cout << "5) Add/remove shapes     (currently " << shapes << ")" << std::endl;
    std::cout << "s) step up initial color value" << std::endl;
    std::cout << "x) Exit" << std::endl;
    std::cout << std::endl;
}

/// Takes the low 8 bits. \p number keeps its value when there is nothing to read, and \p byte is
/// then set from that.
void AskByte(const char* prompt, unsigned int& number, unsigned char& byte)
{
    AskNumber(prompt, number);
    byte = static_cast<unsigned char>(number);
}

constexpr unsigned actionDone = 3;

}  // namespace

// Kept on purpose: no prompt here discards the rest of its line, and the numbers are set to 0 once
// and not before each prompt.
unsigned SubtitleMgrCli::DynamicTest()
{
    RegionDataItem item;
    Settings settings;
    unsigned int regionNumber = 0;
    unsigned int startNumber = 0;
    unsigned int stepNumber = 0;

    const auto generateAndSend = [&] {
        GenerateTestPattern(item, settings.startValue, settings.increment, settings.segmentWidth,
                            settings.segmentHeight);
        subtitleClient.SetRegionData(item);
    };

    AskByte("Enter region ID: ", regionNumber, item.regionId);
    generateAndSend();

    char key = 0;
    for (;;) {
        PrintMenu(settings);
        ReadMenuKey(key);
        switch (key) {
        case '1': AskByte("Enter pixel start value: ", startNumber, settings.startValue); break;
        case '2': AskByte("Enter pixel increment value: ", stepNumber, settings.increment); break;
        case '3': AskNumber("Enter segment width: ", settings.segmentWidth); break;
        case '4': AskNumber("Enter segment height: ", settings.segmentHeight); break;
        case '5': settings.shapesOn = !settings.shapesOn; break;
        case 's': ++settings.startValue; break;
        case 'x':
        case 'q': return actionDone;
        default: DiscardOneCharacter(); break;
        }
        // Kept on purpose: unknown keys send as well, and the shapes come after the send, so that
        // no pass ever sends them.
        generateAndSend();
        if (settings.shapesOn) {
            AddShapes(item);
        }
    }
}
