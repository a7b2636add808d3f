#include "simulator/play/recording_source.h"

#include "simulator/journal/file_claim.h"
#include "simulator/journal/notification_line.h"
#include "simulator/journal/request_pattern.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

using namespace platform;
using namespace sim;
using recording::Reader;

RecordingSource::RecordingSource()
    : name("-"), fd(STDIN_FILENO), start(Reader::Start::HeaderOptional), reader(name, start)
{
    Claim(fd, Use::Reads);
}

RecordingSource::RecordingSource(std::string path, Descriptor opened)
    : name(std::move(path)), file(std::move(opened)), fd(file.Get()),
      start(Reader::Start::WithHeader), reader(name, start)
{
}

bool RecordingSource::Rewind()
{
    if (!file || lseek(fd, 0, SEEK_SET) != 0) {
        return false;
    }
    reader = Reader(name, start);
    firstUs.reset();
    mistake.clear();
    return true;
}

Source::Found RecordingSource::Next(const Step*& found, Budget& budget)
{
    while (mistake.empty()) {
        switch (reader.Next(line)) {
        case Reader::Found::Line:
            if (!std::holds_alternative<recording::Header>(line)) {
                found = &step;
                return Convert();
            }
            break;
        case Reader::Found::NeedsInput:
            if (budget.IsSpent() || !Read(budget)) {
                return mistake.empty() ? Found::NotYet : Found::Mistake;
            }
            break;
        case Reader::Found::End: return Found::End;
        case Reader::Found::Mistake: mistake = reader.Mistake(); break;
        }
    }
    return Found::Mistake;
}

bool RecordingSource::Read(Budget& budget)
{
    // Standard input stays as it is: other programs may share it, and a flag would be theirs too.
    pollfd input{fd, POLLIN, 0};
    if (!file && poll(&input, 1, 0) == 0) {
        return false;
    }
    std::size_t room = 0;
    char* const bytes = reader.Room(room);
    ssize_t count = 0;
    do {
        count = read(fd, bytes, std::min(room, std::size_t{Budget::ofATurn}));
    } while (count < 0 && errno == EINTR);  // no event tells of a file
    if (count < 0 && errno != EAGAIN) {
        mistake = name + ": cannot be read: " + std::strerror(errno);
    }
    if (count == 0) {
        reader.EndInput();
    }
    if (count > 0) {
        reader.Received(static_cast<std::size_t>(count));
        budget.Spend(static_cast<std::uint64_t>(count));
    }
    return count >= 0;
}

Source::Found RecordingSource::Convert()
{
    step = {};
    if (const auto* const request = std::get_if<recording::Request>(&line)) {
        step.kind = Step::Kind::AwaitRequest;
        step.atUs = Moment(request->at);
        step.request = std::make_shared<RequestPattern>(*request);
        return Found::Step;
    }
    const auto& notification = std::get<recording::Notification>(line);
    if (const char* const reason = ReasonAgainst(notification)) {
        mistake = name + ":" + std::to_string(reader.LineNumber()) + ":1: " + reason;
        return Found::Mistake;
    }
    step.atUs = Moment(notification.at);
    step.subscription = notification.subscription;
    step.frame = FrameOf(notification);
    return Found::Step;
}

std::int64_t RecordingSource::Moment(const recording::Moment& at)
{
    firstUs = firstUs ? firstUs : at.monoUs;
    lengthUs = at.monoUs - *firstUs;
    return lengthUs;
}
