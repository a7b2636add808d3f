#pragma once

/// During its lifetime calls of one kind from the product fail. The program is linked with --wrap
/// for each kind.
class RefusedCall {
public:
    enum class Kind { None, Accept4, Connect, EpollCtl };

    /// \param times  how many calls fail before they succeed again; negative: all fail
    RefusedCall(Kind kind, int error, int times = -1);
    ~RefusedCall();
    RefusedCall(const RefusedCall&) = delete;
    RefusedCall& operator=(const RefusedCall&) = delete;
};
