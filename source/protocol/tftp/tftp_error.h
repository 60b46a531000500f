// The errors of TFTP, and the faults that they stand for.
#pragma once

#include "core/fault.h"
#include "protocol/tftp/tftp_packet.h"

namespace ombrel::protocol {

/// What an error of the peer means; any number is one.
fault_code fault_of_tftp_error(uint16_t error_code);
/// Words for an error that came without.
const char* text_of_tftp_error(uint16_t error_code);

/// By what error a fault of this side is told.
tftp_error_code tftp_error_of(fault_code fault);

} // namespace ombrel::protocol
