#include "tests/fuzz/service_model.h"

namespace {

const std::set<unsigned int> regionDataNumbers{2, 3, 4, 12};

/// Message number of what a subscription brings; 0 when there is no such subscription.
unsigned int ItemOf(unsigned int subscription)
{
    if (subscription == 1 || regionDataNumbers.count(subscription) != 0) {
        return reference::regionData;
    }
    return subscription == 6 ? reference::visibility : subscription == 10 ? reference::palette : 0;
}

bool IsRegion(unsigned int number) { return number >= 1 && number <= 14; }

unsigned int FirstByte(const std::string& payload)
{
    return static_cast<unsigned char>(payload.at(0));
}

bool IsRequest(unsigned int messageId)
{
    using namespace reference;
    static const std::set<unsigned int> all{
        ping,   subscribe, unsubscribe, setRegionData, setVisibility, setPalette,
        invert, refresh,   sensor,      getLogLevel,   setLogLevel,
    };
    return all.count(messageId) != 0;
}

/// A byte that is a boolean, as the service passes it on.
void MakeBoolean(std::string& record, std::size_t at)
{
    record.at(at) = record.at(at) == '\0' ? '\0' : '\x01';
}

}  // namespace

void ServiceModel::Take(std::size_t client, const std::string& bytes)
{
    Client& state = states.at(client);
    state.stream += bytes;
    ReferenceFrame frame;
    while (state.listens && !quit) {
        switch (TakeFrame(state.stream, frame)) {
        case StreamEnd::Cut: return;
        case StreamEnd::Malformed: EndInput(client); return;
        case StreamEnd::Complete: Handle(state, frame); break;
        }
        if (frame.kind == 2 || frame.kind == 3) {
            EndInput(client);
        }
    }
}

void ServiceModel::EndInput(std::size_t client)
{
    states.at(client).listens = false;
    states.at(client).held.clear();
}

void ServiceModel::Handle(Client& client, const ReferenceFrame& frame)
{
    if (frame.kind == 2 || frame.kind == 3) {
        return;
    }
    const bool isRequest = frame.kind == 1;
    if (!isRequest && frame.messageId == reference::quit && frame.payload.empty()) {
        quit = true;
        return;
    }
    if (!isRequest) {
        return;
    }
    if (!IsRequest(frame.messageId) || !ReferenceIsWellFormed(frame.messageId, frame.payload)) {
        client.sent.push_back({frame.magic, 2, reference::notUnderstood, frame.correlation, ""});
        return;
    }
    const bool accepted = Accepts(client, frame);
    std::string answer = BigEndian(accepted ? 0 : 1);
    if (frame.messageId == reference::ping) {
        answer = "";
    } else if (frame.messageId == reference::getLogLevel) {
        answer += BigEndian(logLevel);
    }
    client.sent.push_back({frame.magic, 2, frame.messageId + 1, frame.correlation, answer});
    if (accepted) {
        PublishOutcome(frame);
    }
}

bool ServiceModel::Accepts(Client& client, const ReferenceFrame& frame)
{
    switch (frame.messageId) {
    case reference::subscribe: return !refusesSubscriptions && Subscribe(client, frame.payload);
    case reference::unsubscribe: return Unsubscribe(client, frame.payload);
    case reference::setRegionData:
    case reference::setVisibility:
    case reference::setPalette: return Keep(frame);
    case reference::invert: return Invert(FromBigEndian(frame.payload, 0));
    case reference::refresh: return !refusesRefresh;
    case reference::sensor: return !refusesSensors && FromBigEndian(frame.payload, 0) < 6;
    case reference::setLogLevel: logLevel = FromBigEndian(frame.payload, 0); return true;
    default: return true;
    }
}

bool ServiceModel::Subscribe(Client& client, const std::string& payload)
{
    const unsigned int number = FromBigEndian(payload, 0);
    const unsigned int item = ItemOf(number);
    if (item == 0 || item != FromBigEndian(payload, 4)) {
        return false;
    }
    client.held.insert(number);
    return true;
}

bool ServiceModel::Unsubscribe(Client& client, const std::string& payload) const
{
    const unsigned int number = FromBigEndian(payload, 0);
    client.held.erase(number);
    if (number == 1) {
        for (const unsigned int each : regionDataNumbers) {
            client.held.erase(each);
        }
    }
    return ItemOf(number) != 0;
}

bool ServiceModel::Keep(const ReferenceFrame& frame)
{
    const unsigned int number = FirstByte(frame.payload);
    if (!IsRegion(number)) {
        return false;
    }
    Region& region = regions[number];
    std::string record = frame.payload;
    switch (frame.messageId) {
    case reference::setRegionData: region.bitmap = record; break;
    case reference::setVisibility:
        MakeBoolean(record, 1);
        region.visibility = record;
        break;
    default:
        MakeBoolean(record, 2);
        region.palette = record;
        break;
    }
    return true;
}

bool ServiceModel::Invert(unsigned int region)
{
    if (!IsRegion(region)) {
        return false;
    }
    std::optional<std::string>& bitmap = regions[region].bitmap;
    for (std::size_t i = 6; bitmap && i < bitmap->size(); ++i) {
        (*bitmap)[i] = static_cast<char>(~(*bitmap)[i]);
    }
    return true;
}

void ServiceModel::PublishOutcome(const ReferenceFrame& frame)
{
    switch (frame.messageId) {
    case reference::setRegionData: PublishBitmap(FirstByte(frame.payload)); break;
    case reference::setVisibility: PublishVisibility(FirstByte(frame.payload)); break;
    case reference::setPalette: PublishPalette(FirstByte(frame.payload)); break;
    case reference::invert: PublishBitmap(FromBigEndian(frame.payload, 0)); break;
    case reference::refresh:
        for (unsigned int region = 1; region <= 14; ++region) {
            PublishBitmap(region);
            PublishVisibility(region);
            PublishPalette(region);
        }
        break;
    default: break;
    }
}

void ServiceModel::PublishBitmap(unsigned int region)
{
    if (!regions[region].bitmap) {
        return;
    }
    std::string record = *regions[region].bitmap;
    for (const unsigned int format : {0u, 1u, 2u}) {
        record[1] = static_cast<char>(format);
        for (std::size_t i = 6; format == 2 && i < record.size(); ++i) {
            record[i] = static_cast<char>(static_cast<unsigned char>(record[i]) % 4);
        }
        Publish(format + 2, reference::regionData, record);
    }
}

void ServiceModel::PublishVisibility(unsigned int region)
{
    if (regions[region].visibility) {
        Publish(6, reference::visibility, *regions[region].visibility);
    }
}

void ServiceModel::PublishPalette(unsigned int region)
{
    if (regions[region].palette) {
        Publish(10, reference::palette, *regions[region].palette);
    }
}

void ServiceModel::Publish(unsigned int subscription, unsigned int messageId,
                           const std::string& record)
{
    const bool isRegionData = regionDataNumbers.count(subscription) != 0;
    for (Client& client : states) {
        if (client.held.count(subscription) != 0 || (isRegionData && client.held.count(1) != 0)) {
            client.sent.push_back({"ST\x01", 3, messageId, subscription, record});
        }
    }
}
