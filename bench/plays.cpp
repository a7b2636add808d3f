#include "bench/measures.h"
#include "bench/messaging_folder.h"
#include "bench/process.h"
#include "bench/services.h"
#include "bench/table.h"
#include "recording/writer.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

// How late the messages of a play are, at 1,000 in a second.

namespace {

constexpr unsigned int messageCount = 1000;
constexpr std::int64_t periodUs = 1000;

/// The 99th percentile, in seconds.
double Percentile99(std::vector<std::int64_t> latenessUs)
{
    std::sort(latenessUs.begin(), latenessUs.end());
    return static_cast<double>(latenessUs[latenessUs.size() * 99 / 100]) * 1e-6;
}

timespec TimeAt(std::int64_t us)
{
    timespec time{};
    time.tv_sec = us / 1000000;
    time.tv_nsec = static_cast<long>(us % 1000000 * 1000);
    return time;
}

double LatenessOfBareLoop()
{
    std::vector<std::int64_t> latenessUs;
    const std::int64_t startUs = recording::Now().monoUs;
    for (unsigned int i = 1; i <= messageCount; ++i) {
        const std::int64_t dueUs = startUs + i * periodUs;
        const timespec due = TimeAt(dueUs);
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr) == EINTR) {
        }
        latenessUs.push_back(recording::Now().monoUs - dueUs);
    }
    return Percentile99(latenessUs);
}

/// A recording that begins when a client subscribes.
void WriteRecording(const std::string& path)
{
    const std::vector<unsigned char> bytes = CifBitmap(64);
    std::string text;
    recording::AppendLine(text, recording::Header());
    recording::Request subscribe;
    subscribe.kind = recording::RequestKind::Subscribe;
    subscribe.subscription = 4;
    subscribe.itemId = 15129;
    recording::AppendLine(text, subscribe);
    for (unsigned int i = 0; i <= messageCount; ++i) {
        recording::Notification bitmap;
        bitmap.at.monoUs = i * periodUs;
        bitmap.subscription = 4;
        bitmap.regionId = 3;
        bitmap.subtitleFormat = 2;
        bitmap.data = {bytes.data(), bytes.size(), {}};
        recording::AppendLine(text, bitmap);
    }
    std::ofstream(path) << text;
}

/// Of each publication in a recording of the play; the first one is when the play begins.
std::vector<std::int64_t> LatenessIn(const std::string& path)
{
    std::vector<std::int64_t> latenessUs;
    std::int64_t startUs = 0;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.find("\"notification\"") == std::string::npos) {
            continue;
        }
        const std::int64_t us = std::stoll(line.substr(line.find(':') + 1));
        startUs = latenessUs.empty() ? us : startUs;
        const auto dueUs = startUs + static_cast<std::int64_t>(latenessUs.size()) * periodUs;
        latenessUs.push_back(us - dueUs);
    }
    if (latenessUs.size() != messageCount + 1) {
        throw std::runtime_error("the service played another number of messages");
    }
    return latenessUs;
}

double LatenessOfService()
{
    const MessagingFolder folder;
    WriteRecording(folder / "drive.jsonl");
    const Process tap({ProgramBeside("SubtitleMgrTap"), "--json", "--kinds", "data", "--formats",
                       "cif", "--wait-for-service", "10s"});
    RunProgram({ProgramBeside("SubtitleMgrSim"), "--quiet", "--await-requests", "--exit-at-end",
                "--play", folder / "drive.jsonl", "--record", folder / "played.jsonl"});
    return Percentile99(LatenessIn(folder / "played.jsonl"));
}

}  // namespace

void MeasurePlays(Table& table)
{
    table.AddTime("lateness of 1,000 messages a second, 99th percentile", "clock_nanosleep loop",
                  ComparePairs([](auto) { return LatenessOfBareLoop(); },
                               [](auto) { return LatenessOfService(); }),
                  {1.5, 1.1});
}
