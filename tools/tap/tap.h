#pragma once

#include "tap/options.h"
#include "tap/output.h"
#include "tap/rates.h"
#include "tap/subscriber.h"
#include "tap/text_lines.h"

#include <LinxIpc.h>
#include <SubtitleClient.h>

namespace tap {

/// Subscribes to a service and writes what it publishes. One thread, which also runs the callbacks.
class Tap {
public:
    explicit Tap(const Options& optionsToUse);

    /// \return the exit status of the program
    int Run();

private:
    int Start();
    bool SubscribeWithin(std::int64_t us);

    int ReceiveToTheEnd();
    void ReceiveBatch(int waitMs);
    int NextWaitMs() const;
    bool IsTimeUp() const;
    bool IsCountReached() const { return options.count > 0 && taken >= options.count; }
    void ShowRatesWhenDue(bool isLast);
    int Finish(Output::State state) const;

    void Take(recording::Notification& notification, unsigned int encodedSize);

    const Options options;
    Output output;
    TimeStamps stamps;
    Rates rates;
    std::int64_t endUs;        ///< on the monotonic clock
    std::int64_t ratesUs = 0;  ///< of the next line of rates
    std::uint64_t taken = 0;   ///< notifications that passed the filter

    Subscriber subscriber;
    LinxIpc ipc;
    SubtitleClient client;  ///< destroyed before `ipc`, which it uses
};

}  // namespace tap
