#pragma once

#include "simulator/clients/audience.h"
#include "simulator/play/source.h"
#include "simulator/service/subtitle_service.h"

#include "platform/src/descriptor.h"
#include "recording/lines.h"

#include <memory>
#include <string>

/// Files with everything that a service keeps. Each is a recording: a notification for each record,
/// and requests for the sensors and the log level.
namespace sim {

enum class Stage { Busy, Done, Failed };

/// Writes such a file, a part in each turn. It is complete or not there: it is written beside its
/// place and renamed.
class Saving {
public:
    /// \param header  whose times become those of all lines
    Saving(const SubtitleService& service, const recording::Header& header, std::string path);
    ~Saving();

    Stage Continue(Budget& budget);

    const std::string& Problem() const { return problem; }
    unsigned int Records() const { return records; }

private:
    bool Open();
    bool WriteRecord(Budget& budget);
    bool WriteRest();
    bool Write(const std::string& text);
    bool Fail(const std::string& reason);

    const SubtitleService& service;
    const recording::Header header;
    const std::string path;
    std::string newPath;  ///< until it is renamed
    platform::Descriptor file;
    std::string problem;
    unsigned int next = 0;  ///< record
    unsigned int records = 0;
};

/// Reads such a file, a part in each turn: the last record of each place, the last state of each
/// sensor and the last log level become those of the service, which then publishes all records.
class Restoring {
public:
    /// \param source  a recording
    Restoring(SubtitleService& service, Audience& audience, std::unique_ptr<Source> source);

    /// The service changes when the whole file is read and has no mistake.
    Stage Continue(Budget& budget);

    const std::string& Mistake() const { return source->Mistake(); }

private:
    void Take(const Step& step);

    SubtitleService& service;
    Audience& audience;
    const std::unique_ptr<Source> source;
    SubtitleService restored;  ///< what the file has
    bool isRead = false;
    Outcome publications = SubtitleService::Refresh();
};

}  // namespace sim
