// The order of virtual functions and of data members, in which a class of one build meets another
// build's.

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
#include <type_traits>
#include <vector>

namespace {

/// The place of a virtual function in its class's table, the destructor's two included. The C++ ABI
/// of all our compilers gives a pointer to it as the offset in the table, plus one.
template <typename Function>
std::size_t Slot(Function function)
{
    static_assert(std::is_member_function_pointer_v<Function>);
    std::size_t words[2];
    static_assert(sizeof words == sizeof function);
    std::memcpy(words, &function, sizeof words);
    EXPECT_EQ(words[0] % 2, 1u) << "not virtual";
    return words[0] / sizeof(void*);
}

/// \param members  addresses in one object, in the order of the declarations
void ExpectInOrder(const std::vector<const void*>& members)
{
    std::vector<const void*> sorted = members;
    std::sort(sorted.begin(), sorted.end(), std::less<const void*>());
    EXPECT_EQ(members, sorted);
}

template <typename Client>
void ExpectTheFramesSlots()
{
    EXPECT_EQ(Slot(&Client::Usage), 2u);
    EXPECT_EQ(Slot(&Client::HandleLogLevel), 3u);
    EXPECT_EQ(Slot(&Client::SetLogLevel), 4u);
    EXPECT_EQ(Slot(&Client::ProcessOption), 5u);
    EXPECT_EQ(Slot(&Client::RunIt), 6u);
    EXPECT_EQ(Slot(&Client::PreInit), 7u);
    EXPECT_EQ(Slot(&Client::PostInit), 8u);
}

template <typename Record>
void ExpectARecordsSlots()
{
    EXPECT_EQ(Slot(&Record::Decode), 2u);
    EXPECT_EQ(Slot(&Record::Encode), 3u);
    EXPECT_EQ(Slot(&Record::EncodedSize), 4u);
}

/// Adds a virtual function to those of \p Class: its slot is their number.
template <typename Class>
struct WithOneMore : Class {
    virtual void OneMore() {}
};

template <typename Class>
std::size_t CountSlots()
{
    return Slot(&WithOneMore<Class>::OneMore);
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

TEST(TheFramesVirtualFunctions, AreInTheirOrder)
{
    ExpectTheFramesSlots<CommonCli>();
    EXPECT_EQ(CountSlots<CommonCli>(), 9u);
}

TEST(TheClientsVirtualFunctions, AreInTheFramesOrder)
{
    ExpectTheFramesSlots<SubtitleMgrCli>();
    EXPECT_EQ(CountSlots<SubtitleMgrCli>(), 9u);
}

TEST(TheClientsMembers, AreInTheirOrder)
{
    const SubtitleMgrCli client;
    ExpectInOrder(MembersOf(client));
    EXPECT_EQ(MembersOf(client).size(), 4u);
    EXPECT_EQ(MembersOf(client)[0], reinterpret_cast<const char*>(&client) + sizeof(CommonCli));
}

TEST(EveryRecordsVirtualFunctions, AreInTheirOrder)
{
    ExpectARecordsSlots<Item>();
    ExpectARecordsSlots<BoolItem>();
    ExpectARecordsSlots<RegionDataItem>();
    ExpectARecordsSlots<RegionVisItem>();
    ExpectARecordsSlots<PaletteItem>();
    EXPECT_EQ(CountSlots<Item>(), 5u);
    EXPECT_EQ(CountSlots<BoolItem>(), 5u);
    EXPECT_EQ(CountSlots<RegionDataItem>(), 5u);
    EXPECT_EQ(CountSlots<RegionVisItem>(), 5u);
    EXPECT_EQ(CountSlots<PaletteItem>(), 5u);
}

TEST(EveryRecordsFields, AreInTheirOrder)
{
    const RegionDataItem bitmap;
    ExpectInOrder({&bitmap.regionId, &bitmap.subtitleFormat, &bitmap.data});
    const RegionVisItem visibility;
    ExpectInOrder({&visibility.regionId, &visibility.visible});
    const PaletteItem palette;
    ExpectInOrder(
        {&palette.regionId, &palette.backgroundCode, &palette.fill, &palette.paletteData});
}

TEST(AMessagesVirtualFunctions, AreTheDestructorAndThePayload)
{
    EXPECT_EQ(Slot(&IpcMessage::Payload), 2u);
    EXPECT_EQ(CountSlots<IpcMessage>(), 3u);
}

TEST(AnEntrysVirtualFunctions, AreTheDestructorAlone)
{
    struct Entry : LogMsg {};
    EXPECT_EQ(CountSlots<Entry>(), 2u);
}

}  // namespace
