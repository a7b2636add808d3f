// The command pcapng.

#include "view/messages.h"
#include "view/output_file.h"
#include "view/packet.h"
#include "view/pcapng.h"
#include "view/view.h"
#include "words/exit_status.h"

#include <csignal>
#include <optional>

namespace view {

namespace {

std::string BlockOf(const recording::Header& header, std::size_t /*line*/)
{
    return InterfaceBlock(header.service);
}

template <typename Message>
std::string BlockOf(const Message& message, std::size_t line)
{
    const Packet packet = PacketOf(message, line);
    return PacketBlock(message.at.wallUs, packet.bytes, packet.size);
}

std::string FirstBlocks(const recording::AnyLine& line)
{
    const std::string section = SectionBlock("SubtitleMgrView " SUBTITLE_VERSION);
    const bool isHeader = std::holds_alternative<recording::Header>(line);
    return isHeader ? section : section + InterfaceBlock("");
}

}  // namespace

int WriteCapture(const Options& options)
{
    if (options.input == "-") {
        // An interrupt ends the program that writes the messages, and then the capture is finished.
        std::signal(SIGINT, SIG_IGN);
    }
    Messages messages(options.input, std::nullopt);
    std::optional<OutputFile> file;
    while (!file || file->IsGood()) {
        const recording::AnyLine* const line = messages.NextLine();
        if (!line) {
            break;
        }
        if (!file) {
            file.emplace(options.output).Write(FirstBlocks(*line));
        }
        const std::size_t number = messages.LineNumber();
        file->Write(std::visit([&](const auto& any) { return BlockOf(any, number); }, *line));
    }
    if (file) {
        file->Finish();
        if (!file->Problem().empty()) {
            return Fail(words::exitFailed, file->Problem());
        }
    }
    return messages.Mistake().empty() ? words::exitDone
                                      : Fail(words::exitUnusable, messages.Mistake());
}

}  // namespace view
