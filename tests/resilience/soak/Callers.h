#pragma once

#include "tests/resilience/soak/Ledger.h"

#include <LinxIpc.h>
#include <SubtitleClient.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

/// Eight threads that subscribe, unsubscribe, request and notify at random on one endpoint, and one
/// that receives. Each call must return in its time with a permitted result.
class Callers {
public:
    explicit Callers(unsigned seed);

    /// Lets the threads call until Pause(), which returns when no call of the eight is running.
    void Resume();
    void Pause();

    /// Ends the endpoint while one thread receives, then the threads. Only while paused.
    void End();

    /// Log levels that were set successfully since the last call.
    std::vector<unsigned> TakeAcknowledged();
    Ledger& Subscriptions() { return ledger; }

    unsigned Succeeded() const { return succeeded; }
    unsigned Failed() const { return failed; }

private:
    using Random = std::mt19937;

    void Run(unsigned seed);
    void CallOnce(Random& random);
    int Subscribe(Random& random, int limitMs);
    int Unsubscribe(Random& random, int limitMs);
    int SetLevel(int limitMs);
    int Ping(int limitMs);
    int Notify(Random& random, bool mayWait);
    int SetBitmap(Random& random, int limitMs);
    void Receive(unsigned seed);

    std::unique_ptr<LinxIpc> ipc = std::make_unique<LinxIpc>("Callers");
    Ledger ledger;
    std::atomic<unsigned> lastToken{0};
    std::atomic<unsigned> lastLevel{0};
    std::atomic<unsigned> succeeded{0};
    std::atomic<unsigned> failed{0};

    std::mutex mutex;
    std::condition_variable changed;
    bool isPaused = true;
    bool isOver = false;
    unsigned callsUnderWay = 0;
    std::vector<unsigned> acknowledged;

    std::atomic<bool> receiverIsOver{false};
    std::thread receiver;
    std::vector<std::thread> threads;
};
