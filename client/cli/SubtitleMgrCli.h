#pragma once

#include <CommonCli.h>
#include <IpcMessage.h>
#include <SubtitleClient.h>

#include <pthread.h>
#include <string>
#include <vector>

class PaletteItem;
class RegionDataItem;
class RegionVisItem;

/// The command-line test and diagnostic client of the subtitle service.
///
/// One class, three rooms. Each group below names the file that defines it:
///   cli/         options, connection, ping and quit
///   console/     interactive console, region and palette editing
///   generators/  test pattern, dynamic test, sensor test
///
/// All members run on the main thread. The overrides have the order of CommonCli's virtual table:
/// append, never sort.
class SubtitleMgrCli : public CommonCli {
public:
    // Life; defined in cli/SubtitleMgrCli.cpp
    SubtitleMgrCli();
    ~SubtitleMgrCli() override;

    // Options; defined in cli/options.cpp
    void Usage() override;
    int ProcessOption(int option, const char* argument) override;
    int RunIt() override;
    void DumpTsAppConfig();

    // Connection and receive thread; defined in cli/connection.cpp
    int PreInit() override;
    void ExtraConnectionInfo(std::string prefix);

    // Requests; defined in cli/ping_and_quit.cpp
    void Ping();
    void Quit();

    // Interactive console; defined in console/main_menu.cpp
    unsigned ExecuteTestMode();

    // Region and palette files; defined in console/region_files.cpp
    void ReadFile(const std::string& path, unsigned int size, std::vector<unsigned char>& data);
    void WriteFile(const std::string& path, unsigned int size, std::vector<unsigned char>& data);

    // Palette conversion; defined in console/palette_conversion.cpp
    void ConvertPalette(PaletteItem& palette);

    // Test pattern; defined in generators/test_pattern.cpp
    void GenerateTestPattern(RegionDataItem& item, unsigned char startValue,
                             unsigned char increment, unsigned int segmentWidth,
                             unsigned int segmentHeight);
    void AddShapes(RegionDataItem& item);

    // Dynamic test; defined in generators/dynamic_test.cpp
    unsigned DynamicTest();

    // Sensor test; defined in generators/sensor_test.cpp
    void SensorTest();

private:
    // Console commands; defined in console/subscriptions.cpp
    void SubscribeForSubtitles(RegionDataItem& data, RegionVisItem& vis, PaletteItem& palette);
    void UnsubscribeForSubtitles();
    void RefreshAllSubtitles();

    // Console commands; defined in console/region_data.cpp
    void ModifyRegionData();
    void InvertRegionData();

    // Console command; defined in console/region_visibility.cpp
    void ModifyRegionVisibility();

    // Console command; defined in console/palette.cpp
    void ModifyPaletteData();

    IpcMessage requestMsg;          ///< each ping and quit allocates it again
    std::string serverName;         ///< target of ping and quit; -e adds prefixes
    SubtitleClient subtitleClient;  ///< every other request; -e does not change its target
    pthread_t receiveThread;        ///< never stopped or joined: it ends with the process
};
