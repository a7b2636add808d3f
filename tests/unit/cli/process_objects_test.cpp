#include "cli/process_objects.h"

#include "cli/SubtitleMgrCli.h"
#include "cli/client_name.h"
#include "stats/SubtitleStats.h"
#include "tests/harness/console_texts.h"
#include "tests/harness/text_compare.h"
#include "tests/unit/captured_console.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <string>
#include <type_traits>

namespace {

TEST(ProcessObjects, AreFourteenRegionsAndNoSubscription)
{
    EXPECT_TEXT(OutputOf([] { subtitleStats.Display(); }), EmptyRegionReport());
    EXPECT_FALSE(subscribed);
}

TEST(ProcessObjects, ShareAFlagOfOnePlainByte)
{
    EXPECT_TRUE((std::is_same_v<std::remove_volatile_t<decltype(subscribed)>, bool>));
    EXPECT_EQ(sizeof subscribed, 1u);
}

/// The client's members as they are listed, behind the same base.
struct ListedMembers : CommonCli {
    IpcMessage requestMsg;
    std::string serverName;
    SubtitleClient subtitleClient;
    pthread_t receiveThread;
};

TEST(TheClient, HasFourMembersAndNoOthers)
{
    EXPECT_EQ(sizeof(SubtitleMgrCli), sizeof(ListedMembers));
}

TEST(TheClient, DerivesFromTheFrameAlone)
{
    EXPECT_TRUE((std::is_base_of_v<CommonCli, SubtitleMgrCli>));
    EXPECT_TRUE((std::is_convertible_v<SubtitleMgrCli*, CommonCli*>));
    EXPECT_TRUE(std::has_virtual_destructor_v<SubtitleMgrCli>);
    EXPECT_STREQ(clientName, "SubtitleMgrCli");
}

}  // namespace
