// Bytes as a region data record: judged, decoded, encoded, compared.

#include "tests/fuzz/record_check.h"

#include <RegionDataItem.h>

namespace {

void Check(unsigned int messageId, const std::string& payload)
{
    RegionDataItem record;
    record.data.assign(3, 7);  // of an earlier message
    if (!DecodeChecked(messageId, payload, record)) {
        return;
    }
    Require(record.regionId == static_cast<unsigned char>(payload[0]), "another region");
    Require(record.subtitleFormat == static_cast<unsigned char>(payload[1]), "another format");
    RequireEqual(std::string(record.data.begin(), record.data.end()), payload.substr(6),
                 "other pixels");
    RequireEncodes(record, payload);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string payload(bytes, bytes + size);
    Check(reference::regionData, payload);
    Check(reference::setRegionData, payload);
    if (size >= 2) {
        // The same bytes behind a length that is right.
        Check(reference::regionData, payload.substr(0, 2) +
                                         BigEndian(static_cast<unsigned int>(size - 2)) +
                                         payload.substr(2));
    }
    return 0;
}
