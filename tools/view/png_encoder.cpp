#include "view/png_encoder.h"

#include <array>
#include <csetjmp>
#include <new>
#include <png.h>

namespace view {

namespace {

constexpr std::size_t mostEntries = 256;

/// After an error libpng jumps back to setjmp(), past destructors: all objects are made before it.
struct Encoder {
    Encoder(const Picture& pictureToWrite, unsigned int scaleToUse, std::string& pngToMake)
        : picture(pictureToWrite), scale(scaleToUse), png(pngToMake),
          isIndexed(picture.colours.size() <= mostEntries),
          row(std::size_t{picture.width} * scale * (isIndexed ? 1 : 4)),
          writer(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning)),
          info(png_create_info_struct(writer))
    {
        for (std::size_t i = 0; isIndexed && i < picture.colours.size(); ++i) {
            const Colour& colour = picture.colours[i];
            palette[i] = {colour.red, colour.green, colour.blue};
            alphas[i] = colour.alpha;
            alphaCount = colour.alpha < 255 ? i + 1 : alphaCount;
        }
    }
    ~Encoder() { png_destroy_write_struct(&writer, &info); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    bool Encode()
    {
        if (!writer || !info) {
            throw std::bad_alloc();
        }
        if (setjmp(png_jmpbuf(writer)) != 0) {
            return false;
        }
        WriteHead();
        for (std::size_t y = 0; y < picture.Height(); ++y) {
            FillRow(y);
            for (unsigned int i = 0; i < scale; ++i) {
                png_write_row(writer, row.data());
            }
        }
        png_write_end(writer, info);
        return true;
    }

    const Picture& picture;
    const unsigned int scale;
    std::string& png;

private:
    void WriteHead()
    {
        png_set_write_fn(writer, this, Append, nullptr);
        png_set_user_limits(writer, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_filter(writer, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
        png_set_compression_level(writer, 1);
        png_set_IHDR(writer, info, picture.width * scale,
                     static_cast<png_uint_32>(picture.Height() * scale), 8,
                     isIndexed ? PNG_COLOR_TYPE_PALETTE : PNG_COLOR_TYPE_RGB_ALPHA,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE);
        if (isIndexed) {
            png_set_PLTE(writer, info, palette.data(), static_cast<int>(picture.colours.size()));
        }
        if (alphaCount > 0) {
            png_set_tRNS(writer, info, alphas.data(), static_cast<int>(alphaCount), nullptr);
        }
        png_write_info(writer, info);
    }

    void FillRow(std::size_t y)
    {
        unsigned char* out = row.data();
        for (std::size_t x = 0; x < picture.width; ++x) {
            const std::uint32_t pixel = picture.pixels[y * picture.width + x];
            for (unsigned int i = 0; i < scale; ++i) {
                if (isIndexed) {
                    *out++ = static_cast<unsigned char>(pixel);
                } else {
                    const Colour& colour = picture.colours[pixel];
                    *out++ = colour.red;
                    *out++ = colour.green;
                    *out++ = colour.blue;
                    *out++ = colour.alpha;
                }
            }
        }
    }

    static void Append(png_structp writer, png_bytep bytes, std::size_t count)
    {
        bool isDone = true;
        try {
            static_cast<Encoder*>(png_get_io_ptr(writer))
                ->png.append(reinterpret_cast<const char*>(bytes), count);
        } catch (const std::bad_alloc&) {
            isDone = false;
        }
        if (!isDone) {  // not in the handler: the jump would leave it open
            png_error(writer, "no memory");
        }
    }

    [[noreturn]] static void OnError(png_structp writer, png_const_charp /*text*/)
    {
        png_longjmp(writer, 1);
    }

    static void OnWarning(png_structp /*writer*/, png_const_charp /*text*/) {}

    const bool isIndexed;
    std::vector<unsigned char> row;
    std::array<png_color, mostEntries> palette{};
    std::array<png_byte, mostEntries> alphas{};
    std::size_t alphaCount = 0;
    png_structp writer;
    png_infop info;
};

}  // namespace

std::string EncodePng(const Picture& picture, unsigned int scale)
{
    std::string png;
    if (!Encoder(picture, scale, png).Encode()) {
        throw std::bad_alloc();  // the only error: sizes and colours are in range
    }
    return png;
}

}  // namespace view
