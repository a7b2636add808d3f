#include "view/pcapng.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/text_compare.h"

using namespace view;

namespace {

TEST(Pcapng, BeginsWithASection)
{
    EXPECT_TEXT(
        SectionBlock("view 1"),
        Bytes({0x0A, 0x0D, 0x0D, 0x0A,                      // type
               0,    0,    0,    0x2C,                      // length of the block: 44
               0x1A, 0x2B, 0x3C, 0x4D,                      // byte order
               0,    1,    0,    0,                         // version 1.0
               255,  255,  255,  255,  255, 255, 255, 255,  // unknown length
               0,    4,    0,    6,    'v', 'i', 'e', 'w', ' ', '1', 0, 0,  // application, padded
               0,    0,    0,    0,                                         // end of the options
               0,    0,    0,    0x2C}));
}

TEST(Pcapng, HasAnInterfaceOfLinkType147)
{
    EXPECT_TEXT(InterfaceBlock("Name"),
                Bytes({0, 0,   0, 1,                         // type
                       0, 0,   0, 0x28,                      // length of the block: 40
                       0, 147, 0, 0,                         // USER0
                       0, 4,   0, 0,                         // at most 262,144 bytes
                       0, 2,   0, 4,    'N', 'a', 'm', 'e',  // interface
                       0, 9,   0, 1,    6,   0,   0,   0,    // microseconds, padded
                       0, 0,   0, 0,                         // end of the options
                       0, 0,   0, 0x28}));
    const std::string longName = InterfaceBlock(std::string(65536, 'n'));
    EXPECT_EQ(longName.size(), 40u - 4 + 256);
    EXPECT_EQ(longName.substr(16, 4), Bytes({0, 2, 0, 255}));
}

TEST(Pcapng, HasABlockForAPacket)
{
    EXPECT_TEXT(PacketBlock(0x0102030405060708, "\x01\x02\x03", 0x10203),
                Bytes({0, 0, 0, 6,                 // type
                       0, 0, 0, 0x24,              // length of the block: 36
                       0, 0, 0, 0,                 // the first interface
                       1, 2, 3, 4,    5, 6, 7, 8,  // microseconds since 1970
                       0, 0, 0, 3,                 // bytes here
                       0, 1, 2, 3,                 // bytes of the packet
                       1, 2, 3, 0,                 // padded
                       0, 0, 0, 0x24}));
    EXPECT_TEXT(PacketBlock(0, "1234", 4).substr(28, 4), std::string("1234"));
    EXPECT_EQ(PacketBlock(0, "1234", 4).size(), 36u);
}

}  // namespace
