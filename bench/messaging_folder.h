#pragma once

#include <string>

/// A messaging directory of its own, which endpoints and services find through the environment as
/// long as no other one is made. The destructor removes it with all it holds.
class MessagingFolder {
public:
    MessagingFolder();
    ~MessagingFolder();
    MessagingFolder(const MessagingFolder&) = delete;
    MessagingFolder& operator=(const MessagingFolder&) = delete;

    /// Path of \p name inside the folder.
    std::string operator/(const std::string& name) const { return path + "/" + name; }

private:
    std::string path;
};
