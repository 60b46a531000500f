// Why a transfer failed: the kind for programs, a text for people.
#pragma once

#include <cstddef>
#include <string_view>

#include <ombrel/transfer_error.h>

#include "core/fault.h"

namespace ombrel::protocol {

/// What kept a socket from being opened, by the last fault.
inline fault_code socket_fault() {
    const fault_code code = last_fault().code;
    return code == fault_code::no_descriptor || code == fault_code::refused ? code : fault_code::unreachable;
}

/// The result of a transferring call whose own time ran out; the transfer goes on.
inline constexpr int transfer_waited = -2;

/// The first failure of a transfer; later ones follow from it.
class transfer_error {
public:
    fault_code fault() const { return static_cast<fault_code>(record_.m_fault); }
    explicit operator bool() const { return fault() != fault_code::none; }
    /// The TFTP error, FTP reply or HTTP status that the peer gave; 0 for failures noticed on this side.
    int peer_code() const { return record_.m_peer_code; }
    const char* text() const { return record_.m_text; }
    /// As users see it.
    const ombrel_transfer_error_t& record() const { return record_; }

    /// Keeps the printable characters of the text, which may be the peer's, as far as they fit.
    /// @return false, for the caller to return
    bool set(fault_code fault, std::string_view text, int peer_code = 0) {
        if (*this)
            return false;
        record_.m_fault = static_cast<int>(fault); // the public numbers are those of the codes
        record_.m_peer_code = peer_code;
        size_t length = 0;
        for (const char c : text) {
            if (length + 1 == sizeof record_.m_text)
                break;
            const unsigned char byte = static_cast<unsigned char>(c);
            record_.m_text[length++] = byte < ' ' || byte == 0x7f ? '?' : c;
        }
        record_.m_text[length] = '\0';
        return false;
    }
    void clear() { *this = transfer_error(); }

private:
    ombrel_transfer_error_t record_{};
};

} // namespace ombrel::protocol
