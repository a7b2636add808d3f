#pragma once

namespace platform {

/// Owns one file descriptor.
class Descriptor {
public:
    Descriptor() = default;

    /// Takes over \p opened, -1 for none, and moves it above standard error when it is not: with
    /// one of the three closed, a socket would get its number and the menu would go to the service.
    explicit Descriptor(int opened);
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int Get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

private:
    int fd = -1;
};

}  // namespace platform
