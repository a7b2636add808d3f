#pragma once

#include <getopt.h>

#include <string>

class LinxIpc;

/// The command-line frame of the device's tools: parses the options and calls the tool back.
///
/// Result codes: 1 after an option that only configures, 2 after the usage was shown or a log level
/// could not be set, 3 after an action was carried out.
class CommonCli {
public:
    CommonCli() = default;
    virtual ~CommonCli();
    CommonCli(const CommonCli&) = delete;
    CommonCli& operator=(const CommonCli&) = delete;

    /// Prints the tool's usage text.
    virtual void Usage() = 0;

    /// Shows the log level of \p server on standard output, asks for a new one on standard input
    /// and sets it. \return 3, or 2 with the reason on standard error
    virtual int HandleLogLevel(LinxIpc& ipc, const std::string& server);

    /// Sets the log level of \p server, a mask of 32 bits. \return 1, or 0 with the reason on
    /// standard error
    virtual int SetLogLevel(LinxIpc& ipc, const std::string& server, unsigned int level);

    /// Handles one option as getopt_long() returned it; \p argument is null when it has none.
    virtual int ProcessOption(int option, const char* argument) = 0;

    /// The tool's work after the options. \return a result code
    virtual int RunIt() = 0;

    /// Called before the first option. \return 1, or 2 when it failed; the options run all the same
    virtual int PreInit() = 0;

    /// Called last; does nothing and returns 1.
    virtual int PostInit();

    /// Runs PreInit(), each option in order through ProcessOption(), RunIt() and PostInit().
    ///
    /// After a result of 2 no further option is handled: nothing acts after a mistake. No option at
    /// all, or a word that belongs to no option, shows the usage. getopt_long() reports its own
    /// errors on standard error and returns '?', which is passed on.
    ///
    /// \param longOptions  ends with an all-zero entry
    /// \return 2 when the usage was shown or an option failed, else 1
    int Go(char** argv, int argc, const std::string& shortOptions, struct option* longOptions);
};
