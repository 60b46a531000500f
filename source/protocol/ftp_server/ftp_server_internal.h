// The server's record.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/ftp_server.h>

#include "core/heap_ptr.h"
#include "protocol/ftp_server/ftp_account.h"
#include "protocol/ftp_server/ftp_data_channel.h"
#include "protocol/ftp_server/ftp_transfer.h"
#include "protocol/ftp_server/login_pause.h"
#include "protocol/ftp_server/watched_descriptor.h"
#include "protocol/listener.h"

namespace ombrel::protocol {
class ftp_server_session;
}

struct ombrel_ftp_server_ts {
    ombrel_event_base_t* base;
    ombrel_ftp_server_options_t options; ///< its texts are in the next two
    ombrel::heap_ptr<char> greeting, passive_address;
    ombrel::protocol::listener door;
    ombrel::protocol::ftp_accounts accounts;
    ombrel::protocol::login_pauses pauses;
    size_t checks; ///< of passwords that are under way
    ombrel::protocol::passive_ports ports;
    ombrel::heap_ptr<ombrel::protocol::transfer_room> room;
    ombrel::protocol::ftp_server_session* sessions;
    ombrel_ftp_server_counts_t counts; ///< but for those that the door has
    uint64_t last_session;
    int handlers; ///< of the caller's that run
    bool is_open, is_stopping, has_stopped;
    ombrel::protocol::timed_call stop_call;
    ombrel_ftp_server_stop_handler_t stop_handler;
    void* stop_context;
};

namespace ombrel::protocol {

/// Tells the caller's handlers. True when one of them objects.
bool tell_event(ombrel_ftp_server_t& server, const ombrel_ftp_server_event_t& event);

/// When the last session of a server that stops has left, its handler is called from the loop.
void note_leaving(ombrel_ftp_server_t& server);

} // namespace ombrel::protocol
