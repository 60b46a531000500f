// Why a transfer failed: the kind for programs, a text for people.
#pragma once

#include <cerrno>
#include <cstddef>
#include <string_view>

namespace ombrel::protocol {

enum class transfer_fault {
    none,
    invalid_name, ///< a name that cannot be asked for
    no_memory,
    no_descriptor, ///< the process or the system has none left
    unknown_host,
    unreachable, ///< no connection to the host, or no way to it
    timed_out,
    lost,      ///< the connection ended or was refused half-way
    violation, ///< the peer does not keep to the protocol
    not_found,
    no_access,
    no_space,
    exists,
    refused, ///< the peer said no for another reason
};

/// What kept a socket from being opened, by the error number that the platform left.
inline transfer_fault socket_fault() {
    return errno == EMFILE || errno == ENFILE ? transfer_fault::no_descriptor : transfer_fault::unreachable;
}

/// The result of a transferring call whose own time ran out; the transfer goes on.
inline constexpr int transfer_waited = -2;

/// The first failure of a transfer; later ones follow from it.
class transfer_error {
public:
    transfer_fault fault() const { return fault_; }
    explicit operator bool() const { return fault_ != transfer_fault::none; }
    /// The TFTP error or FTP reply that the peer gave; 0 for failures noticed on this side.
    int peer_code() const { return peer_code_; }
    const char* text() const { return text_; }

    /// Keeps the printable characters of the text, which may be the peer's, as far as they fit.
    /// @return false, for the caller to return
    bool set(transfer_fault fault, std::string_view text, int peer_code = 0) {
        if (fault_ != transfer_fault::none)
            return false;
        fault_ = fault;
        peer_code_ = peer_code;
        size_t length = 0;
        for (const char c : text) {
            if (length + 1 == sizeof text_)
                break;
            const unsigned char byte = static_cast<unsigned char>(c);
            text_[length++] = byte < ' ' || byte == 0x7f ? '?' : c;
        }
        text_[length] = '\0';
        return false;
    }
    void clear() { *this = transfer_error(); }

private:
    transfer_fault fault_ = transfer_fault::none;
    int peer_code_ = 0;
    char text_[160] = "";
};

} // namespace ombrel::protocol
