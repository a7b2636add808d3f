#pragma once

#include_next <IpcMessage.h>

// This vendor's name of the payload accessor. Its position in the virtual table does not matter:
// the client is compiled with the vendor's declaration.
#define Payload Data
