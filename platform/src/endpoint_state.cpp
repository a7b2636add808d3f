#include "platform/src/endpoint_state.h"

namespace platform {

bool EndpointState::WaitForChange(Lock& lock, const Deadline& deadline)
{
    if (!deadline.IsLimited()) {
        changed.wait(lock);
        return true;
    }
    return changed.wait_until(lock, deadline.At()) == std::cv_status::no_timeout;
}

}  // namespace platform
