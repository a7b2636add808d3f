#include "view/picture.h"

#include <algorithm>
#include <bitset>
#include <map>

namespace view {

namespace {

constexpr std::size_t byteValues = 256;
constexpr std::size_t entrySize = 4;
constexpr unsigned int cif = 2;
constexpr std::size_t cifValues = 4;

using Values = std::bitset<byteValues>;

Values ValuesIn(const std::vector<unsigned char>& bitmap)
{
    Values values;
    for (const unsigned char byte : bitmap) {
        values.set(byte);
    }
    return values;
}

Colour Grey(std::size_t step, std::size_t steps)
{
    const auto grey = static_cast<unsigned char>(255 * step / (steps - 1));
    return {grey, grey, grey};
}

Colour ColourOfByte(std::size_t byte, const Region& region, std::size_t greySteps)
{
    const std::size_t at = byte * entrySize;
    const auto& palette = region.palette;
    if (region.format == cif && byte >= cifValues) {
        return marked;
    }
    if (!HasPalette(region)) {
        return byte < greySteps ? Grey(byte, greySteps) : marked;
    }
    return at + entrySize <= palette.size()
               ? ColourOf({palette[at], palette[at + 1], palette[at + 2]})
               : marked;
}

/// The index of a transparent colour, which takes the place of an unused one if there is none.
std::uint32_t TransparentIndex(std::vector<Colour>& colours, const Values& used)
{
    auto found = std::find(colours.begin(), colours.end(), transparent);
    if (found == colours.end()) {
        std::size_t unused = 0;
        while (unused < byteValues && used[unused]) {
            ++unused;
        }
        colours.resize(std::max(colours.size(), unused + 1));
        colours[unused] = transparent;
        return static_cast<std::uint32_t>(unused);
    }
    return static_cast<std::uint32_t>(found - colours.begin());
}

}  // namespace

Picture PictureOf(const Region& region, unsigned int width)
{
    const Values used = ValuesIn(region.bitmap);
    const bool areFew = region.format == cif || (used >> cifValues).none();
    Picture picture;
    picture.width = width;
    for (std::size_t byte = 0; byte < byteValues; ++byte) {
        picture.colours.push_back(ColourOfByte(byte, region, areFew ? cifValues : byteValues));
    }
    picture.pixels.assign(region.bitmap.begin(), region.bitmap.end());
    const std::size_t rest = picture.pixels.size() % width;
    if (rest > 0) {
        picture.pixels.resize(picture.pixels.size() + width - rest,
                              TransparentIndex(picture.colours, used));
    }
    return picture;
}

Picture Stack(const std::vector<Picture>& pictures)
{
    Picture stack;
    std::map<std::uint32_t, std::uint32_t> indices;
    for (const Picture& picture : pictures) {
        constexpr auto none = static_cast<std::uint32_t>(-1);
        std::vector<std::uint32_t> replacements(picture.colours.size(), none);
        stack.width = picture.width;
        for (const std::uint32_t pixel : picture.pixels) {
            std::uint32_t& index = replacements[pixel];
            if (index == none) {
                const Colour& colour = picture.colours[pixel];
                const auto next = static_cast<std::uint32_t>(stack.colours.size());
                const auto [place, isNew] = indices.emplace(NumberOf(colour), next);
                if (isNew) {
                    stack.colours.push_back(colour);
                }
                index = place->second;
            }
            stack.pixels.push_back(index);
        }
    }
    return stack;
}

}  // namespace view
