// Whether sockets block, which the system does not tell.
#pragma once

namespace ombrel::platform {

/// A socket that was just made or closed blocks, as far as anyone knows.
void reset_socket_mode(int s);

/// Sets the mode and notes it; false, with its fault, when it cannot.
bool set_socket_mode(int s, bool blocking);

/// Whether calls on it are to wait, by the mode that was set last.
bool has_blocking_mode(int s);

/// A call on a socket that blocks must not wait now, so the system holds it for non-blocking in this scope.
/// Such scopes take turns. A call of another thread that meets one and is told that it would have to wait is
/// to wait by itself: is_borrowed() tells.
class borrowed_mode {
public:
    explicit borrowed_mode(int s);
    ~borrowed_mode();
    borrowed_mode(const borrowed_mode&) = delete;
    borrowed_mode& operator=(const borrowed_mode&) = delete;

private:
    int s_;
    bool borrowed_;
};

/// Whether a scope of that kind has ever been entered for the socket.
bool is_borrowed(int s);

} // namespace ombrel::platform
