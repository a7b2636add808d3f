#include "cli/SubtitleMgrCli.h"
#include "cli/process_objects.h"
#include "stats/SubtitleStats.h"
#include "tests/support/SimulatedService.h"
#include "tests/support/TempDir.h"
#include "tests/support/console_texts.h"
#include "tests/support/text_compare.h"
#include "tests/unit/captured_console.h"

#include <RegionDataItem.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

const std::string menu = "\n"
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
                         "\n";

/// On an endpoint that was never opened, so that every send fails, unless it starts a service.
class TheSensorTest : public testing::Test {
protected:
    TheSensorTest() { subtitleStats.Clear(); }

    std::string Run(const std::string& typed)
    {
        TypedInput input(typed);
        std::string output;
        errors = ErrorsOf([&] { output = OutputOf([&] { client.SensorTest(); }); });
        rest = input.Rest();
        return output;
    }

    void StartService()
    {
        service.Quiet().Journal().Start();
        setenv("LINX_DIR", directory.Path().c_str(), 1);
        ASSERT_EQ(linxIpc.Init(), 0);
    }

    TempDir directory;
    SimulatedService service{directory.Path()};
    SubtitleMgrCli client;
    std::string errors;
    std::string rest;
};

const std::string failed = "Error Sending sensor\n";

TEST_F(TheSensorTest, SendsWhenItIsLeft)
{
    EXPECT_TEXT(Run("x\n"), menu);
    EXPECT_TEXT(errors, failed);
    EXPECT_TEXT(Run("q\n"), menu);
    EXPECT_TEXT(errors, failed);
}

TEST_F(TheSensorTest, SendsAfterEachKeyOfALine)
{
    EXPECT_TEXT(Run("12x\n"), menu + menu + menu);
    EXPECT_TEXT(errors, failed + failed + failed);
    EXPECT_EQ(rest, "\n");
}

TEST_F(TheSensorTest, SendsAfterUnknownKeysAndDiscardsOneCharacter)
{
    EXPECT_TEXT(Run("Mcx\n"), menu + menu);
    EXPECT_TEXT(errors, failed + failed);
}

TEST_F(TheSensorTest, ShowsTheStatistics)
{
    EXPECT_TEXT(Run("sx\n"), menu + EmptyRegionReport() + menu);
    EXPECT_TEXT(errors, failed + failed);
}

TEST_F(TheSensorTest, ClearsTheStatistics)
{
    RegionDataItem item;
    item.regionId = 1;
    subtitleStats.AddRegionData(item);
    EXPECT_TEXT(Run("csx\n"), menu + menu + EmptyRegionReport() + menu);
}

std::string Sent(const std::string& sensor, const std::string& on)
{
    return R"({"request":"SendSensorUpdate","on":)" + on + R"(,"sensor":)" + sensor + "}";
}

TEST_F(TheSensorTest, SendsTheValueAndTheStateOfEachKey)
{
    StartService();
    EXPECT_TEXT(Run("1234567890nmx\n"),
                menu + "Sent sensor =0  ON\n" + menu + "Sent sensor =0  OFF\n" +      // Brakes
                    menu + "Sent sensor =5  ON\n" + menu + "Sent sensor =5  OFF\n" +  // Mics
                    menu + "Sent sensor =1  ON\n" + menu + "Sent sensor =1  OFF\n" +  // Lights
                    menu + "Sent sensor =2  ON\n" + menu + "Sent sensor =2  OFF\n" +  // Siren
                    menu + "Sent sensor =3  ON\n" + menu + "Sent sensor =3  OFF\n" +  // Aux
                    menu + "Sent sensor =4  ON\n" + menu + "Sent sensor =4  OFF\n" +  // Crash
                    menu + "Sent sensor =4  OFF\n");
    EXPECT_TEXT(errors, "");
    EXPECT_EQ(service.JournalLines(),
              (std::vector<std::string>{Sent("0", "true"), Sent("0", "false"), Sent("5", "true"),
                                        Sent("5", "false"), Sent("1", "true"), Sent("1", "false"),
                                        Sent("2", "true"), Sent("2", "false"), Sent("3", "true"),
                                        Sent("3", "false"), Sent("4", "true"), Sent("4", "false"),
                                        Sent("4", "false")}));
}

TEST_F(TheSensorTest, SendsTheLastStateAgainAfterKeysThatChooseNone)
{
    StartService();
    EXPECT_TEXT(Run("n\nc\nM\nx\n"), menu + "Sent sensor =4  ON\n" + menu + "Sent sensor =4  ON\n" +
                                         menu + "Sent sensor =4  ON\n" + menu +
                                         "Sent sensor =4  ON\n");
}

TEST_F(TheSensorTest, StartsAtBrakesOffEachTime)
{
    StartService();
    Run("3x\n");
    EXPECT_TEXT(Run("sx\n"), menu + EmptyRegionReport() + "Sent sensor =0  OFF\n" + menu +
                                 "Sent sensor =0  OFF\n");
}

TEST_F(TheSensorTest, GoesOnAfterARefusal)
{
    service.Fault("refuse-sensor");
    StartService();
    EXPECT_TEXT(Run("1x\n"), menu + menu);
    EXPECT_TEXT(errors, failed + failed);
}

}  // namespace
