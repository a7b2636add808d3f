#pragma once

#include <IpcMessage.h>
#include_next <LinxIpc.h>

// This vendor has no accessor for the last received message, only a public member.
#define ReceivedMessage() receivedMessage
