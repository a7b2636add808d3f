#include "simulator/service/state_file.h"

#include "simulator/journal/file_claim.h"
#include "simulator/journal/notification_line.h"
#include "simulator/journal/request_pattern.h"

#include "recording/writer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace platform;
using namespace sim;

namespace {

std::string FileError() { return std::strerror(errno); }

recording::Request RequestOf(recording::RequestKind kind, const recording::Moment& at)
{
    recording::Request request;
    request.kind = kind;
    request.at = at;
    return request;
}

}  // namespace

// Saving

Saving::Saving(const SubtitleService& serviceToSave, const recording::Header& headerToWrite,
               std::string pathToWrite)
    : service(serviceToSave), header(headerToWrite), path(std::move(pathToWrite))
{
}

Saving::~Saving()
{
    if (!newPath.empty()) {
        unlink(newPath.c_str());
    }
}

Stage Saving::Continue(Budget& budget)
{
    if (!file && !Open()) {
        return Stage::Failed;
    }
    for (; next < SubtitleService::recordCount; ++next) {
        if (budget.IsSpent()) {
            return Stage::Busy;
        }
        if (service.IsKept(next) && !WriteRecord(budget)) {
            return Stage::Failed;
        }
    }
    return WriteRest() ? Stage::Done : Stage::Failed;
}

bool Saving::Fail(const std::string& reason)
{
    problem = path + ": " + reason;
    return false;
}

bool Saving::Open()
{
    struct stat found {};
    if (stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode)) {
        return Fail("is not a file");
    }
    // It would be replaced and lose what is recorded from now on.
    const Descriptor old(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (old && !Claim(old.Get(), Use::Reads)) {
        return Fail("is being recorded");
    }
    std::string name = path + ".XXXXXX";
    file = Descriptor(mkostemp(name.data(), O_CLOEXEC));
    if (!file) {
        return Fail(FileError());
    }
    newPath = name;
    std::string text;
    AppendLine(text, header);
    return Write(text);
}

bool Saving::WriteRecord(Budget& budget)
{
    const SharedFrame frame = service.Find(next);
    if (!frame) {
        return Fail("there is no memory for it");
    }
    budget.Spend(2 * frame->size());
    ++records;
    recording::Notification line = LineOf(frame);
    line.at = header.at;
    std::string text;
    AppendLine(text, line);
    return Write(text);
}

bool Saving::WriteRest()
{
    std::string text;
    recording::Request request = RequestOf(recording::RequestKind::SendSensorUpdate, header.at);
    for (; request.sensor < SubtitleService::sensorCount; ++request.sensor) {
        request.on = service.SensorIsOn(request.sensor);
        AppendLine(text, request);
    }
    request = RequestOf(recording::RequestKind::SetLogLevel, header.at);
    request.level = service.LogLevel();
    AppendLine(text, request);
    if (!Write(text)) {
        return false;
    }
    if (rename(newPath.c_str(), path.c_str()) != 0) {
        return Fail(FileError());
    }
    newPath.clear();
    return true;
}

bool Saving::Write(const std::string& text)
{
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = write(file.Get(), text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return Fail(FileError());
        }
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return true;
}

// Restoring

Restoring::Restoring(SubtitleService& serviceToChange, Audience& audienceToReach,
                     std::unique_ptr<Source> sourceToRead)
    : service(serviceToChange), audience(audienceToReach), source(std::move(sourceToRead))
{
}

Stage Restoring::Continue(Budget& budget)
{
    while (!isRead) {
        const Step* step = nullptr;
        switch (source->Next(step, budget)) {
        case Source::Found::Step: Take(*step); break;
        case Source::Found::NotYet: return Stage::Busy;
        case Source::Found::Mistake: return Stage::Failed;
        case Source::Found::End:
            isRead = true;
            service.Become(std::move(restored));
            break;
        }
    }
    while (!publications.IsPublished() && !budget.IsSpent()) {
        publications.next = service.Publish(publications.next, audience, budget);
    }
    return publications.IsPublished() ? Stage::Done : Stage::Busy;
}

void Restoring::Take(const Step& step)
{
    if (step.kind == Step::Kind::Publish && step.frame) {
        restored.Keep(step.subscription, step.frame);
    }
    if (step.kind != Step::Kind::AwaitRequest) {
        return;
    }
    const recording::Request& request = step.request->Wanted();
    if (request.kind == recording::RequestKind::SendSensorUpdate) {
        restored.UpdateSensor(request.sensor, request.on);
    } else if (request.kind == recording::RequestKind::SetLogLevel) {
        restored.SetLogLevel(request.level);
    }
}
