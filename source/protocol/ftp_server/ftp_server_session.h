// One client: its control connection, what it is allowed and has chosen, its transfer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include <ombrel/buffer.h>
#include <ombrel/ftp_server.h>

#include "core/deadline.h"
#include "core/heap_ptr.h"
#include "network/endpoint.h"
#include "protocol/ftp_server/ftp_account.h"
#include "protocol/ftp_server/ftp_data_channel.h"
#include "protocol/ftp_server/ftp_line_reader.h"
#include "protocol/ftp_server/ftp_path.h"
#include "protocol/ftp_server/ftp_transfer.h"
#include "protocol/ftp_server/transfer_rate.h"
#include "protocol/ftp_server/watched_descriptor.h"
#include "protocol/listener.h"
#include "protocol/secret/secret_check.h"

namespace ombrel::protocol {

struct ftp_verb;

/// What a session tells of; what is not named is the session's own.
struct session_event {
    int kind; ///< a def_ombrel_ftp_server_event_*
    int reply = 0;
    const char* account = nullptr;
    const char* command = nullptr;
    const char* path = "";
    const char* new_path = "";
    const char* reason = "";
    int64_t bytes = 0, duration_ms = 0;
};

/// Every event of a session ends in settle(), after which the session may be gone; nothing before that ends
/// it, but marks it.
class ftp_server_session {
public:
    /// Takes a client's socket.
    static void begin(ombrel_ftp_server_t& server, int socket, const endpoint& peer);
    /// Ends it without a word. The reason is for the log.
    void close(const char* reason);
    /// Has it look, at the loop's next turn, at what is to be done.
    void wake() { timer_.set(0); }
    /// Ends it with 421, at the loop's next turn. It has no account from then on.
    void expel(const char* reason);

    ombrel_ftp_server_t& server() { return server_; }
    const ombrel_ftp_server_options_t& options() const;
    ftp_server_session* next() const { return next_; }

    // What verbs say.

    /// A line with a code, in the manner of our formatter; names go by reply_name().
    void reply(int code, const char* format, ...);
    /// A line with a name of the client's or a file's, in which nothing can end the line.
    void reply_name(int code, std::string_view before, std::string_view name, std::string_view after);
    /// A line of an answer of several.
    void say(std::string_view line);
    /// One that is indented, as those between the first and the last may be, and may end in a name.
    void say_indented(std::string_view line, std::string_view name = {});
    /// An answer that lists.
    void put_listing(ftp_listing& listing);
    /// A name in its midst; quotes are doubled where quotes stand around it.
    void say_name(std::string_view name, bool is_quoted = false);
    /// reply() that is told as refused.
    void refuse(int code, const char* text);
    /// For want of a right to what a name leads to.
    void refuse_right(std::string_view name);
    /// The same by the last fault of the file system.
    void refuse_by_fault();
    /// The last reply: nothing more is read.
    void end(int code, const char* text);

    // Events.

    void tell_change(std::string_view path, std::string_view new_path = {});
    /// What the command is about, for as long as it runs.
    void set_subject(const ftp_path& path) { subject_ = path.get(); }

    // Log-in.

    ftp_account* account() const { return account_; }
    const system::confined_tree& tree() const { return account_->tree; }
    bool has_name() const { return name_[0] != '\0'; }
    void take_name(std::string_view name);
    void take_password(std::string_view password);
    void log_out();

    // Paths.

    /// Where a name leads from the session's directory; refuses it when that is too long.
    bool resolve(std::string_view name, ftp_path& path);
    std::string_view directory() const { return directory_ ? directory_.get() : "/"; }
    bool set_directory(const ftp_path& path) { return keep_text(path.get(), directory_); }
    const char* renamed() const { return renamed_.get(); }
    bool set_renamed(const ftp_path& path) { return keep_text(path.get(), renamed_); }
    void forget_renamed() { renamed_.reset(); }

    // Data.

    const endpoint& peer() const { return peer_; }
    const endpoint& own() const { return own_; }
    passive_ports& ports();
    ftp_data_channel& data() { return data_; }
    void close_data();
    bool has_transfer() const { return transfer_ != nullptr; }
    /// Refuses the command when nothing was said about a connection.
    bool can_transfer();
    /// A transfer that is still to be begun or dropped, or null after a refusal. The file is owned from then
    /// on.
    ftp_transfer* make_transfer(ftp_transfer::direction way, int file, int64_t offset);
    void drop_transfer();
    /// Begins it, which the client was told.
    void begin_transfer();
    void break_transfer(int code, const char* reason);
    void put_status();

    // What the client chose.

    bool is_ascii = false;
    bool only_extended = false; ///< it promised to ask for passive connections by EPSV alone
    uint8_t facts = all_facts;
    int64_t restart = 0; ///< where the next transfer of a file begins
    int64_t take_restart() { return std::exchange(restart, 0); }

private:
    ftp_server_session(ombrel_ftp_server_t& server, int socket, const endpoint& peer);
    ~ftp_server_session();
    ftp_server_session(const ftp_server_session&) = delete;
    ftp_server_session& operator=(const ftp_server_session&) = delete;

    bool open();
    void settle();
    void destroy();
    void greet();

    void on_control();
    void on_data();
    void on_time();

    void receive();
    void flush();
    size_t unsent() const { return ombrel_get_buffer_size(output_); }
    void push(std::string_view text);
    void say_goodbye();
    /// Whether a log-in is still to be answered.
    bool is_logging_in() const { return is_checking_ || is_paused_; }
    bool is_over() const;
    bool watch();
    bool watch_data();
    int next_moment() const;
    void check_limits();
    void check_transfer_limits();

    bool takes_commands() const;
    void carry_out();
    void heed_during_transfer();
    void execute(std::string_view line);
    bool allows(const ftp_verb& verb, std::string_view argument);

    void go_on_checking();
    void drop_check();
    void judge_login();
    void finish_login();
    bool has_room_for_session() const;
    void log_in(ftp_account& account);
    void fail_login(const char* reason);
    void pause_login();

    bool keep_text(const char* text, heap_ptr<char>& kept);

    void advance_data();
    void begin_moving();
    void move_data();
    void end_transfer(int code, const char* text);
    void finish_transfer();
    void fail_transfer();

    /// True when a handler objects.
    bool tell(const session_event& event);
    bool tell_transfer(int code, const char* reason);

    ombrel_ftp_server_t& server_;
    ftp_server_session *previous_ = nullptr, *next_ = nullptr;
    uint64_t number_;
    endpoint peer_, own_{};
    char client_[address_text_size + 10];
    client_place place_{};
    uint64_t begun_at_;
    int64_t bytes_ = 0; ///< of all transfers

    int socket_;
    watched_descriptor control_{};
    timed_call timer_{};
    ftp_line_reader reader_{};
    heap_ptr<char> line_area_;
    ombrel_buffer_t* output_ = nullptr;
    bool saw_end_ = false;      ///< the client sends no more
    bool is_broken_ = false;    ///< the control connection, or memory
    bool is_ending_ = false;    ///< the last reply is on its way
    bool said_goodbye_ = false; ///< our side is shut down
    bool has_more_ = false;     ///< commands wait for the loop's next turn
    const char* end_reason_ = "";
    deadline command_limit_, output_limit_, goodbye_limit_;

    ftp_account* account_ = nullptr;
    char name_[def_ombrel_secret_name_max + 1] = ""; ///< given by USER; empty for none
    int failures_ = 0;
    secret_check check_;
    bool is_checking_ = false; ///< a password, in as many turns of the loop as its secret needs
    bool is_paused_ = false;   ///< a log-in has failed and is not answered yet
    deadline pause_;

    heap_ptr<char> directory_, renamed_;
    const char* verb_ = "";
    const char* subject_ = "";

    ftp_data_channel data_{};
    watched_descriptor data_watch_{};
    ftp_transfer* transfer_ = nullptr;
    heap_ptr<char> transfer_path_;
    const char* transfer_verb_ = "";
    uint64_t transfer_begun_at_ = 0;
    bool is_moving_ = false;  ///< the data connection stands
    bool is_resting_ = false; ///< until the rate allows more
    deadline data_limit_, rest_;
    transfer_rate rate_;
};

} // namespace ombrel::protocol
