#include "tests/harness/SimulatedService.h"
#include "tests/tools/control/ControlSession.h"

#include <regex>
#include <sys/stat.h>

namespace {

class Ping : public ControlSession {
protected:
    Ping() : service(messaging.Path()) { service.Quiet(); }

    SimulatedService service;
};

TEST_F(Ping, ShowsTheTimeOfARoundTrip)
{
    service.Start();
    const auto text = Launch({"ping"});
    EXPECT_EQ(text->WaitForExit(), 0);
    EXPECT_TRUE(std::regex_match(text->Output(), std::regex("SubtitleMgr answered in [0-9]+ us\n")))
        << text->Output();
    const auto json = Launch({"ping", "--json"});
    EXPECT_EQ(json->WaitForExit(), 0);
    EXPECT_TRUE(
        std::regex_match(json->Output(), std::regex("\\{\"ok\":true,\"roundTripUs\":[0-9]+\\}\n")))
        << json->Output();
}

TEST_F(Ping, EndsWithStatus3WithoutService)
{
    const auto program = Launch({"ping"});
    EXPECT_EQ(program->WaitForExit(), 3);
    EXPECT_EQ(program->Errors(),
              "SubtitleMgrCtl: SubtitleMgr does not answer a ping: No such file or directory\n");
}

TEST_F(Ping, PointsToDoctorWhenTheDirectoryIsRefused)
{
    ASSERT_EQ(chmod(messaging.Path().c_str(), 0755), 0);
    const auto program = Launch({"ping"});
    EXPECT_EQ(program->WaitForExit(), 3);
    EXPECT_EQ(program->Errors(),
              "SubtitleMgrCtl: the messaging endpoint cannot be opened; doctor has the reason\n");
}

TEST_F(Ping, EndsWithStatus4WhenTheServiceIsMute)
{
    service.Fault("mute").Start();
    const auto program = Launch({"ping", "--timeout", "50ms"});
    EXPECT_EQ(program->WaitForExit(), 4);
    EXPECT_EQ(program->Errors(),
              "SubtitleMgrCtl: SubtitleMgr does not answer a ping: Connection timed out\n");
}

TEST_F(Ping, EndsWithStatus3WhenTheServiceHangsUp)
{
    service.Fault("hang-up").Start();
    EXPECT_EQ(Launch({"ping"})->WaitForExit(), 3);
}

TEST_F(Ping, MayBeALineOfStandardInput)
{
    service.Start();
    const auto program = Launch({"-", "--json"});
    program->Write("ping\n");
    program->CloseInput();
    EXPECT_EQ(program->WaitForExit(), 0);
    EXPECT_NE(program->Output().find("roundTripUs"), std::string::npos);
}

}  // namespace
