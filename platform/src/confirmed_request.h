#pragma once

#include <initializer_list>
#include <string>

class IpcMessage;
class LinxIpc;

namespace platform {

/// Makes \p message a request of some numbers. \return as IpcMessage::Allocate()
int MakeRequest(IpcMessage& message, unsigned int messageId,
                std::initializer_list<unsigned int> numbers);

/// The result of a request with a confirmation: 0 when the service accepted, EREMOTEIO when it
/// refused, else \p error, which LinxIpc::Request() returned.
int Confirmation(int error, IpcMessage& reply);

/// Sends \p message, whose message number is \p messageId, and waits up to \p timeoutMs for the
/// service's confirmation, which replaces \p message. Its size has been checked.
int ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& message,
                     unsigned int messageId, int timeoutMs);

/// Makes the request of some numbers first.
int ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& message,
                     unsigned int messageId, std::initializer_list<unsigned int> numbers,
                     int timeoutMs);

/// Why a request failed, as text for the user; \p error is the result of ConfirmedRequest().
const char* WhyRequestFailed(int error);

}  // namespace platform
