// Writes frames in hex, each with what the product finds wrong with it, for test_capture.py.

#include "packaging/tool_options.h"
#include "tests/harness/RawPeer.h"

#include <cstdio>

namespace {

constexpr char usage[] = "Usage: frame_verdicts\n"
                         "Writes frames and what is wrong with them; test_capture.py reads them.\n";

void Show(const std::string& frame)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
    FrameHeader header{};
    const char* mistake = DecodeFrameHeader(bytes, header);
    if (!mistake && !IsWellFormed(header.messageId, bytes + frameHeaderSize, header.length)) {
        mistake = "the payload";
    }
    for (const char c : frame) {
        std::printf("%02x", static_cast<unsigned char>(c));
    }
    std::printf("\t%s\n", mistake ? mistake : "");
}

/// Payloads of every length around those of all messages, each with several sizes inside.
void ShowPayloads(unsigned int messageId)
{
    for (std::size_t length = 0; length < 12; ++length) {
        std::string payload(length, '\0');
        Show(FrameBytes(FrameKind::Request, messageId, 1, payload));
        for (std::size_t place = 5; place < length && place <= 6; ++place) {
            for (std::size_t size = length - place - 1; size <= length - place; ++size) {
                payload.assign(length, '\0');
                payload[place] = static_cast<char>(size);
                Show(FrameBytes(FrameKind::Request, messageId, 1, payload));
            }
        }
    }
}

void ShowHeaders()
{
    const std::string ping = FrameBytes(FrameKind::Request, messages::ping, 1, "");
    const struct {
        std::size_t place;
        unsigned int value;
    } rows[] = {{0, 's'}, {1, 0}, {2, 0}, {2, 2}, {3, 0}, {3, 5}, {12, 2}, {12, 0x80}};
    for (const auto& row : rows) {
        std::string frame = ping;
        frame[row.place] = static_cast<char>(row.value);
        Show(frame);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (AnswersHelpOrVersion(argc, argv, "frame_verdicts", usage)) {
        return 0;
    }
    for (unsigned int id = messages::quit; id <= messages::notUnderstood + 1; ++id) {
        ShowPayloads(id);
    }
    ShowHeaders();
    return std::fflush(stdout) == 0 ? 0 : 1;
}
