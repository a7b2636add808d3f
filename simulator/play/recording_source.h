#pragma once

#include "simulator/play/source.h"

#include "platform/src/descriptor.h"
#include "recording/reader.h"

#include <optional>

namespace sim {

/// The messages of a recording, read while it is played. Moments count from its first message.
class RecordingSource : public Source {
public:
    /// Reads standard input, which may be a pipe, a terminal or a file, as its bytes arrive.
    RecordingSource();

    /// Reads a file.
    RecordingSource(std::string path, platform::Descriptor opened);

    const char* Name() const override { return "recording"; }
    Found Next(const Step*& found, Budget& budget) override;
    bool Rewind() override;
    const std::string& Mistake() const override { return mistake; }
    std::int64_t LengthUs() const override { return lengthUs; }
    bool IsLoaded() const override { return false; }
    int InputFd() const override { return file ? -1 : fd; }

private:
    /// \return false when there is nothing to read at the moment
    bool Read(Budget& budget);
    Found Convert();
    std::int64_t Moment(const recording::Moment& at);

    const std::string name;
    const platform::Descriptor file;  ///< none for standard input
    const int fd;
    const recording::Reader::Start start;
    recording::Reader reader;
    recording::AnyLine line;
    Step step;                            ///< the last one found
    std::optional<std::int64_t> firstUs;  ///< of its clock
    std::int64_t lengthUs = 0;
    std::string mistake;
};

}  // namespace sim
