#include "view/pcapng.h"
#include "tests/harness/RawPeer.h"
#include "tests/harness/text_compare.h"

using namespace view;

namespace {

TEST(Pcapng, BeginsWithASection)
{
    EXPECT_TEXT(SectionBlock("view 1"),
                Bytes({0x0A, 0x0D, 0x0D, 0x0A}) +                      // type
                    Bytes({0x2C, 0, 0, 0}) +                           // length of the block: 44
                    Bytes({0x4D, 0x3C, 0x2B, 0x1A}) +                  // little-endian
                    Bytes({1, 0, 0, 0}) +                              // version 1.0
                    Bytes({255, 255, 255, 255, 255, 255, 255, 255}) +  // unknown length
                    Bytes({4, 0, 6, 0}) + "view 1" + Bytes({0, 0}) +   // application, padded
                    Bytes({0, 0, 0, 0}) +                              // end of the options
                    Bytes({0x2C, 0, 0, 0}));
}

TEST(Pcapng, HasAnInterfaceOfLinkType147)
{
    EXPECT_TEXT(InterfaceBlock("Name"), Bytes({1, 0, 0, 0}) +             // type
                                            Bytes({0x28, 0, 0, 0}) +      // length of the block: 40
                                            Bytes({147, 0, 0, 0}) +       // USER0
                                            Bytes({0, 0, 4, 0}) +         // at most 262,144 bytes
                                            Bytes({2, 0, 4, 0}) + "Name"  // interface
                                            + Bytes({9, 0, 1, 0, 6, 0, 0, 0}) +  // microseconds
                                            Bytes({0, 0, 0, 0}) +  // end of the options
                                            Bytes({0x28, 0, 0, 0}));
    const std::string longName = InterfaceBlock(std::string(65536, 'n'));
    EXPECT_EQ(longName.size(), 40u - 4 + 256);
    EXPECT_EQ(longName.substr(16, 4), Bytes({2, 0, 255, 0}));
}

TEST(Pcapng, HasABlockForAPacket)
{
    EXPECT_TEXT(PacketBlock(0x0102030405060708, "abc", 0x10203),
                Bytes({6, 0, 0, 0}) +                  // type
                    Bytes({0x24, 0, 0, 0}) +           // length of the block: 36
                    Bytes({0, 0, 0, 0}) +              // the first interface
                    Bytes({4, 3, 2, 1, 8, 7, 6, 5}) +  // microseconds since 1970, in two parts
                    Bytes({3, 0, 0, 0}) +              // bytes here
                    Bytes({3, 2, 1, 0}) +              // bytes of the packet
                    "abc" + Bytes({0}) +               // padded
                    Bytes({0x24, 0, 0, 0}));
    EXPECT_EQ(PacketBlock(0, "abcd", 4).size(), 36u);
}

}  // namespace
