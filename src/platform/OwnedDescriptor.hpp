#pragma once

#include <unistd.h>

#include <utility>

namespace varnolex {

/// A file descriptor of ours, closed with its owner.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int opened = -1) : number(opened) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : number(other.release()) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        reset();
        number = other.release();
        return *this;
    }
    ~OwnedDescriptor() { reset(); }

    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }
    int release() { return std::exchange(number, -1); }
    void reset() {
        if (const int opened = release(); opened >= 0) ::close(opened);
    }

private:
    int number;
};

}  // namespace varnolex
