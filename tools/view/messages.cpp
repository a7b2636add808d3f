#include "view/messages.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace view {

using recording::Reader;

Messages::Messages(const std::string& path, std::optional<std::int64_t> untilUsToUse)
    : name(path), untilUs(untilUsToUse),
      file(name == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                       : open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)),
      reader(name, name == "-" ? Reader::Start::HeaderOptional : Reader::Start::WithHeader)
{
    if (!file) {
        mistake = name + ": " + std::strerror(errno);
    }
}

const recording::AnyLine* Messages::NextLine()
{
    while (mistake.empty()) {
        switch (reader.Next(line)) {
        case Reader::Found::Line: return IsWanted() ? &line : nullptr;
        case Reader::Found::NeedsInput:
            if (!Read()) {
                return nullptr;
            }
            break;
        case Reader::Found::End: return nullptr;
        case Reader::Found::Mistake: mistake = reader.Mistake(); break;
        }
    }
    return nullptr;
}

const recording::Notification* Messages::Next()
{
    while (NextLine()) {
        const auto* const found = std::get_if<recording::Notification>(&line);
        if (found && found->data.AreThere()) {
            return found;
        }
        if (found) {
            mistake = name + ":" + std::to_string(LineNumber()) + ":1: it has no bytes";
        }
    }
    return nullptr;
}

bool Messages::IsWanted()
{
    if (std::holds_alternative<recording::Header>(line)) {
        return true;
    }
    const std::int64_t us = std::visit([](const auto& any) { return any.at.monoUs; }, line);
    firstUs = firstUs ? firstUs : us;
    return !untilUs || us - *firstUs <= *untilUs;
}

bool Messages::Read()
{
    std::size_t room = 0;
    char* const bytes = reader.Room(room);
    const ssize_t count = read(file.Get(), bytes, room);
    if (count > 0) {
        reader.Received(static_cast<std::size_t>(count));
    } else if (count == 0) {
        reader.EndInput();
    } else if (errno == EINTR) {
        return false;
    } else {
        mistake = name + ": cannot be read: " + std::strerror(errno);
    }
    return true;
}

}  // namespace view
