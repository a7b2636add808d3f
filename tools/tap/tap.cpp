#include "tap/tap.h"

#include "recording/writer.h"
#include "tap/signals.h"
#include "words/exit_status.h"
#include "words/times.h"

#include <LinxServerNameList.h>

#include <algorithm>
#include <iostream>
#include <limits>
#include <unistd.h>

namespace tap {

namespace {

constexpr int requestTimeoutMs = 2000;
constexpr std::int64_t receiveWaitMs =
    20;  // the delay until an end, a closed output or a full second is noticed
constexpr std::size_t largestBatch = 256u * 1024u;  // fits into the processor's cache
constexpr useconds_t retryUs = 50000;

std::int64_t NowUs() { return recording::Now().monoUs; }

int Complain(const std::string& problem, int status)
{
    std::cerr << "SubtitleMgrTap: " << problem << std::endl;
    return status;
}

/// The number is used, because the names of e_Process differ between SDKs.
const std::string& ServiceName()
{
    return LinxServerNameList::Instance().Name(static_cast<e_Process>(5));
}

}  // namespace

Tap::Tap(const Options& optionsToUse)
    : options(optionsToUse), output([this] { return IsEndRequested() || IsTimeUp(); }),
      stamps(optionsToUse.time), endUs(std::numeric_limits<std::int64_t>::max()),
      subscriber([this](recording::Notification& notification, unsigned int encodedSize) {
          Take(notification, encodedSize);
      }),
      ipc("SubtitleMgrTap"), client(ipc, requestTimeoutMs)
{
}

int Tap::Run()
{
    CatchSignals();
    const int status = Start();
    return status != words::exitDone || IsEndRequested() ? status : ReceiveToTheEnd();
}

int Tap::Start()
{
    if (!output.Open(options.output)) {
        return Complain(output.Problem(), words::exitFailed);
    }
    if (ipc.Init() != 0) {
        return Complain("the messaging endpoint cannot be opened; the log has the reason",
                        words::exitNoService);
    }
    if (!SubscribeWithin(options.waitForServiceUs)) {
        return IsEndRequested() ? words::exitDone
                                : Complain(ServiceName() + " accepts no subscription: it does not "
                                                           "run, or refuses",
                                           words::exitNoService);
    }
    if (!output.Begin()) {
        return Complain(output.Problem(), words::exitFailed);
    }
    const std::int64_t startUs = NowUs();
    ratesUs = startUs + words::usPerSecond;
    if (options.runUs) {
        endUs = startUs + *options.runUs;
        InterruptAfter(std::max<std::int64_t>(*options.runUs, 1));
    }
    if (options.json && !options.rates) {
        recording::AppendLine(
            output.Text(),
            recording::Header{recording::Now(), "SubtitleMgrTap " SUBTITLE_VERSION, ServiceName()});
    }
    if (options.refresh && client.RefreshRegions() != 0) {
        return Complain(ServiceName() + " does not refresh", words::exitFailed);
    }
    return words::exitDone;
}

bool Tap::SubscribeWithin(std::int64_t us)
{
    const std::int64_t until = NowUs() + us;
    while (!subscriber.Subscribe(client, options.filter)) {
        if (IsEndRequested() || NowUs() >= until) {
            return false;
        }
        usleep(retryUs);
    }
    return true;
}

int Tap::ReceiveToTheEnd()
{
    Output::State state = output.Flush();
    while (state == Output::State::Open && !subscriber.IsOutOfMemory() && !IsEndRequested() &&
           !IsCountReached() && !IsTimeUp()) {
        ReceiveBatch(NextWaitMs());
        ShowRatesWhenDue(false);
        state = output.Text().empty() ? output.Look() : output.Flush();
    }
    if (state == Output::State::Open) {
        ShowRatesWhenDue(true);
        state = output.Flush();
    }
    return Finish(state);
}

/// Receives one notification, and then those that are already there: the lines of a busy service
/// are written together, and no line waits for a later notification.
void Tap::ReceiveBatch(int waitMs)
{
    std::uint64_t before = 0;
    do {
        before = subscriber.Received();
        ipc.Receive(waitMs, 0, LinxIpc::emptyString, nullptr);
        waitMs = 0;
    } while (subscriber.Received() > before && !IsCountReached() &&
             output.Text().size() < largestBatch);
}

int Tap::NextWaitMs() const
{
    const std::int64_t now = NowUs();
    const std::int64_t dueUs = std::min(endUs, options.rates ? ratesUs : endUs);
    const std::int64_t untilDueMs = dueUs > now ? (dueUs - now) / 1000 + 1 : 0;
    return static_cast<int>(std::min(untilDueMs, receiveWaitMs));
}

bool Tap::IsTimeUp() const { return options.runUs && NowUs() >= endUs; }

void Tap::ShowRatesWhenDue(bool isLast)
{
    const recording::Moment now = recording::Now();
    if (!options.rates || (now.monoUs < ratesUs && !isLast)) {
        return;
    }
    if (options.json) {
        rates.AppendJson(output.Text(), now);
    } else {
        stamps.Append(output.Text(), now);
        rates.AppendText(output.Text());
    }
    ratesUs += words::usPerSecond * ((now.monoUs - ratesUs) / words::usPerSecond + 1);
}

int Tap::Finish(Output::State state) const
{
    if (state == Output::State::Failed) {
        return Complain(output.Problem(), words::exitFailed);
    }
    if (subscriber.IsOutOfMemory()) {
        return Complain("no memory for a notification", words::exitFailed);
    }
    const bool isTooLate = options.count > 0 && !IsCountReached() && IsTimeUp();
    return state == Output::State::Open && isTooLate && !IsEndRequested() ? words::exitTimeRanOut
                                                                          : words::exitDone;
}

void Tap::Take(recording::Notification& notification, unsigned int encodedSize)
{
    if (!options.filter.Passes(notification)) {
        return;
    }
    ++taken;
    if (options.rates) {
        rates.Add(notification.regionId, encodedSize);
        return;
    }
    notification.at = recording::Now();
    if (options.json) {
        recording::AppendLine(output.Text(), notification);
    } else {
        stamps.Append(output.Text(), notification.at);
        AppendText(output.Text(), notification);
    }
}

}  // namespace tap
