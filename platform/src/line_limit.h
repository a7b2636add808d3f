#pragma once

#include "platform/src/deadline.h"

#include <cstring>
#include <iterator>
#include <string>
#include <utility>

namespace platform {

/// Admits 20 lines of a kind in a second and counts the others, so that peers fill no disk.
class LineLimit {
public:
    /// \param text  the kind: one of a few literals
    /// \return whether a line of this kind may be written
    bool Admits(const char* text)
    {
        Kind* kind = kinds;
        while (kind->text && std::strcmp(kind->text, text) != 0 && kind + 1 != std::end(kinds)) {
            ++kind;
        }
        if (kind->count == 0) {
            *kind = {text, 0, Deadline(1000)};
        }
        return ++kind->count <= most;
    }

    /// Calls \p tell(text, count) for lines held back in past seconds, with \p all in this one too.
    template <typename Tell>
    void Report(bool all, const Tell& tell)
    {
        for (Kind* kind = kinds; kind != std::end(kinds) && kind->text; ++kind) {
            if (kind->count > 0 && (all || kind->end.HasPassed())) {
                const unsigned int count = std::exchange(kind->count, 0);
                if (count > most) {
                    tell(kind->text, count - most);
                }
            }
        }
    }

    /// Milliseconds until there is something to report, -1 when there is not.
    int NextReportMs() const
    {
        Deadline next(-1);
        for (const Kind* kind = kinds; kind != std::end(kinds) && kind->text; ++kind) {
            next = kind->count > most ? next.Sooner(kind->end) : next;
        }
        return next.RemainingMs();
    }

    static std::string MoreLikeThese(std::string text, unsigned int count)
    {
        text.erase(text.find_last_not_of(": ") + 1);
        return std::to_string(count) + " more like these within a second: " + text;
    }

private:
    static constexpr unsigned int most = 20;

    struct Kind {
        const char* text = nullptr;
        unsigned int count = 0;
        Deadline end{-1};
    };

    Kind kinds[24];  ///< any more share the last place
};

}  // namespace platform
