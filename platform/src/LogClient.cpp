#include <LogClient.h>

LogClient& LogClient::Instance()
{
    // The receive thread may make entries while the process ends.
    static LogClient& client = *new LogClient;
    return client;
}

unsigned LogClient::Level() const { return level; }
void LogClient::Level(unsigned newLevel) { level = newLevel; }
const std::string& LogClient::ProcessName() const { return processName; }
void LogClient::ProcessName(const std::string& newName) { processName = newName; }
