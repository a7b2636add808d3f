#include "simulator/journal.h"

#include "simulator/commentary.h"
#include "simulator/crc32.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

using Json = nlohmann::ordered_json;

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

void AddData(Json& line, const std::vector<unsigned char>& data)
{
    line["size"] = data.size();
    line["crc32"] = HexCrc32(data);
}

void AddFields(Json& line, const Request& request)
{
    switch (request.messageId) {
    case messages::subscribe:
        line["subscription"] = request.subscription;
        line["itemId"] = request.itemId;
        break;
    case messages::unsubscribe: line["subscription"] = request.subscription; break;
    case messages::setRegionData:
        line["regionId"] = request.regionData.regionId;
        line["subtitleFormat"] = request.regionData.subtitleFormat;
        AddData(line, request.regionData.data);
        break;
    case messages::setRegionVisibility:
        line["regionId"] = request.visibility.regionId;
        line["visible"] = static_cast<bool>(request.visibility.visible);
        break;
    case messages::setPaletteData:
        line["regionId"] = request.palette.regionId;
        AddData(line, request.palette.paletteData);
        line["fill"] = request.palette.fill;
        line["backgroundCode"] = request.palette.backgroundCode;
        break;
    case messages::invertRegionData: line["regionId"] = request.regionId; break;
    case messages::sendSensorUpdate:
        line["on"] = request.on;
        line["sensor"] = request.sensor;
        break;
    case messages::setLogLevel: line["level"] = request.level; break;
    default: break;
    }
}

}  // namespace

std::string JournalLine(const Request& request)
{
    Json line;
    line["request"] = RequestName(request.messageId);
    AddFields(line, request);
    return line.dump();
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
    if (file && !Write(JournalLine(request) + "\n") && !complained) {
        complained = true;
        Say(std::string("the journal is not complete: ") + std::strerror(errno));
    }
}

bool Journal::Write(const std::string& line) const
{
    std::size_t done = 0;
    while (done < line.size()) {
        const ssize_t written = write(file.Get(), line.data() + done, line.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}
