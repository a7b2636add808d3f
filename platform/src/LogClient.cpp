#include <LogClient.h>

#include <new>

LogClient& LogClient::Instance()
{
    // Never destroyed: the receive thread may make entries while the process ends. Static storage:
    // construction cannot run out of memory.
    alignas(LogClient) static unsigned char place[sizeof(LogClient)];
    static LogClient& client = *new (place) LogClient;
    return client;
}

unsigned LogClient::Level() const { return level; }
void LogClient::Level(unsigned newLevel) { level = newLevel; }
const std::string& LogClient::ProcessName() const { return processName; }
void LogClient::ProcessName(const std::string& newName) { processName = newName; }
