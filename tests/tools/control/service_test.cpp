// Commands to a simulated service.

#include "tests/harness/SimulatedService.h"
#include "tests/harness/text_compare.h"
#include "tests/tools/control/ControlSession.h"

#include <filesystem>

namespace {

class Service : public ControlSession {
protected:
    Service() : service(messaging.Path()) { service.Quiet().Start(); }

    /// Runs a command that succeeds. \return its output
    std::string Run(const std::vector<std::string>& command) const
    {
        const auto program = Launch(command);
        EXPECT_EQ(program->WaitForExit(), 0) << program->Errors();
        return program->Output();
    }

    SimulatedService service;
    TempDir files;
};

TEST_F(Service, TakesFileNamesFromTheCallersFolder)
{
    const std::filesystem::path here = std::filesystem::relative(files.Path());
    WriteWholeFile(files / "bitmap", "12345");
    WriteWholeFile(files / "play.scenario", "visibility 4 t\n");
    Run({"region-data", "3", "cif", "@" + (here / "bitmap").string()});
    Run({"save", (here / "state").string()});
    EXPECT_NE(ReadWholeFile(files / "state"), "");
    Run({"restore", (here / "state").string()});
    Run({"record", (here / "record").string()});
    Run({"play", (here / "play.scenario").string()});
    Run({"record", "off"});
    EXPECT_NE(ReadWholeFile(files / "record"), "");
    EXPECT_NE(Run({"state"}).find("cif 5 (cbf53a1c)"), std::string::npos);
}

TEST_F(Service, WaitsLongerThanTheTimeLimitForAnAwait)
{
    const auto program = Launch({"--timeout", "1s", "await", "request=Ping", "within=1050ms"});
    EXPECT_EQ(program->WaitForExit(), 4);
    EXPECT_EQ(program->Errors(), "SubtitleMgrCtl: the time ran out\n");
}

TEST_F(Service, CarriesOutAScenarioFromStandardInput)
{
    const auto program = Launch({"-"});
    program->Write("# a scenario\nvisibility 3 t\n\nsleep 1\npalette 3 31 t 10ff\nping\n");
    program->CloseInput();
    EXPECT_EQ(program->WaitForExit(), 0) << program->Errors();
    EXPECT_EQ(program->Output().substr(0, 26), "receivers: 0\nreceivers: 0\n");
    EXPECT_NE(Run({"top", "--once"}).find("\n     3  visible"), std::string::npos);
}

TEST_F(Service, IsGoneAfterQuitAndCrash)
{
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"quit"}, std::vector<std::string>{"fault", "crash"}}) {
        Launch(command)->WaitForExit();
        service.Process().WaitForExit();
        EXPECT_EQ(Launch({"state"})->WaitForExit(), 3) << command[0];
        service.Start();
    }
}

}  // namespace
