// Behaviour that depends on the word size: `long` and memory sizes have 32 bits on the device.

#include "tests/harness/ConsoleSession.h"

#include <filesystem>

namespace {

class LongOf32Bits : public ConsoleSession {
protected:
    /// The service is the desk's, so its journal shows the bytes that the device sent.
    void SetUp() override
    {
        KeepJournal();
        Service().Program(DESK_SERVICE).Quiet();
        StartService();
    }

    std::string LevelSentFor(const std::string& argument)
    {
        RunClient({"-s", argument});
        EXPECT_EQ(ExitStatus(), 0);
        EXPECT_TEXT(ErrorText(), "");
        return Journal().empty() ? "nothing" : Journal().back();
    }

    static std::string Level(const std::string& number)
    {
        return R"({"request":"SetLogLevel","level":)" + number + "}";
    }

    /// Loads the file \p path with \p size typed. \return the log from its first error on
    std::string TroubleWith(const std::string& path, const std::string& size)
    {
        std::filesystem::remove(Files() / "log");
        StartClient({"-i"});
        Type("3\n1\n" + path + "\n" + size + "\nx\n");
        EXPECT_EQ(ExitStatus(), 0);
        const std::string log = LogText();
        const std::size_t at = log.find("Error");
        return at == std::string::npos ? "" : log.substr(at);
    }
};

}  // namespace

TEST_F(LongOf32Bits, SendsTheNearestLevelInItsRange)
{
    EXPECT_EQ(LevelSentFor("2147483647"), Level("2147483647"));
    EXPECT_EQ(LevelSentFor("2147483648"), Level("2147483647"));
    EXPECT_EQ(LevelSentFor("4294967296"), Level("2147483647"));
    EXPECT_EQ(LevelSentFor("99999999999999999999"), Level("2147483647"));
    EXPECT_EQ(LevelSentFor("-2147483648"), Level("2147483648"));
    EXPECT_EQ(LevelSentFor("-2147483649"), Level("2147483648"));
}

TEST_F(LongOf32Bits, OpensAFileOfMoreThanFourGigabytes)
{
    const std::string path = Files() / "sparse";
    WriteWholeFile(path, "1234");
    std::filesystem::resize_file(path, 5ull * 1024 * 1024 * 1024);
    EXPECT_TEXT(TroubleWith(path, "4"), "");
    // The check value of "1234".
    EXPECT_EQ(Journal().back(),
              R"({"request":"SetRegionData","regionId":1,"subtitleFormat":0,"size":4,)"
              R"("crc32":"9be3e0a3"})");
}

TEST_F(LongOf32Bits, ReadsNothingForASizeBeyondItsMemory)
{
    const std::string path = Files() / "sparse";
    WriteWholeFile(path, "1234");
    std::filesystem::resize_file(path, 5ull * 1024 * 1024 * 1024);
    for (const char* size : {"2147483648", "4294967295"}) {
        EXPECT_TEXT(TroubleWith(path, size),
                    "Error reading file ( 0 of " + std::string(size) + " )\n");
        EXPECT_NE(Journal().back().find(R"("size":0,)"), std::string::npos) << Journal().back();
    }
}
