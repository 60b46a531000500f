// Why a transfer failed: the kind for programs, a text for people.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/fault.h"

namespace ombrel::protocol {

/// What kept a socket from being opened, by the last fault.
inline fault_code socket_fault() {
    const fault_code code = last_fault().code;
    return code == fault_code::no_descriptor ? code : fault_code::unreachable;
}

/// The result of a transferring call whose own time ran out; the transfer goes on.
inline constexpr int transfer_waited = -2;

/// The first failure of a transfer; later ones follow from it.
class transfer_error {
public:
    fault_code fault() const { return fault_; }
    explicit operator bool() const { return fault_ != fault_code::none; }
    /// The TFTP error or FTP reply that the peer gave; 0 for failures noticed on this side.
    int peer_code() const { return peer_code_; }
    const char* text() const { return text_; }

    /// Keeps the printable characters of the text, which may be the peer's, as far as they fit.
    /// @return false, for the caller to return
    bool set(fault_code fault, std::string_view text, int peer_code = 0) {
        if (fault_ != fault_code::none)
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
    fault_code fault_ = fault_code::none;
    int peer_code_ = 0;
    char text_[160] = "";
};

} // namespace ombrel::protocol
