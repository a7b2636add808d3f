#pragma once

class IpcMessage {
public:
    IpcMessage();
    virtual ~IpcMessage();
    int Allocate(unsigned int id, unsigned int length, char* data);
    virtual unsigned int Length() const;
    virtual unsigned char* Data();

private:
    unsigned int signalNumber = 0;
    unsigned char bytes[4] = {};
};
