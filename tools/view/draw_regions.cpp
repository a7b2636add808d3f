// The command terminal.

#include "view/messages.h"
#include "view/terminal_drawing.h"
#include "view/view.h"
#include "words/exit_status.h"

#include <cstdlib>
#include <iostream>

namespace view {

namespace {

bool IsColourWanted(const Options& options)
{
    const char* const variable = secure_getenv("NO_COLOR");
    return !options.noColor && (!variable || *variable == '\0');
}

std::string FormatName(unsigned int format)
{
    constexpr const char* names[] = {"hd", "sd", "cif"};
    return format < 3 ? names[format] : "format " + std::to_string(format);
}

std::string HeadingOf(unsigned int number, const Region& region)
{
    return "region " + std::to_string(number) + " " + FormatName(region.format) + " " +
           (region.visible ? "visible" : "hidden") + (HasPalette(region) ? "" : ", no palette") +
           "\n";
}

}  // namespace

int DrawRegions(const Options& options)
{
    Messages messages(options.input, options.atUs);
    Regions regions;
    while (const recording::Notification* const change = messages.Next()) {
        Apply(*change, regions);
    }
    const bool hasColour = IsColourWanted(options);
    bool isDrawn = false;
    for (const auto& [number, region] : regions) {
        if (!region.bitmap.empty() && (!options.region || options.region == number)) {
            std::cout << HeadingOf(number, region)
                      << DrawingOf(PictureOf(region, options.width), hasColour);
            isDrawn = true;
        }
    }
    if (!messages.Mistake().empty()) {
        return Fail(words::exitUnusable, messages.Mistake());
    }
    return isDrawn ? words::exitDone : Fail(words::exitFailed, NothingToShow(options));
}

}  // namespace view
