#include "bench/messaging_folder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

MessagingFolder::MessagingFolder()
{
    // Short: a socket address holds 107 characters.
    path = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
    if (!mkdtemp(path.data())) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    setenv("LINX_DIR", path.c_str(), 1);
}

MessagingFolder::~MessagingFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}
