#pragma once

/// While it lives, calls of one kind that the product makes fail. The program is linked with
/// --wrap for each of them.
class RefusedCall {
public:
    enum class Kind { None, Accept4, Connect, EpollCtl };

    /// \param times  how many calls fail before the next ones succeed; negative for all
    RefusedCall(Kind kind, int error, int times = -1);
    ~RefusedCall();
    RefusedCall(const RefusedCall&) = delete;
    RefusedCall& operator=(const RefusedCall&) = delete;
};
