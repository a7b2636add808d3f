#include "simulator/request.h"

#include "platform/src/big_endian.h"

namespace sim {

using namespace platform;

namespace {

std::string Number(unsigned int value) { return std::to_string(value); }
std::string OnOff(bool on) { return on ? "on" : "off"; }

std::string Details(const Request& request)
{
    switch (request.messageId) {
    case messages::subscribe:
        return " " + Number(request.subscription) + ", item " + Number(request.itemId);
    case messages::unsubscribe: return " " + Number(request.subscription);
    case messages::setRegionData:
        return " region " + Number(request.regionData.regionId) + ", format " +
               Number(request.regionData.subtitleFormat) + ", " +
               std::to_string(request.regionData.data.size()) + " bytes";
    case messages::setRegionVisibility:
        return " region " + Number(request.visibility.regionId) +
               (request.visibility.visible ? ", visible" : ", hidden");
    case messages::setPaletteData:
        return " region " + Number(request.palette.regionId) + ", background " +
               Number(request.palette.backgroundCode) + ", fill " + OnOff(request.palette.fill) +
               ", " + std::to_string(request.palette.paletteData.size()) + " bytes";
    case messages::invertRegionData: return " region " + Number(request.regionId);
    case messages::sendSensorUpdate:
        return " sensor " + Number(request.sensor) + " " + OnOff(request.on);
    case messages::setLogLevel: return " " + Number(request.level);
    default: return "";
    }
}

}  // namespace

const char* RequestName(unsigned int messageId)
{
    switch (messageId) {
    case messages::quit: return "Quit";
    case messages::ping: return "Ping";
    case messages::subscribe: return "Subscribe";
    case messages::unsubscribe: return "Unsubscribe";
    case messages::setRegionData: return "SetRegionData";
    case messages::setRegionVisibility: return "SetRegionVisibility";
    case messages::setPaletteData: return "SetPaletteData";
    case messages::invertRegionData: return "InvertRegionData";
    case messages::refreshRegions: return "RefreshRegions";
    case messages::sendSensorUpdate: return "SendSensorUpdate";
    case messages::getLogLevel: return "GetLogLevel";
    case messages::setLogLevel: return "SetLogLevel";
    default: return nullptr;
    }
}

bool IsKnownRequest(FrameKind kind, unsigned int messageId)
{
    const FrameKind expected = messageId == messages::quit ? FrameKind::OneWay : FrameKind::Request;
    return kind == expected && RequestName(messageId) != nullptr;
}

void DecodeRequest(unsigned int messageId, unsigned char* payload, Request& request)
{
    request.messageId = messageId;
    switch (messageId) {
    case messages::subscribe:
        request.subscription = GetU32(payload);
        request.itemId = GetU32(payload + 4);
        break;
    case messages::unsubscribe: request.subscription = GetU32(payload); break;
    case messages::setRegionData: request.regionData.Decode(payload); break;
    case messages::setRegionVisibility: request.visibility.Decode(payload); break;
    case messages::setPaletteData: request.palette.Decode(payload); break;
    case messages::invertRegionData: request.regionId = GetU32(payload); break;
    case messages::sendSensorUpdate:
        request.sensor = GetU32(payload);
        request.on = payload[4] != 0;
        break;
    case messages::setLogLevel: request.level = GetU32(payload); break;
    default: break;
    }
}

std::string Describe(const Request& request)
{
    return RequestName(request.messageId) + Details(request);
}

}  // namespace sim
