#pragma once

#include "simulator/play/step.h"

#include "words/directives.h"
#include "words/text.h"

#include <Item.h>

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// What is wrong in a line, and at which column, counted from 1.
struct LineMistake {
    std::size_t column;
    std::string reason;  ///< with the nearest right word, if there is one
};

/// Reads the lines that scenarios and the control socket share. A step's time is left alone.
///
///     region-data 3 hd 00010203ff -> a frame for the subscribers of HD
///     refused: region-data 3 hdd 0 (column 15: format 'hdd' ..., column 19: '0' ...)
class LineParser {
public:
    /// \param place   of the lines: Scenario or Control
    /// \param folder  of relative names after @; empty or with a slash at the end
    LineParser(words::Place place, std::string folder);

    /// Finds the directive of a line that has words.
    /// \return null with Mistakes(), see words::FindDirective
    const words::Directive* Find(const words::Line& line);

    // Each of these takes a line that Find has accepted. \return false with Mistakes()

    /// region-data, visibility and palette.
    bool Publication(const words::Line& line, Step& step);
    bool WaitSubscribers(const words::Line& line, Step& step);
    /// The words separated by one blank, with ? for control characters.
    bool Log(const words::Line& line, Step& step);
    bool Sleep(const words::Line& line, std::int64_t& us);

    /// All mistakes of the line that Find had last.
    const std::vector<LineMistake>& Mistakes() const { return mistakes; }

private:
    void RegionData(Step& step);
    void Visibility(Step& step);
    void Palette(Step& step);
    unsigned char Byte(std::size_t index, const char* what);
    unsigned char Format(std::size_t index);
    bool TrueOrFalse(std::size_t index, const char* what);
    std::vector<unsigned char> Bytes(std::size_t index);
    void Publish(Step& step, unsigned int subscription, const Item& record);
    void Refuse(std::size_t index, const std::string& reason);

    const words::Place place;
    const std::string folder;
    const words::Line* current = nullptr;  ///< the one that is read, only during a call
    std::vector<LineMistake> mistakes;
};

}  // namespace sim
