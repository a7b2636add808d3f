#pragma once

#include_next <IpcMessage.h>

// This vendor's name of the payload accessor. Its place among the virtual functions does not matter,
// since the client is compiled with the vendor's own declaration.
#define Payload Data
