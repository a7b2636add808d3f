#include <LinxIpc.h>

#include "platform/src/endpoint.h"

using namespace platform;

const std::string LinxIpc::emptyString;

LinxIpc::LinxIpc(const char* name) : endpoint(Endpoint::Create(name, *this)) {}
LinxIpc::~LinxIpc() { endpoint.Close(); }

int LinxIpc::Init() { return endpoint.Init(); }

int LinxIpc::Receive(int waitMs, unsigned int id, const std::string& from, IpcMessage* message)
{
    return endpoint.Receive(waitMs, id, from, message);
}

int LinxIpc::Request(const std::string& server, IpcMessage& request, unsigned int replyId,
                     int waitMs, IpcMessage* reply)
{
    return endpoint.Request(server, request, replyId, waitMs, reply);
}

int LinxIpc::Notify(const std::string& server, IpcMessage& message, bool flag)
{
    return endpoint.Notify(server, message, flag);
}

IpcMessage& LinxIpc::ReceivedMessage() { return endpoint.ReceivedMessage(); }
