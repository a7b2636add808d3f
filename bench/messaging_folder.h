#pragma once

#include <string>

/// A private messaging directory. Endpoints and services find it through the environment until
/// another one is made. The destructor removes it with its contents.
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
