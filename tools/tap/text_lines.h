#pragma once

#include "tap/options.h"

namespace tap {

/// The times at the beginning of text lines.
class TimeStamps {
public:
    explicit TimeStamps(TimeForm formToUse) : form(formToUse) {}

    /// Appends the time and a blank.
    void Append(std::string& text, const recording::Moment& at);

private:
    TimeForm form;
    std::optional<std::int64_t> referenceUs;  ///< the first time, or the last one
};

/// Appends one line about a notification, without time.
void AppendText(std::string& text, const recording::Notification& notification);

}  // namespace tap
