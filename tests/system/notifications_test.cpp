// What a subscribed console prints and counts for each kind of notification, byte by byte.

#include "tests/support/ConsoleSession.h"
#include "tests/support/RawPeer.h"

namespace {

using Rows = std::map<unsigned, std::string>;

class ASubscribedConsole : public ConsoleSession {
protected:
    /// Lets the service publish the notifications of \p scenario once the menu says "subscribed",
    /// and waits until all have been shown. A visibility goes last, for two reasons: its text is
    /// waited for, and it flushes what the region data handler printed.
    void Receive(const std::string& scenario)
    {
        // Nobody but the test subscribes under number 1, so the test says when it begins.
        Service().Play("wait-subscribers 1\n" + scenario + "visibility 14 t\n");
        KeepJournal();
        StartService();
        StartClient({"-i"});
        Type("1\n");
        ExpectConsole(UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu());
        RawClient starter(Service().SocketPath());
        starter.SendFrame(FrameKind::Request, messages::subscribe, 1, U32(1) + U32(15129));
        ExpectConsole(last);
    }

    /// Leaves the console. \return what the notifications printed
    std::string Notifications()
    {
        Type("x\n");
        EXPECT_EQ(ExitStatus(), 0);
        EXPECT_TEXT(ErrorText(), "");
        const std::string before = UnsubscribedMenu() + AcceptedSubscriptions() + SubscribedMenu();
        const std::string text = ConsoleText();
        EXPECT_TEXT(text.substr(0, before.size()), before);
        EXPECT_TEXT(text.substr(text.size() - last.size()), last);
        return text.substr(before.size(), text.size() - before.size() - last.size());
    }

    /// Shows the statistics and leaves the console. \return what that printed
    std::string TextAfter(const std::string& keys)
    {
        const std::size_t before = Client().Output().size();
        Type(keys);
        EXPECT_EQ(ExitStatus(), 0);
        return ConsoleText().substr(before);
    }

    void ExpectReport(const Rows& rows, const std::string& otherShare)
    {
        EXPECT_TEXT(TextAfter("s\nx\n"), RegionReport(rows, otherShare) + SubscribedMenu());
    }

private:
    const std::string last = "\n\n*** RegionVisi:  14  visible\n\n";
};

}  // namespace

TEST_F(ASubscribedConsole, ShowsHowOftenEachPixelValueOccursInCifData)
{
    Receive("region-data 3 2 000000010203030303\n");
    EXPECT_TEXT(Notifications(),
                "CLI: Process region  3 (2):  0=    3   1=    1   2=    1   3=    4\n");
}

TEST_F(ASubscribedConsole, ShowsAPixelValueOutOfRangeAtOnceAndCountsItNowhere)
{
    Receive("region-data 12 2 000703\n");
    EXPECT_TEXT(Notifications(),
                "Unexpected subtitle data value: 0x07\n"
                "CLI: Process region 12 (2):  0=    1   1=    0   2=    0   3=    1\n");
}

TEST_F(ASubscribedConsole, ShowsPixelValuesInTwoLowerCaseDigits)
{
    Receive("region-data 1 2 04ff801f\n");
    EXPECT_TEXT(Notifications(),
                "Unexpected subtitle data value: 0x04\n"
                "Unexpected subtitle data value: 0xff\n"
                "Unexpected subtitle data value: 0x80\n"
                "Unexpected subtitle data value: 0x1f\n"
                "CLI: Process region  1 (2):  0=    0   1=    0   2=    0   3=    0\n");
}

TEST_F(ASubscribedConsole, ShowsAnEmptyBitmap)
{
    Receive("region-data 2 2 -\n");
    EXPECT_TEXT(Notifications(),
                "CLI: Process region  2 (2):  0=    0   1=    0   2=    0   3=    0\n");
}

TEST_F(ASubscribedConsole, ShowsACountOfMoreThanFiveDigitsInFull)
{
    std::string bytes;
    for (int i = 0; i < 100001; ++i) {
        bytes += "01";
    }
    Receive("region-data 2 2 " + bytes + "\n");
    EXPECT_TEXT(Notifications(),
                "CLI: Process region  2 (2):  0=    0   1=100001   2=    0   3=    0\n");
}

TEST_F(ASubscribedConsole, CountsHdSdAndFormatThreeWithoutAWord)
{
    Receive("region-data 1 0 00010203\nregion-data 1 1 0001\nregion-data 1 3 000102030405\n");
    EXPECT_TEXT(Notifications(), "");
}

TEST_F(ASubscribedConsole, ShowsAFormatOutOfRangeAsItsRawByte)
{
    Receive("region-data 1 65 00\nregion-data 1 4 00\nregion-data 1 255 -\n");
    EXPECT_TEXT(Notifications(), "AddRegionData: subtitleFormat out of range: A\n"
                                 "AddRegionData: subtitleFormat out of range: \x04\n"
                                 "AddRegionData: subtitleFormat out of range: \xff\n");
}

TEST_F(ASubscribedConsole, ShowsARegionOutOfRangeAsItsRawByteAndItsPixelsAllTheSame)
{
    Receive("region-data 15 2 01\nregion-data 255 2 -\nregion-data 65 0 00\n");
    EXPECT_TEXT(Notifications(),
                "AddRegionData: regionId out of range: \x0f\n"
                "CLI: Process region 15 (2):  0=    0   1=    1   2=    0   3=    0\n"
                "AddRegionData: regionId out of range: \xff\n"
                "CLI: Process region 255 (2):  0=    0   1=    0   2=    0   3=    0\n"
                "AddRegionData: regionId out of range: A\n");
}

TEST_F(ASubscribedConsole, LooksAtTheRegionBeforeTheFormat)
{
    Receive("region-data 66 67 00\n");
    EXPECT_TEXT(Notifications(), "AddRegionData: regionId out of range: B\n");
}

TEST_F(ASubscribedConsole, SaysNothingOfRegionZeroButItsPixels)
{
    Receive("region-data 0 2 02\nregion-data 0 0 02\nvisibility 0 f\n");
    EXPECT_TEXT(Notifications(),
                "CLI: Process region  0 (2):  0=    0   1=    0   2=    1   3=    0\n"
                "\n\n*** RegionVisi:  0  NOT visible\n\n");
}

TEST_F(ASubscribedConsole, ShowsVisibility)
{
    Receive("visibility 3 t\nvisibility 10 f\n");
    EXPECT_TEXT(Notifications(), "\n\n*** RegionVisi:  3  visible\n\n"
                                 "\n\n*** RegionVisi:  10  NOT visible\n\n");
}

TEST_F(ASubscribedConsole, ShowsTheVisibilityOfARegionOutOfRange)
{
    Receive("visibility 15 t\nvisibility 200 f\n");
    EXPECT_TEXT(Notifications(), "AddRegionVis: regionId out of range: \x0f\n"
                                 "\n\n*** RegionVisi:  15  visible\n\n"
                                 "AddRegionVis: regionId out of range: \xc8\n"
                                 "\n\n*** RegionVisi:  200  NOT visible\n\n");
}

TEST_F(ASubscribedConsole, ShowsTheEndsOfAPalette)
{
    std::string bytes = "10";
    for (int i = 0; i < 62; ++i) {
        bytes += "aa";
    }
    Receive("palette 2 31 t " + bytes + "ff\n");
    EXPECT_TEXT(Notifications(), "*** PalettData:  2  [0x10,...,0xff]  (64)  (Fill, 1f)\n\n");
}

TEST_F(ASubscribedConsole, ShowsTheOnlyByteOfAPaletteTwice)
{
    Receive("palette 14 255 f 05\n");
    EXPECT_TEXT(Notifications(), "*** PalettData:  14  [0x05,...,0x05]  (1)  (NoFill, ff)\n\n");
}

TEST_F(ASubscribedConsole, ShowsAnEmptyPaletteWithoutTheLeadingBlanks)
{
    Receive("palette 3 1 f -\n");
    EXPECT_TEXT(Notifications(), "*** PalettData:  3[empty]  (0)  (NoFill, 1)\n\n");
}

TEST_F(ASubscribedConsole, ShowsBackgroundZeroAsOneDigit)
{
    Receive("palette 1 0 t 00\n");
    EXPECT_TEXT(Notifications(), "*** PalettData:  1  [0x00,...,0x00]  (1)  (Fill, 0)\n\n");
}

TEST_F(ASubscribedConsole, ShowsThePaletteOfAnyRegionAndComplainsOfNone)
{
    Receive("palette 0 9 f -\npalette 255 10 f -\n");
    EXPECT_TEXT(Notifications(), "*** PalettData:  0[empty]  (0)  (NoFill, 9)\n\n"
                                 "*** PalettData:  255[empty]  (0)  (NoFill, a)\n\n");
}

TEST_F(ASubscribedConsole, PrintsDecimalNumbersAgainAfterAPalette)
{
    Receive("palette 2 31 t 10ff\nvisibility 12 t\nregion-data 11 2 00\nregion-data 26 0 00\n");
    EXPECT_TEXT(Notifications(),
                "*** PalettData:  2  [0x10,...,0xff]  (2)  (Fill, 1f)\n\n"
                "\n\n*** RegionVisi:  12  visible\n\n"
                "CLI: Process region 11 (2):  0=    1   1=    0   2=    0   3=    0\n"
                "AddRegionData: regionId out of range: \x1a\n");
}

TEST_F(ASubscribedConsole, KeepsTheTextsOfBothPrintersInTheOrderOfTheNotifications)
{
    Receive("region-data 1 2 09\nvisibility 1 f\nregion-data 2 2 -\npalette 1 1 f -\n"
            "region-data 77 0 -\nregion-data 3 2 -\n");
    EXPECT_TEXT(Notifications(),
                "Unexpected subtitle data value: 0x09\n"
                "CLI: Process region  1 (2):  0=    0   1=    0   2=    0   3=    0\n"
                "\n\n*** RegionVisi:  1  NOT visible\n\n"
                "CLI: Process region  2 (2):  0=    0   1=    0   2=    0   3=    0\n"
                "*** PalettData:  1[empty]  (0)  (NoFill, 1)\n\n"
                "AddRegionData: regionId out of range: M\n"
                "CLI: Process region  3 (2):  0=    0   1=    0   2=    0   3=    0\n");
}

// A region data record takes 6 bytes beside its pixels.

TEST_F(ASubscribedConsole, ReportsTheOnlyRegionWithTrafficAsTheWhole)
{
    Receive("region-data 3 0 00010203\nregion-data 3 1 0001\nregion-data 3 2 000102\n"
            "region-data 3 2 -\n");
    ExpectReport(
        {{3, "   3   F        1 +      1 +      2 =      4         10 +        8 +       15 "
             "=       33    100.0 %"}},
        "  0.0");
}

TEST_F(ASubscribedConsole, ReportsTheShareOfEachRegion)
{
    // 12 and 12 bytes of 48, and 24: a quarter, a quarter and a half.
    Receive("region-data 1 0 000000000000\nregion-data 14 1 000000000000\n"
            "region-data 10 2 000000000000000000000000000000000000\n");
    ExpectReport(
        {{1, "   1   F        1 +      0 +      0 =      1         12 +        0 +        0 "
             "=       12     25.0 %"},
         {10, "  10   F        0 +      0 +      1 =      1          0 +        0 +       24 "
              "=       24     50.0 %"},
         {14, "  14   F        0 +      1 +      0 =      1          0 +       12 +        0 "
              "=       12     25.0 %"}},
        "  0.0");
}

TEST_F(ASubscribedConsole, ReportsAShareWithOneDigitBehindThePoint)
{
    // 10 bytes of 30, and 20: 33.33 and 66.67 percent.
    Receive("region-data 1 0 00000000\nregion-data 2 0 0000000000000000000000000000\n");
    ExpectReport(
        {{1, "   1   F        1 +      0 +      0 =      1         10 +        0 +        0 "
             "=       10     33.3 %"},
         {2, "   2   F        1 +      0 +      0 =      1         20 +        0 +        0 "
             "=       20     66.7 %"}},
        "  0.0");
}

TEST_F(ASubscribedConsole, ReportsNothingOfFormatThreeAndOfWhatItDropped)
{
    Receive("region-data 1 3 00010203\nregion-data 1 4 00\nregion-data 0 0 00\n"
            "region-data 15 0 00\n");
    ExpectReport({}, "  nan");
}

TEST_F(ASubscribedConsole, ReportsNothingOfVisibilityAndPalettes)
{
    Receive("visibility 1 t\nvisibility 2 f\npalette 1 1 t 00\n");
    ExpectReport({}, "  nan");
}

TEST_F(ASubscribedConsole, FillsItsReportWithBlanksAlsoAfterAPaletteLeftZerosAsFill)
{
    Receive("palette 2 31 t 10ff\nregion-data 2 1 -\n");
    ExpectReport(
        {{2, "   2   F        0 +      1 +      0 =      1          0 +        6 +        0 "
             "=        6    100.0 %"}},
        "  0.0");
}

TEST_F(ASubscribedConsole, ClearsEveryNumberOfTheReport)
{
    Receive("region-data 1 0 00\nregion-data 2 1 00\nregion-data 3 2 00\n");
    EXPECT_TEXT(TextAfter("c\ns\nx\n"), SubscribedMenu() + EmptyRegionReport() + SubscribedMenu());
}

TEST_F(ASubscribedConsole, CountsWhatItsOwnRequestsCause)
{
    StartService();
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    RawClient editor(Service().SocketPath());
    editor.SendFrame(FrameKind::Request, messages::setRegionData, 7,
                     Bytes({4, 0}) + U32(2) + Bytes({0, 0xFE}));
    editor.ReceiveFrame();
    Type("6\n4\n");
    // The receive thread may print while the menu comes; each line of it stays whole.
    ExpectConsole("Enter region ID: ");
    ExpectConsole("x) Exit");
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 8, Bytes({4, 1}));
    ExpectConsole("visible\n\n");
    // Two bitmaps of 8 bytes, each published in three formats.
    EXPECT_TEXT(TextAfter("s\nx\n"),
                RegionReport({{4, "   4   F        2 +      2 +      2 =      6         16 +       "
                                  "16 +       16 =       48    100.0 %"}},
                             "  0.0") +
                    SubscribedMenu());
    const std::string text = ConsoleText();
    const std::size_t sent =
        text.find("CLI: Process region  4 (2):  0=    1   1=    0   2=    1   3=    0\n");
    // Inverted, the last two bits are 3 and 1.
    const std::size_t inverted =
        text.find("CLI: Process region  4 (2):  0=    0   1=    1   2=    0   3=    1\n");
    EXPECT_NE(sent, std::string::npos) << text;
    EXPECT_NE(inverted, std::string::npos) << text;
    EXPECT_LT(sent, inverted) << text;
}

TEST_F(ASubscribedConsole, RefreshShowsEverythingOnceMore)
{
    StartService();
    RawClient editor(Service().SocketPath());
    editor.SendFrame(FrameKind::Request, messages::setRegionData, 7, Bytes({4, 0}) + U32(0));
    editor.ReceiveFrame();
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 8, Bytes({4, 1}));
    editor.ReceiveFrame();
    StartClient({"-i"});
    Type("1\nr\n");
    // Flushed by the visibility that follows it, and whole even inside a menu.
    ExpectConsole("CLI: Process region  4 (2):  0=    0   1=    0   2=    0   3=    0\n");
    Type("x\n");
    EXPECT_EQ(ExitStatus(), 0);
}

TEST_F(ASubscribedConsole, ShowsNothingMoreOnceItUnsubscribed)
{
    StartService();
    RawClient editor(Service().SocketPath());
    StartClient({"-i"});
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    Type("2\n");
    ExpectConsole("Unsubscribing...\n" + UnsubscribedMenu());
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 1, Bytes({4, 1}));
    editor.ReceiveFrame();
    Type("1\n");
    ExpectConsole(SubscribedMenu());
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 2, Bytes({5, 1}));
    editor.ReceiveFrame();
    ExpectConsole("*** RegionVisi:  5  visible\n\n");
    Type("x\n");
    EXPECT_EQ(ConsoleText().find("RegionVisi:  4"), std::string::npos);
}

TEST_F(ASubscribedConsole, GetsEachNotificationOnceWhenItSubscribedTwice)
{
    StartService();
    RawClient editor(Service().SocketPath());
    StartClient({"-i"});
    Type("11");
    ExpectConsole(SubscribedMenu());
    ExpectConsole(SubscribedMenu());
    for (const unsigned int region : {4u, 5u}) {
        editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, region,
                         Bytes({region, 1}));
        editor.ReceiveFrame();
    }
    ExpectConsole("\n\n*** RegionVisi:  4  visible\n\n\n\n*** RegionVisi:  5  visible\n\n");
}

TEST_F(ASubscribedConsole, DropsMalformedRecordsAndHandlesTheGoodOnesBetweenThem)
{
    Service().Fault("garbage");
    Receive("region-data 1 0 00010203\nregion-data 1 2 0001\nvisibility 2 f\npalette 2 31 t 10ff\n"
            "region-data 1 3 00\nregion-data 1 1 -\n");
    EXPECT_TEXT(
        TextAfter("s\nx\n"),
        RegionReport({{1, "   1   F        1 +      1 +      1 =      3         10 +        "
                          "6 +        8 =       24    100.0 %"}},
                     "  0.0") +
            SubscribedMenu());
    const std::string text = ConsoleText();
    EXPECT_NE(text.find("CLI: Process region  1 (2):  0=    1   1=    1   2=    0   3=    0\n"
                        "\n\n*** RegionVisi:  2  NOT visible\n\n"
                        "*** PalettData:  2  [0x10,...,0xff]  (2)  (Fill, 1f)\n\n"
                        "\n\n*** RegionVisi:  14  visible\n\n"),
              std::string::npos)
        << text;
    EXPECT_NE(LogText().find("level=2 dropped a malformed record from SubtitleMgr"),
              std::string::npos);
}

TEST_F(ASubscribedConsole, IsOneOfTwoThatGetEverything)
{
    StartService();
    StartClient({"-i"});
    ChildProcess second({ClientProgram(), "-i"}, ClientSettings());
    Type("1\n");
    second.Write("1\n");
    ExpectConsole(SubscribedMenu());
    second.WaitForOutput(SubscribedMenu());
    RawClient editor(Service().SocketPath());
    for (unsigned int region = 1; region <= 14; ++region) {
        editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, region,
                         Bytes({region, region % 2}));
        editor.ReceiveFrame();
    }
    for (unsigned int region = 1; region <= 14; ++region) {
        const std::string line = "*** RegionVisi:  " + std::to_string(region) +
                                 (region % 2 == 1 ? "  visible\n\n" : "  NOT visible\n\n");
        ExpectConsole(line);
        second.WaitForOutput(line);
    }
    // One leaves; the other stays subscribed.
    second.Write("x\n");
    EXPECT_EQ(second.WaitForExit(), 0);
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 20, Bytes({6, 1}));
    ExpectConsole("*** RegionVisi:  6  visible\n\n");
}
