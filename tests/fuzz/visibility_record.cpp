// Bytes as a visibility record: judged, decoded, encoded, compared.

#include "tests/fuzz/record_check.h"

#include <RegionVisItem.h>

namespace {

void Check(unsigned int messageId, const std::string& payload)
{
    RegionVisItem record;
    if (!DecodeChecked(messageId, payload, record)) {
        return;
    }
    const bool visible = payload[1] != '\0';
    Require(record.regionId == static_cast<unsigned char>(payload[0]), "another region");
    Require(record.visible == visible, "another visibility");
    RequireEncodes(record, payload.substr(0, 1) + (visible ? '\x01' : '\x00'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string payload(bytes, bytes + size);
    Check(reference::visibility, payload);
    Check(reference::setVisibility, payload);
    return 0;
}
