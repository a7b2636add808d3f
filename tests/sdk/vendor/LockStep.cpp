#include "tests/sdk/vendor/LockStep.h"

#include <sstream>
#include <unistd.h>

namespace {

constexpr unsigned visibilitySubscription = 6;
constexpr unsigned paletteSubscription = 10;

unsigned SubscriptionOfFormat(unsigned format) { return format < 3 ? format + 2 : 12; }

unsigned char Byte(unsigned value) { return static_cast<unsigned char>(value & 255); }

void AppendNumber(std::vector<unsigned char>& payload, unsigned number)
{
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        payload.push_back(Byte(number >> (shift - 8)));
    }
}

void AppendData(std::vector<unsigned char>& payload, const std::string& hex)
{
    const std::size_t length = hex == "-" ? 0 : hex.size() / 2;
    AppendNumber(payload, static_cast<unsigned>(length));
    for (std::size_t i = 0; i < length; ++i) {
        payload.push_back(
            static_cast<unsigned char>(std::stoul(hex.substr(2 * i, 2), nullptr, 16)));
    }
}

}  // namespace

LockStep& LockStep::Instance()
{
    static LockStep& instance = *new LockStep;
    return instance;
}

void LockStep::Begin(const std::string& folder)
{
    console = std::this_thread::get_id();
    journal.open(folder + "/journal");
    log.open(folder + "/log");
    std::ifstream lines(folder + "/script");
    for (std::string line; std::getline(lines, line);) {
        ReadLine(line);
    }
}

void LockStep::ReadLine(const std::string& line)
{
    std::istringstream words(line);
    std::string word;
    unsigned call = 0;
    words >> word >> call;
    if (word == "fail") {
        failing.insert(call);
        return;
    }
    unsigned region = 0;
    unsigned second = 0;
    unsigned third = 0;
    std::string data;
    words >> word >> region >> second;
    Notification notification{visibilitySubscription, {Byte(region), Byte(second)}};
    if (word == "data") {
        words >> third >> data;
        notification.subscription = SubscriptionOfFormat(second);
        AppendNumber(notification.payload, third);
        AppendData(notification.payload, data);
    } else if (word == "palette") {
        words >> third >> data;
        notification.subscription = paletteSubscription;
        notification.payload.push_back(Byte(third));
        AppendData(notification.payload, data);
    }
    script[call].push_back(notification);
}

void LockStep::ReceiverStarts() { hasReceiver = true; }

bool LockStep::IsConsole() const { return std::this_thread::get_id() == console; }

bool LockStep::NextCallSucceeds() const { return failing.count(calls + 1) == 0; }

bool LockStep::Call(const std::string& text)
{
    const bool succeeds = NextCallSucceeds();
    ++calls;
    // The amount of output shows whether each line was flushed before this call.
    Note(std::to_string(calls) + " " + std::to_string(lseek(STDOUT_FILENO, 0, SEEK_CUR)) + " " +
         text + (succeeds ? "" : " fails") + (IsConsole() ? "" : " on the wrong thread"));
    Publish();
    LetReceiverRun();
    return succeeds;
}

void LockStep::Note(const std::string& line) { journal << line << std::endl; }

void LockStep::Log(const std::string& entry) { log << calls << " " << entry << std::endl; }

void LockStep::Subscribe(unsigned number, const Subscription& subscription)
{
    subscriptions[number] = subscription;
}

void LockStep::Unsubscribe(unsigned number)
{
    subscriptions.erase(number);
    if (number == 1) {
        for (const unsigned format : {2u, 3u, 4u, 12u}) {
            subscriptions.erase(format);
        }
    }
}

bool LockStep::TakeVisibilitySubscription(Subscription& subscription)
{
    const auto found = subscriptions.find(visibilitySubscription);
    if (found == subscriptions.end()) {
        return false;
    }
    subscription = found->second;
    subscriptions.erase(found);
    return true;
}

void LockStep::Publish()
{
    const auto found = script.find(calls);
    if (found == script.end()) {
        return;
    }
    for (const Notification& notification : found->second) {
        if (subscriptions.count(notification.subscription) > 0) {
            queue.push_back(notification);
        }
    }
}

void LockStep::LetReceiverRun()
{
    if (!hasReceiver || !IsConsole()) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex);
    isReceiversTurn = true;
    changed.notify_all();
    changed.wait(lock, [this] { return !isReceiversTurn; });
}

bool LockStep::Take(std::vector<unsigned char>& payload, Subscription& subscription)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        while (isReceiversTurn && !queue.empty()) {
            const Notification next = queue.front();
            queue.pop_front();
            const auto found = subscriptions.find(next.subscription);
            if (found != subscriptions.end()) {
                payload = next.payload;
                subscription = found->second;
                return true;
            }
        }
    }
    Rest();
    return false;
}

void LockStep::Rest()
{
    std::unique_lock<std::mutex> lock(mutex);
    isReceiversTurn = false;
    changed.notify_all();
    changed.wait(lock, [this] { return isReceiversTurn; });
}
