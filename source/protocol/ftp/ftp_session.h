// A session of FTP (RFC 959, 2428, 3659): commands, and one transfer at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/deadline.h"
#include "network/socket_guard.h"
#include "platform/poll.h"
#include "protocol/ftp/ftp_control.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

struct ftp_settings {
    bool active = false;         ///< the server connects, not the client
    bool extended = true;        ///< EPSV and EPRT are tried first
    bool checks_address = false; ///< PASV must name the server's address
    bool is_lenient = false;     ///< see def_ombrel_ftp_lenient
    int limit_ms = 30000;        ///< for each step; negative for no limit
    int keep_alive_ms = -1;      ///< between NOOPs during a transfer; negative for none
};

/// What to transfer.
struct ftp_job {
    const char* verb;
    const char* argument; ///< copied; "" for none
    bool sends = false;
    uint64_t offset = 0;
    bool is_text = false;              ///< TYPE A: sizes tell nothing
    std::optional<uint64_t> size = {}; ///< of the file, as the server told it before
};

/// Nothing of a transfer is held in memory. Its first failure is kept until the next call that says so.
class ftp_session {
public:
    ftp_session() = default;
    ~ftp_session() { disconnect(); }
    ftp_session(const ftp_session&) = delete;
    ftp_session& operator=(const ftp_session&) = delete;

    void set(const ftp_settings& settings) { settings_ = settings; }
    const ftp_settings& settings() const { return settings_; }
    void set_log(const ftp_log& log) { control_.set_log(log); }

    bool connect(const char* host, int port);
    /// @param user null for the anonymous one
    bool log_in(const char* user, const char* password, const char* account);
    /// Takes leave without ending a transfer.
    void disconnect();
    bool is_connected() const { return control_.is_open(); }

    /// Sends a command and reads its reply, whatever it says.
    bool ask(std::string_view verb, std::string_view argument);
    /// One that has to succeed.
    bool command(std::string_view verb, std::string_view argument);
    /// Has the transfers that follow go in bytes ("I") or as text ("A").
    bool set_type(char type);
    /// The size of a file, where the server tells it. False for a failure of the connection alone.
    bool find_size(const char* path, std::optional<uint64_t>& size);

    bool begin(const ftp_job& job);
    /// A transfer has begun and has not ended.
    bool is_busy() const { return transferring_ || data_; }
    bool sends() const { return job_.sends; }

    /// Waits until read() or write() can do something without waiting.
    /// @return 1 when it can (at the end of the file too), 0 when the time ran out, -1 after a failure
    int wait(int timeout_ms);

    /// @return bytes, 0 at the end, -1 after a failure, transfer_waited
    ptrdiff_t read(void* buffer, size_t size, int timeout_ms);

    /// @return bytes taken, which may be fewer; -1 after a failure; transfer_waited
    ptrdiff_t write(const void* data, size_t size, int timeout_ms);

    /// Closes the data connection, which ends what was stored, and takes the server's word on the whole.
    bool finish();
    /// Closes it and lets the server complain, or have sent all before it noticed.
    void leave();
    /// Tells the server to break off. False when the connection is lost over it.
    bool abort();

    uint64_t position() const { return position_; }
    std::optional<uint64_t> size() const { return job_.size; }
    const ftp_control& control() const { return control_; }
    transfer_error& error() { return error_; }
    const transfer_error& error() const { return error_; }

private:
    deadline limit() const { return deadline(settings_.limit_ms); }
    bool prepare_data();
    bool open_passive();
    bool ask_passive(const deadline& limit, const endpoint& peer, int& port);
    bool check_data_port(int port);
    bool open_active();
    bool tell_own_address(const endpoint& own, int port);
    bool accept_data();
    bool take_connection(const endpoint& peer);
    bool restart_at(uint64_t offset);
    bool start(const ftp_job& job);
    int await(int s, platform::readiness kind, const deadline& limit);
    bool look_at_control();
    bool keep_alive();
    bool confirms_too_early();
    bool has_come_whole();
    bool is_grown();
    void lose_data();
    void close_data();

    ftp_settings settings_;
    ftp_control control_;
    socket_guard data_, listener_;
    ftp_job job_{};
    bool extended_ = true;                 ///< EPSV and EPRT have not been refused
    bool transferring_ = false;            ///< the server still has to say how the transfer ended
    char type_ = '\0';                     ///< that the server was told
    char argument_[most_ftp_command] = ""; ///< of the transfer
    uint64_t position_ = 0;                ///< in the file, of the next byte to come
    deadline quiet_until_;                 ///< when the next NOOP is due
    transfer_error error_;
};

} // namespace ombrel::protocol
