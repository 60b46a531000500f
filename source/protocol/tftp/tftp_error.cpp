#include "protocol/tftp/tftp_error.h"

#include <iterator>

namespace ombrel::protocol {

fault_code fault_of_tftp_error(uint16_t error_code) {
    switch (static_cast<tftp_error_code>(error_code)) {
    case tftp_error_code::file_not_found:
        return fault_code::not_found;
    case tftp_error_code::access_violation:
    case tftp_error_code::no_such_user:
        return fault_code::access_denied;
    case tftp_error_code::disk_full:
        return fault_code::no_space;
    case tftp_error_code::file_exists:
        return fault_code::exists;
    case tftp_error_code::illegal_operation:
    case tftp_error_code::unknown_transfer:
        return fault_code::violation;
    default:
        return fault_code::rejected;
    }
}

const char* text_of_tftp_error(uint16_t error_code) {
    constexpr const char* texts[] = {"the server ended the transfer",
                                     "file not found",
                                     "access violation",
                                     "disk full",
                                     "illegal operation",
                                     "unknown transfer",
                                     "file exists",
                                     "no such user",
                                     "options refused"};
    return texts[error_code < std::size(texts) ? error_code : 0];
}

tftp_error_code tftp_error_of(fault_code fault) {
    switch (fault) {
    case fault_code::not_found:
    case fault_code::not_directory:
        return tftp_error_code::file_not_found;
    case fault_code::access_denied:
    case fault_code::is_directory:
    case fault_code::link_loop:
    case fault_code::invalid:
        return tftp_error_code::access_violation;
    case fault_code::no_space:
    case fault_code::too_large:
        return tftp_error_code::disk_full;
    case fault_code::exists:
        return tftp_error_code::file_exists;
    case fault_code::violation:
        return tftp_error_code::illegal_operation;
    default:
        return tftp_error_code::not_defined;
    }
}

} // namespace ombrel::protocol
