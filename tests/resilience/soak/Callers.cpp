#include "tests/resilience/soak/Callers.h"

#include "platform/src/big_endian.h"
#include "platform/src/wire_format.h"

#include <IpcMessage.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>
#include <SubtitleClient.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

using namespace platform;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr unsigned numbers[] = {2, 3, 4, 6, 10, 10, 10, 10};  ///< of the threads
constexpr unsigned sharedNumber = 10;
constexpr unsigned unknownMessage = 0x1234;
const std::string serviceName = "SubtitleMgr";

/// The time that a call may take beyond its own limit, on a busy machine with a sanitizer.
constexpr milliseconds slack{5000};
/// A call that takes longer counts as hanging.
constexpr milliseconds patience{60000};
/// The time for two connects and the wait for room.
constexpr int notifyLimitMs = 2 * 1000 + 2 * 2000;

unsigned Below(std::mt19937& random, unsigned limit)
{
    return static_cast<unsigned>(random() % limit);
}

/// The errors that a call may return while its service restarts.
bool IsExpected(int error)
{
    static const std::set<int> expected = {0,      ETIMEDOUT, ECONNRESET,  EPIPE,
                                           ENOENT, EAGAIN,    ECONNREFUSED};
    return expected.count(error) > 0;
}

}  // namespace

void Violation(const std::string& what)
{
    std::printf("VIOLATION: %s\n", what.c_str());
    std::fflush(stdout);
    std::_Exit(1);
}

Callers::Callers(unsigned seed)
{
    if (ipc->Init() != 0) {
        Violation("the endpoint cannot be opened");
    }
    receiver = std::thread([this, seed] { Receive(seed); });
    for (const unsigned number : numbers) {
        threads.emplace_back([this, number, random = ++seed] { Run(number, random); });
    }
}

void Callers::Resume()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isPaused = false;
    changed.notify_all();
}

void Callers::Pause()
{
    std::unique_lock<std::mutex> lock(mutex);
    isPaused = true;
    if (!changed.wait_for(lock, patience, [this] { return callsUnderWay == 0; })) {
        Violation("a call does not return");
    }
}

void Callers::Close()
{
    // The memory stays: the receiving thread still calls the object, like a console's.
    LinxIpc* const gone = ipc.release();
    gone->~LinxIpc();
    receiverIsOver = true;
    receiver.join();
    ::operator delete(gone);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isOver = true;
        changed.notify_all();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::vector<unsigned> Callers::TakeAcknowledged()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(acknowledged, {});
}

void Callers::AwaitRegion(unsigned region)
{
    const std::lock_guard<std::mutex> lock(mutex);
    awaitedRegion = region;
    arrived.clear();
}

std::set<const Callers::Subscription*> Callers::Arrived()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return arrived;
}

std::string Callers::Summary() const
{
    return std::to_string(succeeded) + " calls succeeded, " + std::to_string(failed) + " failed; " +
           std::to_string(notifications) + " notifications";
}

void Callers::Run(unsigned number, unsigned seed)
{
    Random random(seed);
    while (Begin()) {
        constexpr int limits[] = {1, 50, 500, 2000};
        int limitMs = limits[Below(random, 4)];
        const unsigned choice = Below(random, 100);
        const Clock::time_point start = Clock::now();
        const int error = Call(number, choice, random, limitMs);
        const std::string call = "call " + std::to_string(choice);
        if (!IsExpected(error)) {
            Violation(call + " returned " + std::strerror(error));
        }
        const auto taken = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
        if (taken > milliseconds(limitMs) + slack) {
            Violation(call + " took " + std::to_string(taken.count()) + " ms");
        }
        End(error);
    }
}

/// Waits while paused. \return false when the run is over
bool Callers::Begin()
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return !isPaused || isOver; });
    callsUnderWay += isOver ? 0 : 1;
    return !isOver;
}

void Callers::End(int error)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++(error == 0 ? succeeded : failed);
    --callsUnderWay;
    changed.notify_all();
}

int Callers::Call(unsigned number, unsigned choice, Random& random, int& limitMs)
{
    if (choice < 25) {
        return Subscribe(number, limitMs);
    }
    if (choice < 35) {
        return Unsubscribe(number, limitMs);
    }
    if (choice < 80) {
        return SetLevel(limitMs);
    }
    limitMs = notifyLimitMs;
    // Mostly small records, and some that are larger than a socket's buffer.
    return Notify(Below(random, choice == 99 ? 1024 * 1024 : 100), choice < 90);
}

int Callers::Subscribe(unsigned number, int limitMs)
{
    Subscription* subscription = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        subscription = &subscriptions.emplace_back(Subscription{this, number});
    }
    const unsigned item = number == 6 ? 15132 : number == sharedNumber ? 15133 : 15129;
    const auto callback = number == 6              ? Arrive<RegionVisItem>
                          : number == sharedNumber ? Arrive<PaletteItem>
                                                   : Arrive<RegionDataItem>;
    RegionVisItem unused;
    const int error =
        SubtitleClient(*ipc, limitMs).Subscribe(number, item, unused, callback, subscription);
    const std::lock_guard<std::mutex> lock(mutex);
    if (error == 0 && number != sharedNumber) {
        inForce[number] = subscription;
    }
    return error;
}

int Callers::Unsubscribe(unsigned number, int limitMs)
{
    const int error = SubtitleClient(*ipc, limitMs).Unsubscribe(number);
    const std::lock_guard<std::mutex> lock(mutex);
    inForce.erase(number);  // also after a failure: the service may have ended the subscription
    return error;
}

int Callers::SetLevel(int limitMs)
{
    const unsigned level = ++lastLevel;
    IpcMessage message;  // becomes the reply too
    int error = message.Allocate(messages::setLogLevel, 4, nullptr);
    if (error == 0) {
        PutU32(message.Payload(), level);
        error = ipc->Request(serviceName, message, messages::setLogLevel + 1, limitMs, &message);
    }
    if (error == 0) {
        const std::lock_guard<std::mutex> lock(mutex);
        acknowledged.push_back(level);
    }
    return error;
}

int Callers::Notify(unsigned size, bool mayWait)
{
    IpcMessage message;
    std::vector<char> zeros(size);
    const int error = message.Allocate(unknownMessage, size, zeros.data());
    return error != 0 ? error : ipc->Notify(serviceName, message, mayWait);
}

void Callers::Receive(unsigned seed)
{
    Random random(seed);
    LinxIpc* const receiving = ipc.get();
    while (!receiverIsOver) {
        const int limitMs = static_cast<int>(Below(random, 50));
        const int error = receiving->Receive(limitMs, 0, LinxIpc::emptyString, nullptr);
        if (error != 0 && error != ETIMEDOUT && error != ESHUTDOWN) {
            Violation(std::string("receiving returned ") + std::strerror(error));
        }
    }
}

template <typename Record>
void Callers::Arrive(LinxIpc* from, void* subscription)
{
    Record record;
    record.Decode(from->ReceivedMessage().Payload());
    const auto* const reached = static_cast<const Subscription*>(subscription);
    Callers& self = *reached->callers;
    const std::lock_guard<std::mutex> lock(self.mutex);
    ++self.notifications;
    if (record.regionId == self.awaitedRegion) {
        self.arrived.insert(reached);
    }
}
