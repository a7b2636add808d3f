#pragma once

#include <string>

class IpcMessage;
class LinxIpc;

namespace platform {

/// Sends \p request, whose message number is \p messageId, and waits up to \p timeoutMs for the
/// service's confirmation.
///
/// \param reply  receives the reply, whose size has been checked; may be null
/// \return 0 when the service accepted, EREMOTEIO when it refused, else as LinxIpc::Request()
int ConfirmedRequest(LinxIpc& ipc, const std::string& server, IpcMessage& request,
                     unsigned int messageId, int timeoutMs, IpcMessage* reply = nullptr);

/// Why a request failed, for a person: \p error as ConfirmedRequest() returned it.
const char* WhyRequestFailed(int error);

}  // namespace platform
