#pragma once

#include <string>

/// A fresh folder with mode 0700. The destructor removes it with all it holds; after a failed test
/// it stays, and its path is printed.
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

/// The whole file; empty when there is none.
std::string ReadWholeFile(const std::string& path);

void WriteWholeFile(const std::string& path, const std::string& content);
