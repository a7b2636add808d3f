#pragma once

#include <getopt.h>

#include <string>

class LinxIpc;

class CommonCli {
public:
    virtual ~CommonCli();
    virtual void Usage() = 0;
    virtual int HandleLogLevel(LinxIpc& ipc, const std::string& server);
    virtual int SetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int level);
    virtual int ProcessOption(int option, const char* argument) = 0;
    virtual int RunIt() = 0;
    virtual int PreInit() = 0;
    virtual int PostInit();
    int Go(char** argv, int argc, const std::string& shortOptions, struct option* longOptions);
};
