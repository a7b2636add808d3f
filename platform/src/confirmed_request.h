#pragma once

#include <initializer_list>
#include <string>

class IpcMessage;
class LinxIpc;

namespace platform {

/// Makes \p message a request of some numbers. \return as IpcMessage::Allocate()
int MakeRequest(IpcMessage& message, unsigned int messageId,
                std::initializer_list<unsigned int> numbers);

/// What came of a request that is to be confirmed: 0 when the service accepted, EREMOTEIO when it
/// refused, else \p error, which the request returned.
int Confirmation(int error, IpcMessage& reply);

/// Sends \p message, whose message number is \p messageId, and waits up to \p timeoutMs for the
/// service's confirmation, which \p message is then: its size has been checked.
int ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& message,
                     unsigned int messageId, int timeoutMs);

/// The same for a request that is made of some numbers first.
int ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& message,
                     unsigned int messageId, std::initializer_list<unsigned int> numbers,
                     int timeoutMs);

/// Why a request failed, for a person: \p error as ConfirmedRequest() returned it.
const char* WhyRequestFailed(int error);

}  // namespace platform
