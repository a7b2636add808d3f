#pragma once

#include <SubscribeClient.h>

class PaletteItem;
class RegionDataItem;
class RegionVisItem;

enum e_Sensors { INPUT_BRAKES, INPUT_LIGHTS, INPUT_SIREN, INPUT_AUX, INPUT_CRASH, INPUT_MICS };

class SubtitleClient : public SubscribeClient {
public:
    SubtitleClient(LinxIpc& ipc, int timeoutMs);
    int SetRegionData(RegionDataItem& item);
    int SetRegionVisibility(RegionVisItem& item);
    int SetPaletteData(PaletteItem& item);
    int InvertRegionData(unsigned regionId);
    int RefreshRegions();
    bool SendSensorUpdate(e_Sensors sensor, bool on);
};
