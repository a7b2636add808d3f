#include "simulator/journal.h"

#include "simulator/commentary.h"
#include "simulator/crc32.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace sim {

using namespace platform;

namespace {

std::string HexCrc32(const std::vector<unsigned char>& data)
{
    static const char digits[] = "0123456789abcdef";
    const std::uint32_t crc = Crc32(data.data(), data.size());
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) {
        text += digits[(crc >> shift) & 15];
    }
    return text;
}

/// A JSON object in the making. Names and texts are our own, so nothing has to be escaped; and by
/// hand, since a journal must not end the service when there is no memory.
class Line {
public:
    void Add(const char* name, std::size_t number) { AddPlain(name, std::to_string(number)); }
    void AddBoolean(const char* name, bool value) { AddPlain(name, value ? "true" : "false"); }
    void AddText(const char* name, const std::string& value) { AddPlain(name, '"' + value + '"'); }
    std::string Text() const { return text + '}'; }

private:
    void AddPlain(const char* name, const std::string& value)
    {
        text += text.size() == 1 ? "" : ",";
        text.append("\"").append(name).append("\":").append(value);
    }

    std::string text = "{";
};

void AddData(Line& line, const std::vector<unsigned char>& data)
{
    line.Add("size", data.size());
    line.AddText("crc32", HexCrc32(data));
}

void AddFields(Line& line, const Request& request)
{
    switch (request.messageId) {
    case messages::subscribe:
        line.Add("subscription", request.subscription);
        line.Add("itemId", request.itemId);
        break;
    case messages::unsubscribe: line.Add("subscription", request.subscription); break;
    case messages::setRegionData:
        line.Add("regionId", request.regionData.regionId);
        line.Add("subtitleFormat", request.regionData.subtitleFormat);
        AddData(line, request.regionData.data);
        break;
    case messages::setRegionVisibility:
        line.Add("regionId", request.visibility.regionId);
        line.AddBoolean("visible", request.visibility.visible);
        break;
    case messages::setPaletteData:
        line.Add("regionId", request.palette.regionId);
        AddData(line, request.palette.paletteData);
        line.AddBoolean("fill", request.palette.fill);
        line.Add("backgroundCode", request.palette.backgroundCode);
        break;
    case messages::invertRegionData: line.Add("regionId", request.regionId); break;
    case messages::sendSensorUpdate:
        line.AddBoolean("on", request.on);
        line.Add("sensor", request.sensor);
        break;
    case messages::setLogLevel: line.Add("level", request.level); break;
    default: break;
    }
}

}  // namespace

std::string JournalLine(const Request& request)
{
    Line line;
    line.AddText("request", RequestName(request.messageId));
    AddFields(line, request);
    return line.Text();
}

bool Journal::Open(const std::string& path, std::string& problem)
{
    file =
        Descriptor(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666));
    if (!file) {
        problem = "journal " + path + ": " + std::strerror(errno);
    }
    return static_cast<bool>(file);
}

void Journal::Add(const Request& request)
{
    if (file && !WriteAll(file.Get(), JournalLine(request) + "\n") && !complained) {
        complained = true;
        Say(std::string("the journal is not complete: ") + std::strerror(errno));
    }
}

}  // namespace sim
