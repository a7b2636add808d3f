// The order of virtual functions and of data members. The client and the SDK are built separately
// and must agree on it.

#include "cli/SubtitleMgrCli.h"

#include <BoolItem.h>
#include <IpcMessage.h>
#include <Item.h>
#include <LogMsg.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <pthread.h>
#include <type_traits>
#include <vector>

namespace {

/// The index of a virtual function in its class's table, after the two entries of the destructor.
/// In the C++ ABI of all our compilers a pointer to it is the offset in the table, plus one.
template <typename Function>
std::size_t Slot(Function function)
{
    static_assert(std::is_member_function_pointer_v<Function>);
    std::size_t words[2];
    static_assert(sizeof words == sizeof function);
    std::memcpy(words, &function, sizeof words);
    EXPECT_EQ(words[0] % 2, 1u) << "the function is not virtual";
    return words[0] / sizeof(void*) - 2;
}

/// Adds a virtual function to \p Class. Its slot is the number of the functions before it.
template <typename Class>
struct WithOneMore : Class {
    virtual void OneMore() {}
};

/// Expects that \p Class has these virtual functions, in this order, and no others.
template <typename Class, typename... Functions>
void ExpectSlots(Functions... functions)
{
    const std::vector<std::size_t> slots{Slot(functions)..., Slot(&WithOneMore<Class>::OneMore)};
    for (std::size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(slots[i], i);
    }
}

template <typename Client>
void ExpectSlotsOfClient()
{
    ExpectSlots<Client>(&Client::Usage, &Client::HandleLogLevel, &Client::SetLogLevel,
                        &Client::ProcessOption, &Client::RunIt, &Client::PreInit,
                        &Client::PostInit);
}

template <typename Record>
void ExpectSlotsOfRecord()
{
    ExpectSlots<Record>(&Record::Decode, &Record::Encode, &Record::EncodedSize);
}

/// \param members  addresses in one object, in the order of the declarations
void ExpectInOrder(const std::vector<const void*>& members)
{
    EXPECT_TRUE(std::is_sorted(members.begin(), members.end(), std::less<const void*>()));
}

/// Defined below, where an explicit instantiation may name private members.
std::vector<const void*> MembersOf(const SubtitleMgrCli& client);

template <auto... members>
struct PrivateMembers {
    friend std::vector<const void*> MembersOf(const SubtitleMgrCli& client)
    {
        return {&(client.*members)...};
    }
};
template struct PrivateMembers<&SubtitleMgrCli::requestMsg, &SubtitleMgrCli::serverName,
                               &SubtitleMgrCli::subtitleClient, &SubtitleMgrCli::receiveThread>;

/// The client's members in the listed order, after the same base class.
struct ListedMembers : CommonCli {
    IpcMessage requestMsg;
    std::string serverName;
    SubtitleClient subtitleClient;
    pthread_t receiveThread;
};

TEST(ClassLayout, KeepsTheVirtualFunctionsInOrder)
{
    ExpectSlotsOfClient<CommonCli>();
    ExpectSlotsOfClient<SubtitleMgrCli>();
    ExpectSlotsOfRecord<Item>();
    ExpectSlotsOfRecord<BoolItem>();
    ExpectSlotsOfRecord<RegionDataItem>();
    ExpectSlotsOfRecord<RegionVisItem>();
    ExpectSlotsOfRecord<PaletteItem>();
    ExpectSlots<IpcMessage>(&IpcMessage::Payload);
    struct Entry : LogMsg {};
    ExpectSlots<Entry>();
}

TEST(ClassLayout, KeepsTheMembersOfTheClientInOrder)
{
    const SubtitleMgrCli client;
    const std::vector<const void*> members = MembersOf(client);
    ExpectInOrder(members);
    EXPECT_EQ(members[0], reinterpret_cast<const char*>(&client) + sizeof(CommonCli));
    EXPECT_EQ(sizeof(SubtitleMgrCli), sizeof(ListedMembers));
}

TEST(ClassLayout, KeepsTheFieldsOfRecordsInOrder)
{
    const RegionDataItem bitmap;
    ExpectInOrder({&bitmap.regionId, &bitmap.subtitleFormat, &bitmap.data});
    const RegionVisItem visibility;
    ExpectInOrder({&visibility.regionId, &visibility.visible});
    const PaletteItem palette;
    ExpectInOrder(
        {&palette.regionId, &palette.backgroundCode, &palette.fill, &palette.paletteData});
}

}  // namespace
