#include "tests/resilience/soak/Callers.h"

#include "tests/resilience/soak/Publications.h"

#include <IpcMessage.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr unsigned threadCount = 8;
constexpr unsigned numbers[] = {1, 2, 3, 4, 6, 10};
constexpr unsigned ping = 0x3B01;
constexpr unsigned setLogLevel = 0x3C12;
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

Callers::Callers(unsigned seed)
{
    if (ipc->Init() != 0) {
        Violation("the endpoint cannot be opened");
    }
    receiver = std::thread([this, seed] { Receive(seed); });
    for (unsigned i = 1; i <= threadCount; ++i) {
        threads.emplace_back([this, seed, i] { Run(seed + i); });
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

void Callers::End()
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

void Callers::Run(unsigned seed)
{
    Random random(seed);
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return !isPaused || isOver; });
            if (isOver) {
                return;
            }
            ++callsUnderWay;
        }
        CallOnce(random);
        const std::lock_guard<std::mutex> lock(mutex);
        --callsUnderWay;
        changed.notify_all();
    }
}

void Callers::CallOnce(Random& random)
{
    constexpr int limits[] = {1, 50, 500, 2000};
    int limitMs = limits[Below(random, 4)];
    const unsigned choice = Below(random, 100);
    const Clock::time_point start = Clock::now();
    int error = 0;
    if (choice < 25) {
        error = Subscribe(random, limitMs);
    } else if (choice < 35) {
        error = Unsubscribe(random, limitMs);
    } else if (choice < 60) {
        error = SetLevel(limitMs);
    } else if (choice < 75) {
        error = Ping(limitMs);
    } else if (choice < 95) {
        limitMs = notifyLimitMs;
        error = Notify(random, choice < 85);
    } else {
        error = SetBitmap(random, limitMs);
    }
    const std::string call = "call " + std::to_string(choice);
    if (!IsExpected(error)) {
        Violation(call + " returned " + std::strerror(error));
    }
    const auto taken = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    if (taken > milliseconds(limitMs) + slack) {
        Violation(call + " took " + std::to_string(taken.count()) + " ms");
    }
    ++(error == 0 ? succeeded : failed);
}

int Callers::Subscribe(Random& random, int limitMs)
{
    const unsigned number = numbers[Below(random, 6)];
    const Ledger::Token token = ++lastToken;
    const unsigned long long begin = ledger.Now();
    RegionVisItem unused;
    const int error =
        SubtitleClient(*ipc, limitMs)
            .Subscribe(number, Publications::ItemOf(number), unused,
                       Publications::CallbackFor(number), Publications::UserData(token));
    if (error == 0) {
        ledger.Subscribed(number, token, begin);
    }
    return error;
}

int Callers::Unsubscribe(Random& random, int limitMs)
{
    const unsigned number = numbers[Below(random, 6)];
    const unsigned long long begin = ledger.Now();
    const int error = SubtitleClient(*ipc, limitMs).Unsubscribe(number);
    ledger.Unsubscribed(number, error == 0, begin);
    return error;
}

int Callers::SetLevel(int limitMs)
{
    const unsigned level = ++lastLevel;
    char payload[4];
    for (int i = 3; i >= 0; --i) {
        payload[i] = static_cast<char>(level >> (8 * (3 - i)));
    }
    IpcMessage message;  // becomes the reply too
    int error = message.Allocate(setLogLevel, sizeof payload, payload);
    if (error == 0) {
        error = ipc->Request(serviceName, message, setLogLevel + 1, limitMs, &message);
    }
    if (error == 0) {
        const std::lock_guard<std::mutex> lock(mutex);
        acknowledged.push_back(level);
    }
    return error;
}

int Callers::Ping(int limitMs)
{
    IpcMessage message;
    const int error = message.Allocate(ping, 0, nullptr);
    return error != 0 ? error : ipc->Request(serviceName, message, ping + 1, limitMs, nullptr);
}

/// Mostly small records, and some that are larger than a socket's buffer.
int Callers::Notify(Random& random, bool mayWait)
{
    IpcMessage message;
    const unsigned size = Below(random, 20) == 0 ? Below(random, 1024 * 1024) : Below(random, 100);
    int error = message.Allocate(unknownMessage, size, nullptr);
    if (error == 0) {
        if (size > 0) {
            std::memset(message.Payload(), 0, size);
        }
        error = ipc->Notify(serviceName, message, mayWait);
    }
    return error;
}

int Callers::SetBitmap(Random& random, int limitMs)
{
    RegionDataItem item;
    item.regionId = static_cast<unsigned char>(2 + Below(random, 3));
    item.data.assign(Below(random, 100 * 1024), 1);
    return SubtitleClient(*ipc, limitMs).SetRegionData(item);
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
