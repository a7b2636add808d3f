#pragma once

#include <string>

/// The programs that talk to each other: by path, of this machine or of the other.
struct ProgramPair {
    std::string client;
    std::string service;
};

/// Everything that two consoles and the service between them leave behind.
struct PairTranscript {
    std::string editor;          ///< the console that sends all requests: standard output
    std::string editorErrors;    ///< and standard error
    std::string editorLog;       ///< and its log entries, without their heads
    std::string convertedTable;  ///< and the palette file it has written
    std::string watcher;         ///< the console that has subscribed: standard output
    std::string watcherErrors;
    std::string journal;
    std::string comments;  ///< the service's standard error
};

/// Plays the same session with any pair: every option that talks to the service and every key of
/// the console, every field of every record in both directions, and a service that goes and comes
/// back. What it prints does not depend on time: a console that is notified waits for a key.
PairTranscript PlaySession(const ProgramPair& programs);
