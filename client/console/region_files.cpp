// File reading and writing of SubtitleMgrCli. File errors go to the log and never to the console.

#include "cli/SubtitleMgrCli.h"
#include "console/log_entry.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>

namespace {

/// Kept on purpose: the entries about reading name an operation that the client does not have, and
/// those about writing name none. Users search their logs for these words.
constexpr char readNote[] = "SubtitleRegion::UpdateRegionFile() - ";

/// Closes the file at its end.
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Kept on purpose: one fread(), so any short count is a failure.
/// \return the bytes read: \p size when \p data now holds them, else \p data is as it was. Without
///         memory for the buffer, 0
std::size_t ReadInto(std::vector<unsigned char>& data, std::size_t size, std::FILE* file)
{
    // Not zeroed: a size far beyond the file's end costs no more than the bytes that are there.
    const std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[size]);
    if (!buffer) {
        return 0;
    }
    const std::size_t count = std::fread(buffer.get(), 1, size, file);
    if (count == size) {
        data.assign(buffer.get(), buffer.get() + size);
    }
    return count;
}

}  // namespace

void SubtitleMgrCli::ReadFile(const std::string& path, unsigned int size,
                              std::vector<unsigned char>& data)
{
    const File file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) {
        MakeLogEntry(logErrors, __LINE__, readNote, "Error opening file ", path);
        return;
    }
    MakeLogEntry(logSuccess, __LINE__, readNote, "Successfully opened file ", path);

    const std::size_t count = ReadInto(data, size, file.get());
    if (count < size) {
        MakeLogEntry(logErrors, __LINE__, readNote, "Error reading file ( ", count, " of ", size,
                     " )");
    }
}

void SubtitleMgrCli::WriteFile(const std::string& path, unsigned int size,
                               std::vector<unsigned char>& data)
{
    // The count is the caller's, not the vector's. A table that could not be read is shorter, and
    // then an output file of an earlier run stays as it is.
    if (size > data.size()) {
        MakeLogEntry(logErrors, __LINE__, "Error writing output file ( ", 0, " of ", size, " )");
        return;
    }
    const File file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!file) {
        MakeLogEntry(logErrors, __LINE__, "Error opening output file ", path);
        return;
    }
    MakeLogEntry(logSuccess, __LINE__, "Successfully opened output file ", path);

    // Unbuffered: then fwrite()'s count shows a full disk, and not fclose(), whose result is
    // ignored.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    const std::size_t count = std::fwrite(data.data(), 1, size, file.get());
    if (count < size) {
        MakeLogEntry(logErrors, __LINE__, "Error writing output file ( ", count, " of ", size,
                     " )");
    }
}
