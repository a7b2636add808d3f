#pragma once

#include <cstddef>
#include <string_view>

namespace view {

/// A file of the page, which is part of the program.
struct PageFile {
    const char* path;
    const char* type;
    const unsigned char* bytes;
    std::size_t size;
};

/// \return null when there is none at this path
const PageFile* FindPageFile(std::string_view path);

}  // namespace view
