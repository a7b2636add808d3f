// Key 8: the sensor test, a console of its own that sends a sensor after every key.

#include "tests/editing/EditingSession.h"
#include "tests/support/RawPeer.h"

#include <csignal>

namespace {

class TheSensorTest : public EditingSession {
protected:
    void SetUp() override
    {
        EditingSession::SetUp();
        StartService();
    }

    /// Runs the test with \p keys and leaves it; \p answers is what each key prints.
    void ExpectTest(const std::string& keys, const Lines& answers, const Lines& journal)
    {
        std::string text;
        for (const std::string& answer : answers) {
            text += SensorTestMenu() + answer;
        }
        ExpectBetweenMenus("8\n" + keys + "x\n", text);
        EXPECT_EQ(Journal(), journal);
    }
};

}  // namespace

TEST_F(TheSensorTest, SendsASensorAfterEachKeyTheExitKeyIncluded)
{
    EXPECT_TEXT(TextAfter("8\n3\nx\nx\n"),
                "\n"
                "Choose an option:\n"
                "1) Subscribe for subtitles                 (currently unsubscribed)\n"
                "2) Unsubscribe for subtitles\n"
                "3) Modify Region Data\n"
                "4) Modify Region Visibility\n"
                "5) Modify Palette Data\n"
                "6) Invert Region Data\n"
                "7) Run dynamic test\n"
                "8) Send sensor changes\n"
                "r) Refresh all subtitles\n"
                "s) View statistics\n"
                "x) Exit\n"
                "\n"
                "\n"
                "Choose an sensor option:\n"
                "1) Brakes ON\n"
                "2) Brakes OFF\n"
                "3) Mics ON\n"
                "4) Mics OFF\n"
                "5) Lights ON\n"
                "6) Lights OFF\n"
                "7) Siren ON\n"
                "8) Siren OFF\n"
                "9) Aux ON\n"
                "0) Aux OFF\n"
                "n) Crash ON\n"
                "m) Crash OFF\n"
                "c) Clear statistics\n"
                "s) View statistics\n"
                "x) Exit\n"
                "\n"
                "Sent sensor =5  ON\n"
                "\n"
                "Choose an sensor option:\n"
                "1) Brakes ON\n"
                "2) Brakes OFF\n"
                "3) Mics ON\n"
                "4) Mics OFF\n"
                "5) Lights ON\n"
                "6) Lights OFF\n"
                "7) Siren ON\n"
                "8) Siren OFF\n"
                "9) Aux ON\n"
                "0) Aux OFF\n"
                "n) Crash ON\n"
                "m) Crash OFF\n"
                "c) Clear statistics\n"
                "s) View statistics\n"
                "x) Exit\n"
                "\n"
                "Sent sensor =5  ON\n"
                "\n"
                "Choose an option:\n"
                "1) Subscribe for subtitles                 (currently unsubscribed)\n"
                "2) Unsubscribe for subtitles\n"
                "3) Modify Region Data\n"
                "4) Modify Region Visibility\n"
                "5) Modify Palette Data\n"
                "6) Invert Region Data\n"
                "7) Run dynamic test\n"
                "8) Send sensor changes\n"
                "r) Refresh all subtitles\n"
                "s) View statistics\n"
                "x) Exit\n"
                "\n");
    EXPECT_EQ(Journal(), Lines(2, SensorLine(5, true)));
    EXPECT_EQ(LogText(), "");
}

TEST_F(TheSensorTest, SendsEverySensorOnAndOff)
{
    ExpectTest(
        "1\n2\n3\n4\n5\n6\n7\n8\n9\n0\nn\nm\nx\n",
        {"Sent sensor =0  ON\n", "Sent sensor =0  OFF\n", "Sent sensor =5  ON\n",
         "Sent sensor =5  OFF\n", "Sent sensor =1  ON\n", "Sent sensor =1  OFF\n",
         "Sent sensor =2  ON\n", "Sent sensor =2  OFF\n", "Sent sensor =3  ON\n",
         "Sent sensor =3  OFF\n", "Sent sensor =4  ON\n", "Sent sensor =4  OFF\n",
         "Sent sensor =4  OFF\n"},
        {SensorLine(0, true), SensorLine(0, false), SensorLine(5, true), SensorLine(5, false),
         SensorLine(1, true), SensorLine(1, false), SensorLine(2, true), SensorLine(2, false),
         SensorLine(3, true), SensorLine(3, false), SensorLine(4, true), SensorLine(4, false),
         SensorLine(4, false)});
}

TEST_F(TheSensorTest, SendsBrakesOffWhenNoSensorWasChosen)
{
    ExpectTest("s\nc\nx\n",
               {EmptyRegionReport() + "Sent sensor =0  OFF\n", "Sent sensor =0  OFF\n",
                "Sent sensor =0  OFF\n"},
               Lines(3, SensorLine(0, false)));
}

TEST_F(TheSensorTest, IsLeftByEitherOfTwoKeysAndSendsItsSensorOnceMore)
{
    ExpectTest("n\nq\n", {"Sent sensor =4  ON\n", "Sent sensor =4  ON\n"},
               Lines(2, SensorLine(4, true)));
}

TEST_F(TheSensorTest, SendsTheLastSensorAgainForEveryOtherKey)
{
    ExpectTest("9\ns\nc\nx\n",
               {"Sent sensor =3  ON\n", EmptyRegionReport() + "Sent sensor =3  ON\n",
                "Sent sensor =3  ON\n", "Sent sensor =3  ON\n"},
               Lines(4, SensorLine(3, true)));
}

TEST_F(TheSensorTest, SendsTheLastSensorAgainForAnUnknownKey)
{
    ExpectTest("5\nM\nN\nX\nQ\nC\nS\nr\nk\n.\n\x1b\n\xff\nx\n", Lines(13, "Sent sensor =1  ON\n"),
               Lines(13, SensorLine(1, true)));
}

TEST_F(TheSensorTest, DiscardsOneMoreCharacterForAnUnknownKeyOnly)
{
    // The 7 behind M is discarded, the one behind the line end is not, nor is the one behind s.
    ExpectTest("1M7M\n7x",
               {"Sent sensor =0  ON\n", "Sent sensor =0  ON\n", "Sent sensor =0  ON\n",
                "Sent sensor =2  ON\n", "Sent sensor =2  ON\n"},
               {SensorLine(0, true), SensorLine(0, true), SensorLine(0, true), SensorLine(2, true),
                SensorLine(2, true)});
}

TEST_F(TheSensorTest, RunsEveryKeyOfALine)
{
    ExpectTest("12\nx\n",
               {"Sent sensor =0  ON\n", "Sent sensor =0  OFF\n", "Sent sensor =0  OFF\n"},
               {SensorLine(0, true), SensorLine(0, false), SensorLine(0, false)});
}

TEST_F(TheSensorTest, StartsAtBrakesOffEachTime)
{
    const std::string crash = SensorTestMenu() + "Sent sensor =4  ON\n";
    const std::string brakes = SensorTestMenu() + "Sent sensor =0  OFF\n";
    ExpectBetweenMenus("8nx8xx", crash + crash + UnsubscribedMenu() + brakes);
    EXPECT_EQ(Journal(), (Lines{SensorLine(4, true), SensorLine(4, true), SensorLine(0, false)}));
}

TEST_F(TheSensorTest, TakesLinesThatEndInCarriageReturns)
{
    ExpectTest("3\r\nz\r\nx\r\n",
               {"Sent sensor =5  ON\n", "Sent sensor =5  ON\n", "Sent sensor =5  ON\n"},
               Lines(3, SensorLine(5, true)));
}

TEST_F(TheSensorTest, RepeatsItsLastKeyForEverWhenTheInputEnds)
{
    ExpectEndless("8\n1\nn\n", UnsubscribedMenu() + SensorTestMenu() + "Sent sensor =0  ON\n",
                  SensorTestMenu() + "Sent sensor =4  ON\n");
    ExpectEndlessLines(Journal(), {SensorLine(0, true)}, SensorLine(4, true));
}

TEST_F(TheSensorTest, SendsBrakesOffForEverWhenTheInputEndsBeforeAnyKey)
{
    ExpectEndless("8\n", UnsubscribedMenu(), SensorTestMenu() + "Sent sensor =0  OFF\n");
    ExpectEndlessLines(Journal(), {}, SensorLine(0, false));
}

TEST_F(TheSensorTest, IsEnteredAgainForEverWhenTheInputEndsBehindIt)
{
    ExpectEndless("8\nn\nx\n",
                  UnsubscribedMenu() + SensorTestMenu() + "Sent sensor =4  ON\n" +
                      SensorTestMenu() + "Sent sensor =4  ON\n" + UnsubscribedMenu(),
                  SensorTestMenu() + "Sent sensor =0  OFF\n");
}

namespace {

/// Sensors that are not sent: what is said of them goes to standard error.
class AFailingSensorTest : public EditingSession {
protected:
    void ExpectErrorsFor(const std::string& keys, unsigned count)
    {
        StartClient({"-i"});
        Type("8\n" + keys + "x\n");
        EXPECT_EQ(ExitStatus(), 0);
        std::string text = UnsubscribedMenu();
        std::string errors;
        for (unsigned i = 0; i < count; ++i) {
            text += SensorTestMenu();
            errors += "Error Sending sensor\n";
        }
        EXPECT_TEXT(ConsoleText(), text + UnsubscribedMenu());
        EXPECT_TEXT(ErrorText(), errors);
    }
};

}  // namespace

TEST_F(AFailingSensorTest, SaysSoAndGoesOnWhenTheServiceRefuses)
{
    Service().Fault("refuse-sensor");
    StartService();
    ExpectErrorsFor("3\nz\nx\n", 3);
    EXPECT_EQ(Journal(), Lines(3, SensorLine(5, true)));
}

TEST_F(AFailingSensorTest, SaysSoAndGoesOnWithoutAService) { ExpectErrorsFor("n\nm\nq\n", 3); }

TEST_F(AFailingSensorTest, SaysSoAndGoesOnWhenTheServiceHangsUp)
{
    Service().Fault("hang-up");
    StartService();
    ExpectErrorsFor("1\nx\n", 2);
    EXPECT_EQ(Journal(), Lines(2, SensorLine(0, true)));
}

TEST_F(AFailingSensorTest, GoesOnWhenTheServiceComesBack)
{
    StartClient({"-i"});
    Type("8\n3\n");
    ExpectErrors("Error Sending sensor\n");
    StartService();
    Type("4\n");
    ExpectConsole("Sent sensor =5  OFF\n");
    Type("xx\n");
    EXPECT_EQ(ExitStatus(), 0);
    EXPECT_TEXT(ErrorText(), "Error Sending sensor\n");
    EXPECT_EQ(Journal(), Lines(2, SensorLine(5, false)));
}

TEST_F(TheSensorTest, ShowsAndClearsTheStatisticsOfASubscribedConsole)
{
    StartClient({"-i"});
    Type("1\n8\n");
    ExpectConsole(SensorTestMenu());
    RawClient editor(Service().SocketPath());
    editor.SendFrame(FrameKind::Request, messages::setRegionData, 1,
                     Bytes({4, 0}) + U32(2) + Bytes({0, 1}));
    editor.ReceiveFrame();
    editor.SendFrame(FrameKind::Request, messages::setRegionVisibility, 2, Bytes({4, 1}));
    editor.ReceiveFrame();
    ExpectConsole("*** RegionVisi:  4  visible\n\n");
    Type("s\n");
    // 2 pixels and 6 bytes of the record around them, once in each format.
    ExpectConsole(
        RegionReport({{4, "   4   F        1 +      1 +      1 =      3          8 +        "
                          "8 +        8 =       24    100.0 %"}},
                     "  0.0") +
        "Sent sensor =0  OFF\n" + SensorTestMenu());
    Type("c\ns\n");
    ExpectConsole("Sent sensor =0  OFF\n" + SensorTestMenu() + EmptyRegionReport() +
                  "Sent sensor =0  OFF\n" + SensorTestMenu());
    Type("xx\n");
    EXPECT_EQ(ExitStatus(), 0);
}
