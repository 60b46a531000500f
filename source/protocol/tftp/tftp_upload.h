// A file that comes in pieces and appears under its name when it is whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "protocol/tftp/tftp_packet.h"
#include "system/tree/confined_tree.h"

namespace ombrel::protocol {

/// Until it is committed the bytes are in a file beside it, of a name that nobody guesses.
class tftp_upload {
public:
    tftp_upload() = default;
    ~tftp_upload() { drop(); }
    tftp_upload(const tftp_upload&) = delete;
    tftp_upload& operator=(const tftp_upload&) = delete;

    /// Whether a file of that name may be stored, as things stand. False with the fault left.
    static bool may_store(const system::confined_tree& tree, const char* name, bool replace);

    /// False, as all below, with the fault left.
    bool begin(const system::confined_tree& tree, const char* name, bool replace);
    bool is_begun() const { return file_ != -1; }
    bool write(std::span<const uint8_t> bytes);
    /// Gives the file its name. Without `replace` one that came there meanwhile stays, as "exists".
    bool commit();
    void drop();

private:
    bool claim_name() const;

    const system::confined_tree* tree_ = nullptr;
    int file_ = -1;
    bool replace_ = false;
    char name_[most_tftp_request];
    char part_[most_tftp_request + 32];
};

} // namespace ombrel::protocol
