#pragma once

#include "simulator/audience.h"
#include "simulator/commentary.h"
#include "simulator/garbage.h"
#include "simulator/options.h"
#include "simulator/peer.h"
#include "simulator/request_handler.h"
#include "simulator/scenario.h"
#include "simulator/scenario_player.h"

#include <deadline.h>
#include <descriptor.h>

#include <memory>
#include <string>
#include <vector>

/// The event loop: one thread, all sockets, signals and times. Never waits for a single peer.
class Server : private Audience {
public:
    static constexpr std::size_t maxPeers = 1024;

    /// \param listeningSocket  stays the caller's, like everything else that is handed in
    Server(int listeningSocket, const Options& options, const Scenario& scenario,
           Journal& journal);
    ~Server() override;

    /// Prepares the loop. SIGTERM and SIGINT must be blocked: from now on they are read.
    /// \return false with the reason in \p problem
    bool Open(std::string& problem);

    /// Serves until a signal or a quit request ends it.
    void Run();

private:
    bool HasSubscriber(unsigned int subscription) const override;
    Readiness ReadinessFor(unsigned int subscription, std::size_t size) override;
    std::size_t Publish(unsigned int subscription, const SharedFrame& frame) override;
    std::size_t Distribute(unsigned int subscription, const SharedFrame& frame);
    bool HasRoom(Peer& peer, std::size_t size);
    void Add(Peer& peer, const SharedFrame& frame);

    void Turn(int waitMs);
    void OnPeer(Peer& peer, unsigned int events);
    void TakeTurn(Peer& peer);
    void HandleFrames(Peer& peer);
    void TakeWaitingTurns();
    void FlushQueued();
    void Flush(Peer& peer);
    void Settle(Peer& peer);
    void Drop(Peer& peer);
    void BuryClosedPeers();

    void AcceptPeers();
    void OnAcceptFailure(int error);
    void RefuseThoseWaiting();
    void PauseAccepting(int pauseMs);
    void ResumeAccepting();

    void LookForStalledPeers();
    void TellOfRecovery(Peer& peer);
    void FlushAtTheEnd();
    int NextWaitMs(int playerMs) const;
    bool Watch(int fd, unsigned int events, void* tag, bool isNew = true);

    const int listeningSocket;
    const Options& options;
    Commentary commentary;
    RequestHandler handler;
    ScenarioPlayer player;
    GarbageMaker garbage;

    Descriptor poller;
    Descriptor signals;
    Descriptor spare;  ///< given up to refuse a peer when there are no descriptors left

    std::vector<std::unique_ptr<Peer>> peers;
    std::vector<Peer*> waitingForTurn;
    std::vector<Peer*> waitingForFlush;
    std::vector<unsigned char> receiveBuffer;
    unsigned int lastPeerNumber = 0;
    bool hasClosedPeers = false;
    bool ending = false;

    bool accepts = false;
    Deadline acceptPause{-1};  ///< when to try again; without limit: when a peer has gone
    bool toldRefusal = false;
    bool looksForStalls = false;
    Deadline nextLook{-1};
};
