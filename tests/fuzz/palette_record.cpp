// Bytes as a palette record: judged, decoded, encoded, compared.

#include "tests/fuzz/record_check.h"

#include <PaletteItem.h>

namespace {

void Check(unsigned int messageId, const std::string& payload)
{
    PaletteItem record;
    record.paletteData.assign(3, 7);  // of an earlier message
    if (!DecodeChecked(messageId, payload, record)) {
        return;
    }
    const bool fill = payload[2] != '\0';
    Require(record.regionId == static_cast<unsigned char>(payload[0]), "another region");
    Require(record.backgroundCode == static_cast<unsigned char>(payload[1]),
            "another background code");
    Require(record.fill == fill, "another fill");
    RequireEqual(std::string(record.paletteData.begin(), record.paletteData.end()),
                 payload.substr(7), "another table");
    RequireEncodes(record, payload.substr(0, 2) + (fill ? '\x01' : '\x00') + payload.substr(3));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string payload(bytes, bytes + size);
    Check(reference::palette, payload);
    Check(reference::setPalette, payload);
    if (size >= 3) {
        // The same bytes behind a length that is right.
        Check(reference::palette, payload.substr(0, 3) +
                                      BigEndian(static_cast<unsigned int>(size - 3)) +
                                      payload.substr(3));
    }
    return 0;
}
