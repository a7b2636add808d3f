#pragma once

#include <IpcMessage.h>
#include_next <LinxIpc.h>

// This vendor has no accessor of the message received last: it is a public member.
#define ReceivedMessage() receivedMessage
