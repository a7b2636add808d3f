#pragma once

#include <vector>

class IpcMessage {
public:
    IpcMessage();
    virtual ~IpcMessage();
    int Allocate(unsigned int id, unsigned int length, char* data);
    virtual unsigned int Length() const;
    virtual unsigned char* Data();

private:
    friend class LinxIpc;
    unsigned int signalNumber = 0;
    std::vector<unsigned char> bytes;
};
