// The command png.

#include "view/messages.h"
#include "view/output_folder.h"
#include "view/png_encoder.h"
#include "view/view.h"
#include "words/exit_status.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace view {

namespace {

/// `3` -> `03`, so that files sort by number.
std::string Padded(std::size_t number, std::size_t digits)
{
    const std::string text = std::to_string(number);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
}

class PictureMaker {
public:
    explicit PictureMaker(const Options& optionsToUse)
        : options(optionsToUse), folder(options.output), messages(options.input, options.atUs)
    {
    }

    int Run()
    {
        while (const recording::Notification* const change = NextChange()) {
            Apply(*change, regions);
            if (options.everyChange) {
                WriteChange(*change);
            }
        }
        if (!options.everyChange) {
            WriteAll();
        }
        if (!folder.Problem().empty()) {
            return Fail(words::exitFailed, folder.Problem());
        }
        if (!messages.Mistake().empty()) {
            return Fail(words::exitUnusable, messages.Mistake());
        }
        return count > 0 ? words::exitDone : Fail(words::exitFailed, NothingToShow(options));
    }

private:
    const recording::Notification* NextChange()
    {
        return folder.Problem().empty() ? messages.Next() : nullptr;
    }

    bool IsWanted(unsigned int number) const { return !options.region || options.region == number; }

    void WriteChange(const recording::Notification& change)
    {
        const std::string line = "-" + Padded(messages.LineNumber(), 6);
        const bool isShown = change.kind != recording::NotificationKind::RegionVisibility;
        if (isShown && IsWanted(change.regionId)) {
            WriteRegion(change.regionId, line);
        }
        if (!options.region) {
            WriteScreen(line);
        }
    }

    void WriteAll()
    {
        for (const auto& [number, region] : regions) {
            if (IsWanted(number) && (options.region || !folder.IsStandardOutput())) {
                WriteRegion(number, "");
            }
        }
        if (!options.region) {
            WriteScreen("");
        }
    }

    void WriteRegion(unsigned int number, const std::string& suffix)
    {
        const Region& region = regions[number];
        if (region.bitmap.empty()) {
            return;
        }
        NoteIfGrey(number);
        const std::string name = "region-" + Padded(number, 2) + suffix;
        Write(name + ".png", PictureOf(region, options.width));
        if (HasPalette(region) && !options.everyChange && !folder.IsStandardOutput()) {
            folder.Write(name + ".palette", {region.palette.begin(), region.palette.end()});
        }
    }

    void NoteIfGrey(unsigned int number)
    {
        if (!HasPalette(regions[number]) && noted.insert(number).second) {
            Say("region " + std::to_string(number) + " has no palette: shown in grey steps");
        }
    }

    void WriteScreen(const std::string& suffix)
    {
        std::vector<Picture> visible;
        for (const auto& [number, region] : regions) {
            if (region.visible && !region.bitmap.empty()) {
                NoteIfGrey(number);
                visible.push_back(PictureOf(region, options.width));
            }
        }
        if (!visible.empty()) {
            Write("screen" + suffix + ".png", Stack(visible));
        }
    }

    void Write(const std::string& name, const Picture& picture)
    {
        folder.Write(name, EncodePng(picture, options.scale));
        if (folder.Problem().empty() && !folder.IsStandardOutput()) {
            std::cout << folder.PathOf(name) << "\n";
        }
        ++count;
    }

    const Options& options;
    OutputFolder folder;
    Messages messages;
    Regions regions;
    std::set<unsigned int> noted;
    std::size_t count = 0;
};

}  // namespace

int MakePictures(const Options& options) { return PictureMaker(options).Run(); }

}  // namespace view
