#pragma once

#include <condition_variable>
#include <deque>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

class LinxIpc;

/// Runs the client's two threads in a fixed order: the receive thread runs only during the
/// console's calls into the SDK, until it has taken all notifications that the script has for it.
///
/// A script is lines of text. Calls of the console are counted from 1:
///
///   fail 12                       call 12 fails
///   at 12 data 3 2 1000 00010203  during call 12 region 3 is published in format 2, with a record
///                                 that says it has 1000 bytes; "-" means no data
///   at 12 visibility 3 1
///   at 12 palette 3 31 1 10ff     region, background code, fill, table
class LockStep {
public:
    struct Subscription {
        unsigned itemId;
        void (*callback)(LinxIpc*, void*);
        void* userData;
    };

    /// Never destroyed, since the receive thread never ends.
    static LockStep& Instance();

    /// Begins a session. The calling thread becomes the console's. Reads the file `script` of the
    /// folder, and writes `journal` and `log`.
    void Begin(const std::string& folder);
    /// Registers the receive thread.
    void ReceiverStarts();

    bool IsConsole() const;

    /// Records a call of the console and lets the receive thread run. \return whether the call
    /// succeeds
    bool Call(const std::string& text);
    bool NextCallSucceeds() const;
    void Note(const std::string& line);
    void Log(const std::string& entry);

    void Subscribe(unsigned number, const Subscription& subscription);
    void Unsubscribe(unsigned number);

    /// Whether Begin() was called; a program without the option frame never calls it.
    bool HasBegun() const { return journal.is_open(); }
    bool TakeVisibilitySubscription(Subscription& subscription);

    /// Takes a notification for the receive thread, or waits until the thread may try again.
    /// \return whether it has taken one
    bool Take(std::vector<unsigned char>& payload, Subscription& subscription);
    /// The receive thread has nothing to do: waits until a call of the console lets it run again.
    void Rest();

private:
    struct Notification {
        unsigned subscription;
        std::vector<unsigned char> payload;
    };

    void ReadLine(const std::string& line);
    void Publish();
    void LetReceiverRun();

    std::thread::id console;
    std::ofstream journal;
    std::ofstream log;
    bool hasReceiver = false;
    unsigned calls = 0;
    std::set<unsigned> failing;
    std::map<unsigned, std::vector<Notification>> script;
    std::map<unsigned, Subscription> subscriptions;
    std::deque<Notification> queue;

    std::mutex mutex;
    std::condition_variable changed;
    bool isReceiversTurn = false;
};
