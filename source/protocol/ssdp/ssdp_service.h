// A service of SSDP on an event base: its sockets, its clockwork, and what it knows.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/ssdp.h>

#include "protocol/ssdp/ssdp_announcements.h"
#include "protocol/ssdp/ssdp_answers.h"
#include "protocol/ssdp/ssdp_cache.h"
#include "protocol/ssdp/ssdp_channel.h"
#include "protocol/ssdp/ssdp_message.h"

namespace ombrel::protocol {

/// All of it happens on the thread of the base's loop. Calls that fail leave the fault.
class ssdp_service {
public:
    explicit ssdp_service(ombrel_ssdp_t* handle) : handle_(handle) {}
    ~ssdp_service();
    ssdp_service(const ssdp_service&) = delete;
    ssdp_service& operator=(const ssdp_service&) = delete;

    bool open(ombrel_event_base_t* base, const ombrel_ssdp_options_t& options);
    /// @return its number, or -1
    int64_t announce(const char* type, const char* usn, const char* location, int max_age_s);
    bool announce_device(const char* uuid, const char* type, const char* location, int max_age_s);
    bool withdraw(int64_t number);
    bool update(int64_t boot_id, const char* location);
    bool search(const char* target, int wait_s);
    bool stop(int timeout_ms, ombrel_ssdp_stop_handler_t handler, void* context);

    ssdp_cache& cache() { return cache_; }
    void get_counts(ombrel_ssdp_counts_t& counts) const;
    bool is_in_handler() const { return in_handler_; }

private:
    struct search_plan {
        unsigned left; ///< packets still to come; 0 for none
        int wait_s;
        uint64_t due;
        char target[def_ombrel_ssdp_type_size];
    };
    static constexpr size_t channel_count = 2, most_searches = 16;

    static void on_packet(ssdp_channel& channel, bool is_own, int socket, void* self);
    static void on_time(ombrel_event_t* event, int fd, uint32_t flags, void* self);
    bool open_channels(const ombrel_ssdp_options_t& options);
    bool keep_texts(const ombrel_ssdp_options_t& options);
    void take_packet(ssdp_channel& channel, bool is_own, std::span<const uint8_t> packet,
                     const endpoint& from);
    void take_search(const ssdp_channel& channel, bool is_own, const ssdp_message& search,
                     const endpoint& from);
    void tell(const ssdp_cache::change& done);

    ssdp_message message_of(const ssdp_announcement& one, ssdp_kind kind) const;
    void send_to_groups(const ssdp_message& message);
    void send_announcements(uint64_t now);
    void send_answers(uint64_t now);
    bool send_answer(ssdp_answer& answer, const ssdp_announcement& one, uint64_t now);
    const ssdp_announcement* find_match(const ssdp_answer& answer) const;
    void send_searches(uint64_t now);
    void drop_expired(uint64_t now);
    bool is_stopped(uint64_t now) const;
    /// Has the loop look here again when something is due.
    void arm();

    ombrel_ssdp_t* handle_;
    ombrel_event_base_t* base_ = nullptr;
    ombrel_event_t timer_{};
    bool network_ = false, in_handler_ = false, stopping_ = false, stop_told_ = false, hurry_ = false;
    uint64_t stop_end_ = UINT64_MAX, answers_until_ = 0;
    ombrel_ssdp_stop_handler_t stop_handler_ = nullptr;
    void* stop_context_ = nullptr;
    ombrel_ssdp_handler_t handler_ = nullptr;
    void* context_ = nullptr;
    int64_t boot_id_ = 0, config_id_ = 0;
    size_t announcement_limit_ = 0;
    char server_[def_ombrel_ssdp_server_size] = "", wanted_[def_ombrel_ssdp_type_size] = "";
    ssdp_channel channels_[channel_count];
    ssdp_reader reader_;
    ssdp_announcements announcements_;
    ssdp_answers answers_;
    ssdp_answer_limit answer_limit_;
    ssdp_cache cache_;
    search_plan searches_[most_searches]{};
    ombrel_ssdp_counts_t counts_{};
};

} // namespace ombrel::protocol
