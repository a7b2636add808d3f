#include <SubtitleClient.h>

#include "platform/src/big_endian.h"
#include "platform/src/confirmed_request.h"
#include "platform/src/wire_format.h"

#include <IpcMessage.h>
#include <LinxServerNameList.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

using namespace platform;

SubtitleClient::SubtitleClient(LinxIpc& endpoint, int requestTimeoutMs)
    : SubscribeClient(endpoint, LinxServerNameList::Instance().Name(e_ProcessSubtitleMgr),
                      requestTimeoutMs)
{
}

int SubtitleClient::SetRegionData(RegionDataItem& item)
{
    return SendRecord(messages::setRegionData, item);
}

int SubtitleClient::SetRegionVisibility(RegionVisItem& item)
{
    return SendRecord(messages::setRegionVisibility, item);
}

int SubtitleClient::SetPaletteData(PaletteItem& item)
{
    return SendRecord(messages::setPaletteData, item);
}

int SubtitleClient::InvertRegionData(unsigned regionId)
{
    IpcMessage message;
    return ConfirmedRequest(ipc, server, message, messages::invertRegionData, {regionId},
                            timeoutMs);
}

int SubtitleClient::RefreshRegions()
{
    IpcMessage message;
    return ConfirmedRequest(ipc, server, message, messages::refreshRegions, {}, timeoutMs);
}

bool SubtitleClient::SendSensorUpdate(e_Sensors sensor, bool on)
{
    IpcMessage request;
    if (request.Allocate(messages::sendSensorUpdate, 5, nullptr) != 0) {
        return false;
    }
    PutU32(request.Payload(), static_cast<unsigned int>(sensor));
    request.Payload()[4] = on ? 1 : 0;
    return ConfirmedRequest(ipc, server, request, messages::sendSensorUpdate, timeoutMs) == 0;
}

int SubtitleClient::SendRecord(unsigned int messageId, const Item& item)
{
    IpcMessage request;
    const int error = request.Allocate(messageId, item.EncodedSize(), nullptr);
    if (error != 0) {
        return error;
    }
    item.Encode(request.Payload());
    return ConfirmedRequest(ipc, server, request, messageId, timeoutMs);
}
