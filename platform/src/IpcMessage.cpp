#include <IpcMessage.h>

#include "platform/src/wire_format.h"

#include <cerrno>
#include <cstring>
#include <new>

using namespace platform;

IpcMessage::IpcMessage() = default;
IpcMessage::~IpcMessage() = default;

int IpcMessage::Allocate(unsigned int id, unsigned int length, char* data)
{
    if (length > maxLength) {
        return EMSGSIZE;
    }
    if (!frame || capacity < length) {
        frame.reset(new (std::nothrow) unsigned char[frameHeaderSize + length]);
        if (!frame) {
            Show(id, nullptr, 0);
            return ENOMEM;
        }
        capacity = length;
    }
    messageId = id;
    payloadLength = length;
    payload = frame.get() + frameHeaderSize;
    if (data && length > 0) {
        std::memcpy(payload, data, length);
    }
    return 0;
}

unsigned char* IpcMessage::Payload() { return payload; }

void IpcMessage::Show(unsigned int id, unsigned char* bytes, unsigned int length)
{
    frame.reset();
    capacity = 0;
    messageId = id;
    payloadLength = length;
    payload = bytes;
}
