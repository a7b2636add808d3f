#include "recording/line_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace recording;

namespace {

void Put(LineInput& input, const std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        std::size_t room = 0;
        char* const bytes = input.Room(room);
        const std::size_t count = std::min(room, text.size() - at);
        std::memcpy(bytes, text.data() + at, count);
        input.Received(count);
        at += count;
    }
}

std::vector<std::string> TakeLines(LineInput& input)
{
    std::vector<std::string> lines;
    char* line = nullptr;
    std::size_t length = 0;
    while (input.Next(line, length) == LineInput::Cut::Line) {
        EXPECT_EQ(line[length], '\0');
        lines.emplace_back(line, length);
    }
    return lines;
}

TEST(LineInput, CutsLinesThatArriveInAnyPieces)
{
    const std::string text = "one\n\ntwo three\n" + std::string(200000, 'x') + "\nrest";
    const std::vector<std::string> expected = {"one", "", "two three", std::string(200000, 'x')};
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, text.size()}) {
        LineInput input;
        std::vector<std::string> lines;
        for (std::size_t at = 0; at < text.size(); at += piece) {
            Put(input, text.substr(at, piece));
            for (const std::string& line : TakeLines(input)) {
                lines.push_back(line);
            }
        }
        EXPECT_EQ(lines, expected) << piece;
        EXPECT_EQ(input.Rest(), 4u) << piece;
    }
}

TEST(LineInput, RefusesALineThatIsLongerThanAnyMessage)
{
    LineInput input;
    Put(input, std::string(longestLine, 'x'));
    char* line = nullptr;
    std::size_t length = 0;
    EXPECT_EQ(input.Next(line, length), LineInput::Cut::NeedsInput);
    Put(input, "x");
    EXPECT_EQ(input.Next(line, length), LineInput::Cut::TooLong);
}

}  // namespace
