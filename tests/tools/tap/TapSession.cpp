#include "tests/tools/tap/TapSession.h"

#include "tests/harness/recording_text.h"

#include <regex>

std::unique_ptr<ChildProcess> TapSession::Launch(const std::vector<std::string>& options,
                                                 ChildProcess::Options settings) const
{
    std::vector<std::string> arguments{TAP_PROGRAM};
    arguments.insert(arguments.end(), options.begin(), options.end());
    settings.environment["LINX_DIR"] = messaging.Path();
    return std::make_unique<ChildProcess>(arguments, settings);
}

TapSession::Ended TapSession::Run(const std::vector<std::string>& options,
                                  ChildProcess::Options settings) const
{
    const auto program = Launch(options, settings);
    const int status = program->WaitForExit();
    return {status, program->Output(), program->Errors()};
}

std::string Recorded(const std::string& recording)
{
    EXPECT_EQ(MistakeOfRecording(recording), "");
    return std::regex_replace(recording, std::regex("Us\":[0-9]+"), "Us\":T");
}

std::string Shown(const std::string& text)
{
    static const std::regex time(
        "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z ");
    return std::regex_replace(text, time, "T ");
}
