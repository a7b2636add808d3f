#pragma once

#include <vector>

class IpcMessage {
public:
    IpcMessage();
    virtual ~IpcMessage();
    int Allocate(unsigned int id, unsigned int length, char* data);
    virtual unsigned char* Payload();

private:
    friend class LinxIpc;
    unsigned int number = 0;
    std::vector<unsigned char> bytes;
};
