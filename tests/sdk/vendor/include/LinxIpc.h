#pragma once

#include <IpcMessage.h>

#include <string>

class LinxIpc {
public:
    static const std::string emptyString;
    explicit LinxIpc(const char* name);
    ~LinxIpc();
    int Init();
    int Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message);
    int Request(const std::string& server, IpcMessage& request, unsigned int replyId, int waitMs,
                IpcMessage* reply);
    int Notify(const std::string& server, IpcMessage& message, bool flag);

    IpcMessage receivedMessage;
};
