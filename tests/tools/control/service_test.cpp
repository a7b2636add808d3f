// Commands to a simulated service.

#include "tests/harness/SimulatedService.h"
#include "tests/tools/control/ControlSession.h"

#include <regex>
#include <sys/stat.h>

namespace {

class Service : public ControlSession {
protected:
    Service() : service(messaging.Path()) { service.Quiet(); }

    /// Runs a command that succeeds. \return its output with N for each number
    std::string Run(const std::vector<std::string>& command, const std::string& input = "") const
    {
        const auto program = Launch(command);
        program->Write(input);
        program->CloseInput();
        EXPECT_EQ(program->WaitForExit(), 0) << program->Errors();
        return std::regex_replace(program->Output(), std::regex("[0-9]+"), "N");
    }

    SimulatedService service;
};

TEST_F(Service, CarriesOutAScenarioFromStandardInput)
{
    service.Start();
    EXPECT_EQ(Run({"-"}, "# a scenario\nvisibility 3 t\n\nsleep 1\npalette 3 31 t 10ff\nping\n"),
              "receivers: N\nreceivers: N\nSubtitleMgr answered in N us\n");
    EXPECT_NE(Run({"top", "--once"}).find("\n     N  visible"), std::string::npos);
    EXPECT_EQ(Run({"ping", "--json"}), "{\"ok\":true,\"roundTripUs\":N}\n");
}

TEST_F(Service, IsNotThereWithoutASocket)
{
    ExpectEnd(*Launch({"state"}), 3, "",
              "no service at " + ControlSocket() + ": No such file or directory");
}

TEST_F(Service, HasATimeLimitForAPing)
{
    service.Fault("mute").Start();
    ExpectEnd(*Launch({"ping", "--timeout", "50ms"}), 4, "",
              "SubtitleMgr does not answer a ping: Connection timed out");
}

TEST_F(Service, IsNotPingedInAnUnsafeDirectory)
{
    ASSERT_EQ(chmod(messaging.Path().c_str(), 0755), 0);
    ExpectEnd(*Launch({"ping"}), 3, "",
              "the messaging endpoint cannot be opened; doctor has the reason");
}

}  // namespace
