#pragma once

#include <SubscribeClient.h>

class PaletteItem;
class RegionDataItem;
class RegionVisItem;

/// The vehicle's sensor inputs. Users rely on the values 0 Brakes, 1 Lights, 2 Siren, 3 Aux,
/// 4 Crash and 5 Mics; the enumerators' names differ between this stand-in and the device's
/// headers.
enum e_Sensors {
    e_SensorBrakes = 0,
    e_SensorLights = 1,
    e_SensorSiren = 2,
    e_SensorAux = 3,
    e_SensorCrash = 4,
    e_SensorMics = 5,
};

/// Requests to the subtitle service. Each waits for the service's acknowledgement, at most for the
/// time given to the constructor, and returns 0 or an errno value: EREMOTEIO when the service
/// refused, else the error of LinxIpc::Request() or IpcMessage::Allocate().
class SubtitleClient : public SubscribeClient {
public:
    /// \param endpoint  must outlive this object
    SubtitleClient(LinxIpc& endpoint, int requestTimeoutMs);

    int SetRegionData(RegionDataItem& item);
    int SetRegionVisibility(RegionVisItem& item);
    int SetPaletteData(PaletteItem& item);
    int InvertRegionData(unsigned regionId);

    /// Asks the service to publish everything it keeps again.
    int RefreshRegions();

    /// \return true when the service acknowledged it
    bool SendSensorUpdate(e_Sensors sensor, bool on);

private:
    int SendRecord(unsigned int messageId, const Item& item);
};
