#pragma once

#include "simulator/faults.h"
#include "simulator/logs.h"
#include "simulator/outage.h"
#include "simulator/peer_table.h"
#include "simulator/player.h"
#include "simulator/request_handler.h"
#include "simulator/subtitle_service.h"

namespace sim {

/// What control lines act on; the server owns it.
struct Controlled {
    SubtitleService& service;
    PeerTable& peers;
    Audience& audience;  ///< these peers, recorded
    Logs& logs;
    const RequestHandler& handler;
    Player& player;
    FaultList& faults;
    Outage& outage;
    bool& ending;  ///< of the server
};

}  // namespace sim
