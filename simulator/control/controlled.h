#pragma once

#include "simulator/clients/peer_table.h"
#include "simulator/journal/logs.h"
#include "simulator/outage.h"
#include "simulator/play/player.h"
#include "simulator/service/fault_list.h"
#include "simulator/service/request_handler.h"
#include "simulator/service/subtitle_service.h"

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
