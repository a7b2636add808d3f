// The command from-png.

#include "view/output_folder.h"
#include "view/png_decoder.h"
#include "view/view.h"
#include "words/exit_status.h"
#include "words/file_contents.h"
#include "words/text.h"

#include <iostream>
#include <optional>

namespace view {

namespace {

constexpr std::size_t largestFile = 64u * 1024u * 1024u;
constexpr std::size_t tableEntries = 256;
constexpr unsigned int regionWidth = 640;

/// `pictures/logo.png` -> `logo`
std::string NameOf(const std::string& path)
{
    const std::string file = path.substr(path.rfind('/') + 1);
    const std::size_t end = file.size() > 4 ? file.size() - 4 : 0;
    return end > 0 && file.substr(end) == ".png" ? file.substr(0, end) : file;
}

/// The bytes of a bitmap. All transparent pixels get one index, since key 5 marks one entry.
std::string BitmapOf(const Picture& picture, std::optional<std::uint32_t>& transparentIndex)
{
    std::string bitmap;
    for (std::uint32_t pixel : picture.pixels) {
        if (picture.colours[pixel] == transparent) {
            transparentIndex = transparentIndex.value_or(pixel);
            pixel = *transparentIndex;
        }
        bitmap += static_cast<char>(pixel);
    }
    return bitmap;
}

/// A whole palette file; the fourth byte of an entry is its opacity.
template <typename BytesOf>
std::string TableOf(const std::vector<Colour>& colours, BytesOf bytesOf)
{
    std::string table;
    for (std::size_t i = 0; i < tableEntries; ++i) {
        table += bytesOf(i < colours.size() ? colours[i] : Colour());
        table += static_cast<char>(i < colours.size() ? colours[i].alpha : 255);
    }
    return table;
}

std::string Bytes(unsigned char first, unsigned char second, unsigned char third)
{
    return {static_cast<char>(first), static_cast<char>(second), static_cast<char>(third)};
}

std::string RgbBytes(const Colour& colour)
{
    const Colour given = ConsoleColour(NearestEntry(colour));
    return Bytes(given.blue, given.green, given.red);
}

std::string ExactBytes(const Colour& colour)
{
    const Entry entry = colour == transparent ? Entry{0, 128, 128} : NearestEntry(colour);
    return Bytes(entry.y, entry.cb, entry.cr);
}

void ShowKeys(const std::string& path, unsigned int region, std::size_t size,
              const std::optional<std::uint32_t>& transparentIndex)
{
    std::cout << "3 " << region << " " << path << ".bitmap " << size << "\n"
              << "5 " << region << " " << path << ".rgb t "
              << (transparentIndex ? "t " + std::to_string(*transparentIndex) : "f") << "\n"
              << "4 " << region << " t\n";
    Say("for the exact palette: 5 " + std::to_string(region) + " " + path + ".ycbcr f 1 f");
}

}  // namespace

int BringBack(const Options& options)
{
    std::string png;
    std::string problem;
    DecodedPicture decoded;
    if (!words::ReadFile(options.input, largestFile, png, problem) ||
        !DecodePng(png, decoded, problem)) {
        return Fail(words::exitUnusable, options.input + ": " + problem);
    }
    const std::string name = NameOf(options.input);
    const std::string path = options.output + "/" + name;
    if (path.find_first_of(" \t\n\v\f\r") != std::string::npos) {
        return Fail(words::exitUnusable,
                    words::Quoted(path) + ": the console reads no file name with a blank");
    }
    OutputFolder folder(options.output);
    const Picture& picture = decoded.picture;
    std::optional<std::uint32_t> transparentIndex;
    const std::string bitmap = BitmapOf(picture, transparentIndex);
    folder.Write(name + ".bitmap", bitmap);
    folder.Write(name + ".rgb", TableOf(picture.colours, RgbBytes));
    folder.Write(name + ".ycbcr", TableOf(picture.colours, ExactBytes));
    if (!folder.Problem().empty()) {
        return Fail(words::exitFailed, folder.Problem());
    }
    ShowKeys(folder.PathOf(name), options.region.value_or(1), bitmap.size(), transparentIndex);
    if (decoded.isSimplified) {
        Say("half transparent pixels became opaque or transparent");
    }
    if (picture.width != regionWidth) {
        Say("the rows have " + std::to_string(picture.width) + " pixels, not 640");
    }
    return words::exitDone;
}

}  // namespace view
