#pragma once

#include "view/colours.h"

#include <gtest/gtest.h>

#include <ostream>
#include <png.h>
#include <string>
#include <vector>

/// A PNG file as libpng's short interface reads it, which the product does not use.
struct DecodedPng {
    explicit DecodedPng(const std::string& png)
    {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        png_image_begin_read_from_memory(&image, png.data(), png.size());
        image.format = PNG_FORMAT_RGBA;
        std::vector<unsigned char> bytes(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr);
        EXPECT_STREQ(image.message, "");
        width = image.width;
        height = image.height;
        for (std::size_t i = 0; i < bytes.size(); i += 4) {
            pixels.push_back({bytes[i], bytes[i + 1], bytes[i + 2], bytes[i + 3]});
        }
        colourType = png.size() > 25 ? png[25] : 0;  // the last byte of the header
    }

    unsigned int width;
    unsigned int height;
    int colourType;
    std::vector<view::Colour> pixels;
};

namespace view {
inline std::ostream& operator<<(std::ostream& out, const Colour& colour)
{
    return out << int{colour.red} << "," << int{colour.green} << "," << int{colour.blue} << ","
               << int{colour.alpha};
}
inline std::ostream& operator<<(std::ostream& out, const Entry& entry)
{
    return out << int{entry.y} << "," << int{entry.cb} << "," << int{entry.cr};
}
}  // namespace view
