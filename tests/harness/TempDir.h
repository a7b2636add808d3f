#pragma once

#include <string>

/// A new folder with mode 0700. The destructor removes it with its files. After a failed test it
/// keeps the folder and prints its path.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path; }

    /// Path of \p name inside the folder.
    std::string operator/(const std::string& name) const { return path + "/" + name; }

private:
    std::string path;
};

/// The whole file; empty when the file does not exist.
std::string ReadWholeFile(const std::string& path);

void WriteWholeFile(const std::string& path, const std::string& content);
