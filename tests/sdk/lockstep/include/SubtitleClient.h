#pragma once

#include <SubscribeClient.h>

class PaletteItem;
class RegionDataItem;
class RegionVisItem;

enum e_Sensors { e_FirstSensor = 0, e_LastSensor = 5 };

class SubtitleClient : public SubscribeClient {
public:
    SubtitleClient(LinxIpc& endpoint, int timeoutMs);
    int SetRegionData(RegionDataItem& item);
    int SetRegionVisibility(RegionVisItem& item);
    int SetPaletteData(PaletteItem& item);
    int InvertRegionData(unsigned regionId);
    int RefreshRegions();
    bool SendSensorUpdate(e_Sensors sensor, bool on);
};
