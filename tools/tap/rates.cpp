#include "tap/rates.h"

namespace tap {

void Rates::Add(unsigned int regionId, unsigned int encodedSize)
{
    ++regions[regionId].messages;
    regions[regionId].bytes += encodedSize;
}

void Rates::AppendText(std::string& text)
{
    const char* separator = "";
    for (std::size_t i = 0; i < regions.size(); ++i) {
        if (regions[i].messages > 0) {
            text += separator + ("region " + std::to_string(i)) + ": messages " +
                    std::to_string(regions[i].messages) + ", bytes " +
                    std::to_string(regions[i].bytes);
            separator = "; ";
        }
    }
    text += *separator == '\0' ? "nothing\n" : "\n";
    regions = {};
}

void Rates::AppendJson(std::string& text, const recording::Moment& at)
{
    text += "{\"monoUs\":" + std::to_string(at.monoUs) +
            ",\"wallUs\":" + std::to_string(at.wallUs) + ",\"regions\":[";
    const char* separator = "";
    for (std::size_t i = 0; i < regions.size(); ++i) {
        if (regions[i].messages > 0) {
            text += separator + ("{\"regionId\":" + std::to_string(i)) +
                    ",\"messages\":" + std::to_string(regions[i].messages) +
                    ",\"bytes\":" + std::to_string(regions[i].bytes) + "}";
            separator = ",";
        }
    }
    text += "]}\n";
    regions = {};
}

}  // namespace tap
