#pragma once

#include "simulator/clients/audience.h"

#include "platform/src/descriptor.h"
#include "recording/lines.h"

#include <string>
#include <utility>

namespace sim {

/// Writes all requests and publications to a file, see subtitle-recording(5).
///
/// It never waits. When the file takes no more, the recording ends with a whole line, and standard
/// error tells why. Only Start() may throw, std::bad_alloc.
class Recorder {
public:
    /// Lines for a pipe or terminal that has no room at the moment, in bytes.
    static constexpr std::size_t mostUnwritten = 8 * 1024 * 1024;

    explicit Recorder(std::string nameOfService) : service(std::move(nameOfService)) {}

    /// Begins a recording in \p path, which is emptied or made, and ends the one before.
    /// \return false with the reason in \p problem; if the file cannot be opened or is in use, the
    ///         one before goes on
    bool Start(const std::string& path, std::string& problem);
    void Stop()
    {
        isOn = false;
        Settle();
    }
    bool IsOn() const { return isOn; }

    /// For a recording that begins now.
    recording::Header NewHeader() const;

    /// Both do nothing while it is off.
    void Add(const recording::Request& request);
    /// \param frame  a well-formed notification; null when there is no memory for one
    void Add(const SharedFrame& frame, std::size_t receivers)
    {
        if (isOn) {
            Record(frame, receivers);
        }
    }

    /// Writes the lines that had no room before.
    /// \return milliseconds until the next call, -1 for none
    int Settle();

    /// Ends it and its file; reports a last line that had no room.
    void Close();

private:
    void Record(const SharedFrame& frame, std::size_t receivers);
    template <typename Line>
    void Write(const Line& line);
    void Flush();
    void End(const char* reason);
    void CutOff() const;

    const std::string service;
    platform::Descriptor file;
    bool isOn = false;
    std::string lines;        ///< that are not written yet
    std::size_t written = 0;  ///< bytes of them
};

/// An audience whose publications are recorded.
class RecordedAudience : public Audience {
public:
    RecordedAudience(Audience& audienceToReach, Recorder& recorderToUse)
        : audience(audienceToReach), recorder(recorderToUse)
    {
    }

    bool HasSubscriber(unsigned int subscription) const override
    {
        return audience.HasSubscriber(subscription);
    }
    bool Wants(unsigned int subscription) const override
    {
        return recorder.IsOn() || audience.Wants(subscription);
    }
    Readiness ReadinessFor(unsigned int subscription, std::size_t size) override
    {
        return audience.ReadinessFor(subscription, size);
    }
    std::size_t Publish(unsigned int subscription, const SharedFrame& frame) override
    {
        const std::size_t receivers = audience.Publish(subscription, frame);
        recorder.Add(frame, receivers);
        return receivers;
    }

private:
    Audience& audience;
    Recorder& recorder;
};

}  // namespace sim
