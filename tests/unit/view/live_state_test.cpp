#include "view/page_server/live_state.h"

#include "tests/harness/wait_limits.h"

#include <gtest/gtest.h>

#include <future>

using namespace view;

namespace {

constexpr std::chrono::milliseconds patience{eventDeadlineMs};
constexpr std::chrono::milliseconds none{0};

/// A bitmap of a region, whose time is its name.
recording::Notification Change(unsigned int region, unsigned int number)
{
    static const unsigned char byte = 1;
    recording::Notification change;
    change.regionId = region;
    change.subscription = recording::SubscriptionOfFormat(0);
    change.at.monoUs = number;
    change.data = {&byte, 1};
    return change;
}

/// The numbers of the next changes, without the state of the connection before them.
std::vector<unsigned int> NextChanges(LiveState& state, LiveState::Reader& reader)
{
    const std::string start = "data: {\"monoUs\":";
    std::vector<unsigned int> changes;
    for (;;) {
        const LiveState::Event event = state.Next(reader, none);
        if (*event == ":\n\n") {
            return changes;
        }
        if (event->compare(0, start.size(), start) == 0) {
            changes.push_back(static_cast<unsigned int>(std::stoul(event->substr(start.size()))));
        }
    }
}

using Numbers = std::vector<unsigned int>;

TEST(LiveState, GivesAReaderTheStateAndThenEachChange)
{
    LiveState state;
    state.Publish(Change(3, 1));
    state.Publish(Change(2, 2));
    state.Publish(Change(3, 3));
    recording::Notification visibility = Change(2, 4);
    visibility.kind = recording::NotificationKind::RegionVisibility;
    state.Publish(visibility);
    LiveState::Reader reader = state.Begin();
    EXPECT_EQ(NextChanges(state, reader), (Numbers{2, 3, 4}));
    state.Publish(Change(2, 5));
    state.Publish(Change(2, 6));
    EXPECT_EQ(NextChanges(state, reader), (Numbers{5, 6}));
}

TEST(LiveState, GivesASlowReaderTheNewestOfEachRegion)
{
    LiveState state;
    LiveState::Reader slow = state.Begin();
    LiveState::Reader fast = state.Begin();
    state.Publish(Change(14, 1));
    EXPECT_EQ(NextChanges(state, slow), Numbers{1});
    std::size_t read = NextChanges(state, fast).size();
    for (unsigned int number = 2; number <= 2000; ++number) {
        state.Publish(Change(number < 1000 ? 1 : number % 3 + 2, number));
        read += NextChanges(state, fast).size();
    }
    EXPECT_EQ(read, 2000u);
    EXPECT_EQ(NextChanges(state, slow), (Numbers{999, 1998, 1999, 2000}));
    state.Publish(Change(1, 2001));
    EXPECT_EQ(NextChanges(state, slow), Numbers{2001});
}

TEST(LiveState, TellsTheConnectionAtTheStartAndAtChanges)
{
    const std::string start = "event: connection\ndata: {\"connected\":";
    LiveState state;
    state.Publish(Change(1, 1));
    LiveState::Reader reader = state.Begin();
    EXPECT_EQ(*state.Next(reader, patience), start + "false}\n\n");
    state.SetConnected(true);
    EXPECT_EQ(NextChanges(state, reader), Numbers{1});
    state.SetConnected(false);
    state.SetConnected(true);
    EXPECT_EQ(*state.Next(reader, none), ":\n\n");
    state.Publish(Change(1, 2));
    state.SetConnected(false);
    EXPECT_EQ(state.Next(reader, patience)->substr(0, 5), "data:");
    EXPECT_EQ(*state.Next(reader, patience), start + "false}\n\n");
}

TEST(LiveState, WakesReaders)
{
    LiveState state;
    LiveState::Reader reader = state.Begin();
    state.Next(reader, patience);
    auto next = std::async(std::launch::async, [&] { return state.Next(reader, 3 * patience); });
    state.Publish(Change(1, 1));
    ASSERT_EQ(next.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(next.get()->substr(0, 5), "data:");
    next = std::async(std::launch::async, [&] { return state.Next(reader, 3 * patience); });
    state.Close();
    ASSERT_EQ(next.wait_for(patience), std::future_status::ready);
    EXPECT_EQ(next.get(), nullptr);
}

}  // namespace
