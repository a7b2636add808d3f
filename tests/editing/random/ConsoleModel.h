#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

/// How the service behind a session behaves.
enum class ServiceKind {
    Willing,
    Missing,
    RefusesSubscriptions,
    RefusesRefresh,
    RefusesSensors,
    HangsUp
};

/// The files that a session finds; everything else is missing.
struct ModelFiles {
    std::map<std::string, std::string> contents;  ///< by name
    std::set<std::string> directories;
    std::set<std::string> fullDisks;  ///< can be written to and take no byte
};

/// One thing that a session does besides writing to standard output: a line on standard error, a
/// request or a log entry.
struct ModelEvent {
    std::string text;
    std::size_t at;  ///< number of bytes written to standard output before
};

/// What a whole session does.
struct ModelSession {
    std::string output;
    std::vector<ModelEvent> errors;    ///< lines with their newlines
    std::vector<ModelEvent> requests;  ///< as the journal has them
    std::vector<ModelEvent> log;       ///< "<level> <text>"
    ModelFiles files;                  ///< as the session leaves them
    bool ended = false;                ///< the keys left the console
    /// Output before the first read that got nothing: from here on a session repeats itself.
    std::size_t repeatsFrom = 0;
    /// The service has accepted a subscription, so that notifications come between the output.
    bool isNotified = false;
};

/// The console as an engineer knows it from its published texts: keys in, what happens out. It
/// shares no code with the client; a session of both must look the same.
class ConsoleModel {
public:
    ConsoleModel(const std::string& keys, ServiceKind kind, const ModelFiles& files);

    /// Plays the session until the keys leave the console, or until it has written \p more bytes
    /// after the first read that got nothing.
    ModelSession Play(std::size_t more);

private:
    struct Enough {};

    void MainMenu();
    bool MainKey(char key);
    void Subscribe();
    void Unsubscribe();
    void RegionData();
    void Visibility();
    void Palette();
    std::string RgbPalette(const std::string& path, std::string table);
    void Invert();
    void Refresh();
    void DynamicTest();
    void SensorTest();
    void Quit();

    std::string ReadFile(const std::string& path, unsigned size);
    void WriteFile(const std::string& path, const std::string& bytes);

    void Key(char& key);
    void Number(unsigned& number);
    std::string Word();
    void Discard();
    void NoteReading();

    void Print(const std::string& text);
    void Complain(const std::string& line);
    /// \param refuser  the kind of service that refuses it; Missing when all others accept it
    /// \return whether it succeeds
    bool Request(const std::string& line, ServiceKind refuser);
    void Log(const std::string& entry);

    std::istringstream input;
    ServiceKind service;
    ModelSession session;
    std::size_t furtherBytes = 0;
    std::size_t limit = std::numeric_limits<std::size_t>::max();
    bool subscribed = false;
};
