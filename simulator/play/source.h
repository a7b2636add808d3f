#pragma once

#include "simulator/clients/audience.h"
#include "simulator/play/step.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/// Where a play gets its steps from: a scenario or a recording.
class Source {
public:
    enum class Found {
        Step,
        NotYet,  ///< the budget is spent, or its input has nothing more at the moment
        End,
        Mistake,
    };

    virtual ~Source() = default;

    /// What it is, for messages.
    virtual const char* Name() const = 0;

    /// Finds the next step, at a cost that \p budget limits. After a mistake it finds nothing more.
    /// \param step  becomes the step that was found, which stays until the next call
    virtual Found Next(const Step*& step, Budget& budget) = 0;

    /// Goes back to the first step. \return false if that is impossible: the source is a stream
    virtual bool Rewind() = 0;

    /// `FILE:LINE:COLUMN: reason`
    virtual const std::string& Mistake() const = 0;

    /// The length of what was found so far; all of it once the end was found.
    virtual std::int64_t LengthUs() const = 0;

    /// Whether all steps are in memory, so that there is no mistake and Next() costs nothing.
    virtual bool IsLoaded() const = 0;

    /// The descriptor that will have more input; -1 for none.
    virtual int InputFd() const { return -1; }
};

/// Opens the scenario or recording \p path; a recording begins with `{`. `-` is a recording from
/// standard input. The file cannot be recorded in until the source is destroyed.
/// \return null with the reasons in \p mistakes
std::unique_ptr<Source> OpenSource(const std::string& path, std::vector<std::string>& mistakes);

/// Opens the recording \p path and nothing else.
/// \return null with the reason in \p mistakes
std::unique_ptr<Source> OpenRecording(const std::string& path, std::vector<std::string>& mistakes);

/// Reads a source that is no stream to its end and goes back to its first step.
/// \return false with its first mistake in \p mistakes
bool IsPlayable(Source& source, std::vector<std::string>& mistakes);

}  // namespace sim
