#include "view/png_decoder.h"

#include "recording/lines.h"

#include <array>
#include <csetjmp>
#include <cstring>
#include <map>
#include <new>
#include <png.h>

namespace view {

namespace {

constexpr std::size_t mostColours = 256;

/// After an error libpng jumps back to setjmp(), past destructors: all objects are made before it.
class Decoder {
public:
    explicit Decoder(const std::string& pngToRead)
        : png(pngToRead),
          reader(png_create_read_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning)),
          info(png_create_info_struct(reader))
    {
        if (!reader || !info) {
            png_destroy_read_struct(&reader, &info, nullptr);
            throw std::bad_alloc();
        }
    }
    ~Decoder() { png_destroy_read_struct(&reader, &info, nullptr); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    bool ReadHead()
    {
        if (setjmp(png_jmpbuf(reader)) != 0) {
            return false;
        }
        png_set_read_fn(reader, this, Take);
        png_read_info(reader, info);
        isIndexed = png_get_color_type(reader, info) == PNG_COLOR_TYPE_PALETTE;
        if (isIndexed) {
            png_set_packing(reader);
            ReadPalette();
        } else {
            png_set_expand(reader);
            png_set_scale_16(reader);
            png_set_gray_to_rgb(reader);
            png_set_add_alpha(reader, 0xFF, PNG_FILLER_AFTER);
        }
        png_set_interlace_handling(reader);
        png_read_update_info(reader, info);
        return true;
    }

    /// \param rows  one for each of the picture
    bool ReadRows(std::vector<png_bytep>& rows)
    {
        if (setjmp(png_jmpbuf(reader)) != 0) {
            return false;
        }
        png_read_image(reader, rows.data());
        png_read_end(reader, nullptr);
        return true;
    }

    std::size_t Width() const { return png_get_image_width(reader, info); }
    std::size_t Height() const { return png_get_image_height(reader, info); }
    std::size_t PixelSize() const { return isIndexed ? 1 : 4; }

    bool isIndexed = false;
    std::array<Colour, mostColours> palette{};
    std::string problem;

private:
    void ReadPalette()
    {
        png_colorp colours = nullptr;
        png_bytep alphas = nullptr;
        int count = 0;
        int alphaCount = 0;
        png_get_PLTE(reader, info, &colours, &count);
        png_get_tRNS(reader, info, &alphas, &alphaCount, nullptr);
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            const bool hasAlpha = i < static_cast<std::size_t>(alphaCount);
            palette[i] = {colours[i].red, colours[i].green, colours[i].blue,
                          hasAlpha ? alphas[i] : png_byte{255}};
        }
    }

    static void Take(png_structp reader, png_bytep bytes, std::size_t count)
    {
        Decoder& self = *static_cast<Decoder*>(png_get_io_ptr(reader));
        if (count > self.png.size() - self.at) {
            png_error(reader, "the file is not complete");
        }
        std::memcpy(bytes, self.png.data() + self.at, count);
        self.at += count;
    }

    [[noreturn]] static void OnError(png_structp reader, png_const_charp text)
    {
        static_cast<Decoder*>(png_get_error_ptr(reader))->problem = text;
        png_longjmp(reader, 1);
    }

    static void OnWarning(png_structp /*reader*/, png_const_charp /*text*/) {}

    const std::string& png;
    std::size_t at = 0;
    png_structp reader;
    png_infop info;
};

/// A colour as a palette can have it: opaque or transparent.
Colour Simplified(Colour colour, bool& isSimplified)
{
    isSimplified |= colour.alpha != 0 && colour.alpha != 255;
    const bool isOpaque = colour.alpha >= 128;
    colour.alpha = 255;
    return isOpaque ? colour : transparent;
}

void TakeIndices(const std::vector<unsigned char>& bytes, const Decoder& decoder,
                 DecodedPicture& decoded)
{
    decoded.picture.pixels.assign(bytes.begin(), bytes.end());
    std::array<bool, mostColours> areUsed{};
    for (const unsigned char byte : bytes) {
        areUsed[byte] = true;
    }
    for (std::size_t i = 0; i < mostColours; ++i) {
        bool isSimplified = false;
        decoded.picture.colours.push_back(Simplified(decoder.palette[i], isSimplified));
        decoded.isSimplified |= areUsed[i] && isSimplified;
    }
}

/// \return false when there are too many colours
bool NumberColours(const std::vector<unsigned char>& bytes, DecodedPicture& decoded)
{
    std::vector<Colour>& colours = decoded.picture.colours;
    std::map<std::uint32_t, std::uint32_t> numbers;
    const auto add = [&](const Colour& colour) {
        const auto next = static_cast<std::uint32_t>(colours.size());
        const auto [place, isNew] = numbers.emplace(NumberOf(colour), next);
        if (isNew) {
            colours.push_back(colour);
        }
        return place->second;
    };
    for (std::size_t i = 0; i < bytes.size() && colours.empty(); i += 4) {
        if (bytes[i + 3] < 128) {
            add(transparent);
        }
    }
    for (std::size_t i = 0; i < bytes.size() && colours.size() <= mostColours; i += 4) {
        const Colour colour{bytes[i], bytes[i + 1], bytes[i + 2], bytes[i + 3]};
        decoded.picture.pixels.push_back(add(Simplified(colour, decoded.isSimplified)));
    }
    return colours.size() <= mostColours;
}

}  // namespace

bool DecodePng(const std::string& png, DecodedPicture& decoded, std::string& problem)
{
    Decoder decoder(png);
    if (!decoder.ReadHead()) {
        problem = decoder.problem;
        return false;
    }
    if (decoder.Width() * decoder.Height() > recording::largestData) {
        problem = "more pixels than a message carries";
        return false;
    }
    const std::size_t rowSize = decoder.Width() * decoder.PixelSize();
    std::vector<unsigned char> bytes(rowSize * decoder.Height());
    std::vector<png_bytep> rows;
    for (std::size_t y = 0; y < decoder.Height(); ++y) {
        rows.push_back(bytes.data() + y * rowSize);
    }
    if (!decoder.ReadRows(rows)) {
        problem = decoder.problem;
        return false;
    }
    decoded = {};
    decoded.picture.width = static_cast<unsigned int>(decoder.Width());
    if (decoder.isIndexed) {
        TakeIndices(bytes, decoder, decoded);
    } else if (!NumberColours(bytes, decoded)) {
        problem = "more than 256 colours";
        return false;
    }
    return true;
}

}  // namespace view
