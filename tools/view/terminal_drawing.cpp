#include "view/terminal_drawing.h"

#include <algorithm>

namespace view {

namespace {

constexpr std::size_t mostColumns = 80;

constexpr char noColour[] = "\x1b[0m";
constexpr char full[] = "\xE2\x96\x88";
constexpr char upper[] = "\xE2\x96\x80";
constexpr char lower[] = "\xE2\x96\x84";

/// The pixels of a picture that become one half of a block.
struct Cells {
    explicit Cells(const Picture& pictureToDraw)
        : picture(pictureToDraw), columns(std::min<std::size_t>(picture.width, mostColumns)),
          rows(std::max<std::size_t>(1, picture.Height() * columns / picture.width))
    {
    }

    /// The mean of the opaque pixels; transparent if these are less than a quarter.
    Colour At(std::size_t column, std::size_t row) const
    {
        const std::size_t right = (column + 1) * picture.width / columns;
        const std::size_t bottom = (row + 1) * picture.Height() / rows;
        std::size_t red = 0;
        std::size_t green = 0;
        std::size_t blue = 0;
        std::size_t opaque = 0;
        std::size_t all = 0;
        for (std::size_t y = row * picture.Height() / rows; y < bottom; ++y) {
            for (std::size_t x = column * picture.width / columns; x < right; ++x, ++all) {
                const Colour& colour = picture.colours[picture.pixels[y * picture.width + x]];
                if (colour.alpha > 0) {
                    red += colour.red;
                    green += colour.green;
                    blue += colour.blue;
                    ++opaque;
                }
            }
        }
        if (opaque == 0 || 4 * opaque < all) {
            return transparent;
        }
        return {static_cast<unsigned char>(red / opaque),
                static_cast<unsigned char>(green / opaque),
                static_cast<unsigned char>(blue / opaque)};
    }

    const Picture& picture;
    std::size_t columns;
    std::size_t rows;
};

/// A line without the blanks at its end.
std::string Trimmed(const std::string& line)
{
    return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

std::string Code(const char* place, const Colour& colour)
{
    return "\x1b[" +
           (colour == transparent
                ? std::string(place) + "9"
                : std::string(place) + "8;2;" + std::to_string(colour.red) + ";" +
                      std::to_string(colour.green) + ";" + std::to_string(colour.blue)) +
           "m";
}

std::string ColouredLine(const std::vector<Colour>& above, const std::vector<Colour>& below)
{
    std::string line;
    Colour foreground = transparent;
    Colour background = transparent;
    for (std::size_t i = 0; i < above.size(); ++i) {
        const bool isLower = above[i] == transparent;
        const Colour& front = isLower ? below[i] : above[i];
        const Colour& back = isLower ? above[i] : below[i];
        if (!(front == transparent) && !(front == foreground)) {
            line += Code("3", front);
            foreground = front;
        }
        if (!(back == background)) {
            line += Code("4", back);
            background = back;
        }
        line += front == transparent ? " " : isLower ? lower : upper;
    }
    const bool isColoured = !(foreground == transparent) || !(background == transparent);
    return Trimmed(isColoured ? line + noColour : line);
}

int Brightness(const Colour& colour)
{
    return colour == transparent ? 0 : 299 * colour.red + 587 * colour.green + 114 * colour.blue;
}

std::string PlainLine(const std::vector<Colour>& above, const std::vector<Colour>& below,
                      int threshold)
{
    std::string line;
    for (std::size_t i = 0; i < above.size(); ++i) {
        const bool isAbove = Brightness(above[i]) > threshold;
        const bool isBelow = Brightness(below[i]) > threshold;
        line += isAbove && isBelow ? full : isAbove ? upper : isBelow ? lower : " ";
    }
    return Trimmed(line);
}

}  // namespace

std::string DrawingOf(const Picture& picture, bool hasColour)
{
    const Cells cells(picture);
    std::vector<std::vector<Colour>> rows;
    int darkest = Brightness({255, 255, 255});
    int brightest = 0;
    for (std::size_t y = 0; y < cells.rows + cells.rows % 2; ++y) {
        rows.emplace_back(cells.columns, transparent);
        for (std::size_t x = 0; y < cells.rows && x < cells.columns; ++x) {
            rows[y][x] = cells.At(x, y);
            darkest = std::min(darkest, Brightness(rows[y][x]));
            brightest = std::max(brightest, Brightness(rows[y][x]));
        }
    }
    // A picture of one colour is drawn unless it is black.
    const int threshold = darkest == brightest ? 0 : darkest + (brightest - darkest) / 2;
    std::string text;
    for (std::size_t y = 0; y < rows.size(); y += 2) {
        text += hasColour ? ColouredLine(rows[y], rows[y + 1])
                          : PlainLine(rows[y], rows[y + 1], threshold);
    }
    return text;
}

}  // namespace view
