#pragma once

#include <LinxIpc.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

/// Reports forbidden behaviour and ends the run.
[[noreturn]] void Violation(const std::string& what);

/// Eight threads that subscribe, unsubscribe, request and notify at random on one endpoint, and one
/// that receives. Each call must return in its time with a permitted result. Four threads have a
/// subscription number of their own, so that its last subscription is known; the others share one.
class Callers {
public:
    /// One call of Subscribe, the user data of its callback.
    struct Subscription {
        Callers* const callers;
        const unsigned number;
    };

    explicit Callers(unsigned seed);

    /// Lets the threads call until Pause(), which returns when none of their calls is running.
    void Resume();
    void Pause();

    /// Closes the endpoint while one thread receives, and ends the threads. Only while paused.
    void Close();

    /// Log levels that were set successfully since the last call.
    std::vector<unsigned> TakeAcknowledged();

    /// The subscriptions that are certainly in force, by number. Only while paused.
    std::map<unsigned, const Subscription*> InForce() const { return inForce; }

    /// From now on only records of this region count as arrived.
    void AwaitRegion(unsigned region);
    std::set<const Subscription*> Arrived();

    std::string Summary() const;

private:
    using Random = std::mt19937;

    void Run(unsigned number, unsigned seed);
    bool Begin();
    void End(int error);
    int Call(unsigned number, unsigned choice, Random& random, int& limitMs);
    int Subscribe(unsigned number, int limitMs);
    int Unsubscribe(unsigned number, int limitMs);
    int SetLevel(int limitMs);
    int Notify(unsigned size, bool mayWait);
    void Receive(unsigned seed);

    template <typename Record>
    static void Arrive(LinxIpc* from, void* subscription);

    std::unique_ptr<LinxIpc> ipc = std::make_unique<LinxIpc>("Callers");
    std::atomic<unsigned> lastLevel{0};

    std::mutex mutex;
    std::condition_variable changed;
    bool isPaused = true;
    bool isOver = false;
    unsigned callsUnderWay = 0;
    unsigned succeeded = 0;
    unsigned failed = 0;
    unsigned long long notifications = 0;
    std::vector<unsigned> acknowledged;
    std::deque<Subscription> subscriptions;
    std::map<unsigned, const Subscription*> inForce;
    unsigned awaitedRegion = 0;
    std::set<const Subscription*> arrived;

    std::atomic<bool> receiverIsOver{false};
    std::thread receiver;
    std::vector<std::thread> threads;
};
