#pragma once

#include "tests/fuzz/reference_frames.h"

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// The simulated service as its pages describe it: bytes of its clients in, frames to them out. It
/// shares no code with the service.
class ServiceModel {
public:
    static constexpr std::size_t clients = 3;

    bool refusesSubscriptions = false;
    bool refusesRefresh = false;
    bool refusesSensors = false;

    /// The client sends \p bytes.
    void Take(std::size_t client, const std::string& bytes);

    /// The client sends nothing more.
    void EndInput(std::size_t client);

    bool HasQuit() const { return quit; }

    /// Whether the service goes on listening to the client; if not, it closes the connection.
    bool Listens(std::size_t client) const { return states.at(client).listens; }

    /// All that the client is sent, in order.
    const std::vector<ReferenceFrame>& SentTo(std::size_t client) const
    {
        return states.at(client).sent;
    }

private:
    struct Client {
        std::string stream;
        bool listens = true;
        std::set<unsigned int> held;
        std::vector<ReferenceFrame> sent;
    };
    /// Encoded records; a bitmap without its format.
    struct Region {
        std::optional<std::string> bitmap;
        std::optional<std::string> visibility;
        std::optional<std::string> palette;
    };

    void Handle(Client& client, const ReferenceFrame& frame);
    bool Accepts(Client& client, const ReferenceFrame& frame);
    bool Subscribe(Client& client, const std::string& payload);
    bool Unsubscribe(Client& client, const std::string& payload) const;
    bool Keep(const ReferenceFrame& frame);
    bool Invert(unsigned int region);
    void PublishOutcome(const ReferenceFrame& frame);
    void PublishBitmap(unsigned int region);
    void PublishVisibility(unsigned int region);
    void PublishPalette(unsigned int region);
    void Publish(unsigned int subscription, unsigned int messageId, const std::string& record);

    std::array<Client, clients> states;
    std::map<unsigned int, Region> regions;
    unsigned int logLevel = 63;
    bool quit = false;
};
