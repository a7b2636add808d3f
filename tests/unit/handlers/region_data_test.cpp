#include "tests/unit/handlers/notified_console.h"

#include <iostream>
#include <string>

namespace {

class RegionDataUpdate : public NotifiedConsole {
protected:
    std::string Receive(unsigned int region, unsigned int format, const std::string& pixels)
    {
        return Notify(HandleRegionData, Byte(region) + Byte(format) + Counted(pixels));
    }
};

TEST_F(RegionDataUpdate, PrintsTheHistogramOfCifData)
{
    EXPECT_TEXT(Receive(3, 2, std::string("\0\1\1\2\2\2\3\3\3\3", 10)),
                "CLI: Process region  3 (2):  0=    1   1=    2   2=    3   3=    4\n");
    EXPECT_TEXT(Receive(14, 2, ""),
                "CLI: Process region 14 (2):  0=    0   1=    0   2=    0   3=    0\n");
    EXPECT_TEXT(Receive(2, 2, std::string(123456, '\2')),
                "CLI: Process region  2 (2):  0=    0   1=    0   2=123456   3=    0\n");
}

TEST_F(RegionDataUpdate, ReportsUnexpectedValuesInOrder)
{
    EXPECT_TEXT(Receive(1, 2, std::string("\xFF\0\x07\x80\3\x07", 6)),
                "Unexpected subtitle data value: 0xff\n"
                "Unexpected subtitle data value: 0x07\n"
                "Unexpected subtitle data value: 0x80\n"
                "Unexpected subtitle data value: 0x07\n"
                "CLI: Process region  1 (2):  0=    1   1=    0   2=    0   3=    1\n");
}

TEST_F(RegionDataUpdate, IsPrintedInCifOnly)
{
    EXPECT_TEXT(Receive(1, 0, "\7b"), "");    // encoded in 8 bytes
    EXPECT_TEXT(Receive(1, 1, "\7bcd"), "");  // 10
    EXPECT_TEXT(Receive(1, 3, "\7"), "");
    Receive(1, 2, "\1\1");  // 8
    EXPECT_TEXT(Report(),
                RegionReport({{1, "   1   F        1 +      1 +      1 =      3          8 +       "
                                  "10 +        8 =       26    100.0 %"}},
                             "  0.0"));
}

TEST_F(RegionDataUpdate, PrintsARangeMessageFirst)
{
    EXPECT_TEXT(Receive(1, 4, "\1"), "AddRegionData: subtitleFormat out of range: \x04\n");
    EXPECT_TEXT(Receive(200, 2, "\1"),
                "AddRegionData: regionId out of range: \xC8\n"
                "CLI: Process region 200 (2):  0=    0   1=    1   2=    0   3=    0\n");
}

TEST_F(RegionDataUpdate, OfRegionZeroIsNotCounted)
{
    EXPECT_TEXT(Receive(0, 2, "\1"),
                "CLI: Process region  0 (2):  0=    0   1=    1   2=    0   3=    0\n");
    EXPECT_TEXT(Report(), EmptyRegionReport());
}

TEST_F(RegionDataUpdate, StaysInOrderWithTextInTheStream)
{
    Put(Byte(1) + Byte(2) + Counted("\1"));
    EXPECT_TEXT(OutputOf([this] {
                    std::cout << "before ";
                    HandleRegionData(&endpoint, nullptr);
                    std::cout << "after";
                }),
                "before CLI: Process region  1 (2):  0=    0   1=    1   2=    0   3=    0\nafter");
}

}  // namespace
