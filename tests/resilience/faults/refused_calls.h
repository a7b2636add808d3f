#pragma once

/// During its lifetime calls of one kind from the product fail. The program is linked with --wrap
/// for each kind.
class RefusedCall {
public:
    /// Disk: a file takes all but ten bytes of a write, then none, and cannot be cut.
    enum class Kind { None, Accept4, Connect, EpollCtl, Disk };

    /// \param times  how many calls fail before they succeed again; negative: all fail
    RefusedCall(Kind kind, int error, int times = -1);
    ~RefusedCall();
    RefusedCall(const RefusedCall&) = delete;
    RefusedCall& operator=(const RefusedCall&) = delete;
};
