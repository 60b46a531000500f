#include "protocol/ssdp/ssdp_service.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <ombrel/network.h>
#include <ombrel/printf.h>
#include <ombrel/socket.h>
#include <ombrel/time.h>
#include <ombrel/version.h>

#include "core/fault.h"
#include "platform/clock.h"

namespace ombrel::protocol {

namespace {

constexpr int packets_at_once = 64;
/// Packets of each kind between two looks at what has come, and the pause between.
constexpr int tellings_at_once = 16;
constexpr uint64_t telling_pause_ms = 10, held_back_pause_ms = 100, search_pause_ms = 300;
constexpr unsigned times_searched = 3;
/// Answers are taken for so long behind the time that was given for them.
constexpr uint64_t late_answer_ms = 4000, ms_per_s = 1000;
constexpr const char *default_ipv4_group = "239.255.255.250", *default_ipv6_groups = "ff02::c ff05::c";
constexpr int longest_max_age_s = 86400;
constexpr int64_t most_boot_id = 0x7fffffff;

bool refuse(fault_code fault) {
    leave_fault(fault);
    return false;
}

bool is_sound_announcement(const char* type, const char* usn, const char* location, int max_age_s) {
    return type != nullptr && is_ssdp_name(type, def_ombrel_ssdp_type_size) && usn != nullptr &&
           is_ssdp_name(usn, def_ombrel_ssdp_usn_size) && location != nullptr && is_ssdp_location(location) &&
           max_age_s >= 1 && max_age_s <= longest_max_age_s;
}

template<size_t Room>
bool keep(char (&to)[Room], const char* text) {
    const size_t length = strlen(text);
    if (length >= Room)
        return false;
    memcpy(to, text, length + 1);
    return true;
}

} // namespace

ssdp_service::~ssdp_service() {
    for (ssdp_announcement* one = announcements_.first(); one != nullptr; one = one->next)
        send_to_groups(message_of(*one, ssdp_kind::byebye));
    if ((timer_.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&timer_);
    for (ssdp_channel& channel : channels_)
        channel.close();
    if (network_)
        ombrel_uninit_network();
}

bool ssdp_service::open(ombrel_event_base_t* base, const ombrel_ssdp_options_t& options) {
    base_ = base;
    boot_id_ = options.m_boot_id;
    config_id_ = options.m_config_id;
    announcement_limit_ = options.m_announcement_limit;
    handler_ = options.m_handler;
    context_ = options.m_context;
    if (!keep_texts(options))
        return refuse(fault_code::invalid);
    answer_limit_.open(options.m_answer_limit, options.m_address_answer_limit);
    cache_.open({options.m_entry_limit, options.m_address_entry_limit, options.m_max_age_limit_s,
                 options.m_wanted != nullptr ? wanted_ : nullptr});
    network_ = ombrel_init_network() == 0;
    return network_ && reader_.open() && ombrel_assign_event(base, &timer_, -1, 0, on_time, this) == 0 &&
           open_channels(options);
}

bool ssdp_service::keep_texts(const ombrel_ssdp_options_t& options) {
    if (options.m_server == nullptr)
        ombrel_snprintf(server_, sizeof server_, "%s/%s UPnP/2.0 libombrel_tuk/%s", ombrel_get_os_name(),
                        ombrel_get_os_version_string(), ombrel_get_tuk_version_string());
    else if (!keep(server_, options.m_server))
        return false;
    return std::all_of(server_, server_ + strlen(server_), [](char c) { return c >= ' ' && c <= '~'; }) &&
           (options.m_wanted == nullptr ||
            (is_ssdp_name(options.m_wanted, sizeof wanted_) && keep(wanted_, options.m_wanted)));
}

/// What the host has not is left out where the other family is there.
bool ssdp_service::open_channels(const ombrel_ssdp_options_t& options) {
    const struct {
        int family;
        uint32_t flag;
        const char *groups, *default_groups;
    } families[channel_count] = {
        {AF_INET, def_ombrel_ssdp_ipv4, options.m_ipv4_group, default_ipv4_group},
        {AF_INET6, def_ombrel_ssdp_ipv6, options.m_ipv6_groups, default_ipv6_groups}};
    bool is_any = false;
    for (size_t i = 0; i < channel_count; i++) {
        const auto& [family, flag, groups, default_groups] = families[i];
        endpoint own;
        const bool is_foreign = options.m_address != nullptr && !own.parse(family, options.m_address, 0);
        if ((options.m_flags & flag) == 0 || is_foreign)
            continue;
        const ssdp_place place{family,
                               options.m_interface,
                               options.m_address,
                               groups != nullptr ? groups : default_groups,
                               options.m_port,
                               options.m_hops,
                               options.m_answer_hops,
                               (options.m_flags & def_ombrel_ssdp_no_loop) == 0,
                               (options.m_flags & def_ombrel_ssdp_no_listen) == 0};
        is_any = channels_[i].open(base_, place, on_packet, this) || is_any;
    }
    if (!is_any && !last_fault())
        leave_fault(fault_code::not_supported);
    return is_any;
}

void ssdp_service::on_packet(ssdp_channel& channel, bool is_own, int socket, void* self) {
    ssdp_service& service = *static_cast<ssdp_service*>(self);
    uint8_t packet[most_ssdp_packet + 1];
    for (int i = 0; i < packets_at_once; i++) {
        endpoint from;
        int from_size = endpoint::room();
        const int size = ombrel_recvfrom_now(socket, packet, sizeof packet, from.get(), &from_size);
        if (size == def_ombrel_socket_would_block)
            break;
        if (size >= 0)
            service.take_packet(channel, is_own, {packet, static_cast<size_t>(size)}, from);
    }
    service.arm();
}

void ssdp_service::take_packet(ssdp_channel& channel, bool is_own, std::span<const uint8_t> packet,
                               const endpoint& from) {
    ssdp_message message;
    counts_.m_received++;
    if (packet.size() > most_ssdp_packet || from.port() == 0 || !reader_.read(packet, message)) {
        counts_.m_bad++;
        return;
    }
    const uint64_t now = ombrel_time_stamp_msec();
    if (message.kind == ssdp_kind::search)
        return take_search(channel, is_own, message, from);
    // Nobody answers who was not asked, and what is for all comes to the group.
    if (message.kind == ssdp_kind::answer ? now >= answers_until_ : is_own)
        return;
    ssdp_cache::change done;
    cache_.take(message, from, now, done);
    tell(done);
}

/// A search to the group says for how long answers may be spread; one to this service alone need not.
void ssdp_service::take_search(const ssdp_channel& channel, bool is_own, const ssdp_message& search,
                               const endpoint& from) {
    if (stopping_ || (!is_own && search.wait_s < 0))
        return;
    ssdp_answer probe{};
    memcpy(probe.target, search.type, sizeof probe.target);
    if (find_match(probe) == nullptr)
        return;
    counts_.m_searches++;
    if (!answers_.add(channel, from, search, ombrel_time_stamp_msec()))
        counts_.m_held_back++;
}

void ssdp_service::tell(const ssdp_cache::change& done) {
    if (done.event == 0 || handler_ == nullptr)
        return;
    const bool before = in_handler_;
    in_handler_ = true;
    handler_(handle_, done.event, &done.told, context_);
    in_handler_ = before;
}

void ssdp_service::on_time(ombrel_event_t*, int, uint32_t flags, void* self) {
    if ((flags & def_ombrel_event_timeout) == 0)
        return;
    ssdp_service& service = *static_cast<ssdp_service*>(self);
    const uint64_t now = ombrel_time_stamp_msec();
    service.hurry_ = false;
    service.send_announcements(now);
    service.send_answers(now);
    service.send_searches(now);
    service.drop_expired(now);
    if (!service.is_stopped(now))
        return service.arm();
    service.stop_told_ = true;
    // The handler comes last, as it may close the service.
    if (service.stop_handler_ != nullptr)
        service.stop_handler_(service.handle_, service.stop_context_);
}

bool ssdp_service::is_stopped(uint64_t now) const {
    return stopping_ && !stop_told_ && (announcements_.is_empty() || now >= stop_end_);
}

void ssdp_service::arm() {
    uint64_t next = std::min({announcements_.next_due(), answers_.next_due(), cache_.next_expiry()});
    for (const search_plan& plan : searches_)
        next = plan.left > 0 ? std::min(next, plan.due) : next;
    if (stopping_ && !stop_told_)
        next = std::min(next, announcements_.is_empty() ? 0 : stop_end_);
    if (next == UINT64_MAX)
        return;
    const uint64_t now = ombrel_time_stamp_msec();
    const uint64_t wait = next > now ? next - now : hurry_ ? telling_pause_ms : 0;
    ombrel_add_event(&timer_, static_cast<int>(std::min<uint64_t>(wait, INT_MAX)));
}

ssdp_message ssdp_service::message_of(const ssdp_announcement& one, ssdp_kind kind) const {
    ssdp_message message{};
    message.kind = kind;
    memcpy(message.type, one.type, sizeof message.type);
    memcpy(message.usn, one.usn, sizeof message.usn);
    message.wait_s = message.max_age_s = -1;
    message.boot_id = boot_id_;
    message.next_boot_id = -1;
    message.config_id = config_id_;
    if (kind == ssdp_kind::byebye)
        return message;
    memcpy(message.location, one.location, sizeof message.location);
    if (kind == ssdp_kind::updated)
        return message;
    memcpy(message.server, server_, sizeof message.server);
    message.max_age_s = one.max_age_s;
    return message;
}

void ssdp_service::send_to_groups(const ssdp_message& message) {
    for (const ssdp_channel& channel : channels_) {
        char packet[most_ssdp_packet];
        if (!channel.is_open())
            continue;
        const size_t size = write_ssdp_message(packet, message, channel.group_text());
        counts_.m_sent += channel.send_to_group({packet, size}) ? 1 : 0;
    }
}

void ssdp_service::send_announcements(uint64_t now) {
    for (int i = 0; i < tellings_at_once; i++) {
        ssdp_announcement* const one = announcements_.find_due(now);
        if (one == nullptr)
            return;
        send_to_groups(message_of(*one, one->is_leaving ? ssdp_kind::byebye : ssdp_kind::alive));
        announcements_.note_telling(*one, now);
    }
    hurry_ = true;
}

const ssdp_announcement* ssdp_service::find_match(const ssdp_answer& answer) const {
    const ssdp_announcement* one = announcements_.first();
    while (one != nullptr &&
           (one->is_leaving || one->number <= answer.after || !is_ssdp_match(answer.target, one->type)))
        one = one->next;
    return one;
}

void ssdp_service::send_answers(uint64_t now) {
    for (int i = 0; i < tellings_at_once; i++) {
        ssdp_answer* const answer = answers_.find_due(now);
        if (answer == nullptr)
            return;
        const ssdp_announcement* const one = stopping_ ? nullptr : find_match(*answer);
        answer->is_used = one != nullptr && send_answer(*answer, *one, now);
    }
    hurry_ = true;
}

/// @return whether the searcher waits for more
bool ssdp_service::send_answer(ssdp_answer& answer, const ssdp_announcement& one, uint64_t now) {
    if (!answer_limit_.take(answer.to, now)) {
        answer.due = now + held_back_pause_ms;
        counts_.m_held_back += answer.due >= answer.end ? 1 : 0;
        return answer.due < answer.end;
    }
    ssdp_message message = message_of(one, ssdp_kind::answer);
    if (answer.target != ssdp_all)
        memcpy(message.type, answer.target, sizeof message.type);
    char packet[most_ssdp_packet];
    const size_t size = write_ssdp_message(packet, message, nullptr);
    const bool is_sent = answer.channel->send({packet, size}, answer.to);
    counts_.m_sent += is_sent ? 1 : 0;
    counts_.m_answers += is_sent ? 1 : 0;
    answer.after = one.number;
    return true;
}

void ssdp_service::send_searches(uint64_t now) {
    for (search_plan& plan : searches_) {
        if (plan.left == 0 || plan.due > now)
            continue;
        ssdp_message message{};
        message.kind = ssdp_kind::search;
        memcpy(message.type, plan.target, sizeof message.type);
        message.wait_s = plan.wait_s;
        message.max_age_s = -1;
        message.boot_id = message.next_boot_id = message.config_id = -1;
        send_to_groups(message);
        plan.left--;
        plan.due = now + search_pause_ms;
        answers_until_ =
            std::max(answers_until_, now + static_cast<uint64_t>(plan.wait_s) * ms_per_s + late_answer_ms);
    }
}

void ssdp_service::drop_expired(uint64_t now) {
    ssdp_cache::change done;
    while (cache_.take_expired(now, done))
        tell(done);
}

int64_t ssdp_service::announce(const char* type, const char* usn, const char* location, int max_age_s) {
    if (stopping_ || !is_sound_announcement(type, usn, location, max_age_s))
        return refuse(fault_code::invalid), -1;
    const ssdp_announcement* const made =
        announcements_.add(type, usn, location, max_age_s, announcement_limit_, ombrel_time_stamp_msec());
    if (made == nullptr)
        return -1;
    arm();
    return made->number;
}

bool ssdp_service::announce_device(const char* uuid, const char* type, const char* location, int max_age_s) {
    if (uuid == nullptr || type == nullptr)
        return refuse(fault_code::invalid);
    char name[def_ombrel_ssdp_usn_size];
    const char* const types[] = {"upnp:rootdevice", nullptr, type};
    int64_t made[3] = {};
    for (size_t i = 0; i < 3; i++) {
        const char* const separator = types[i] != nullptr ? "::" : "";
        const char* const rest = types[i] != nullptr ? types[i] : "";
        const int length = ombrel_snprintf(name, sizeof name, "uuid:%s%s%s", uuid, separator, rest);
        const bool fits = length > 0 && static_cast<size_t>(length) < sizeof name;
        made[i] = fits ? announce(types[i] != nullptr ? types[i] : name, name, location, max_age_s)
                       : (refuse(fault_code::too_large), -1);
        if (made[i] > 0)
            continue;
        const fault_keeper kept;
        for (size_t known = 0; known < i; known++)
            announcements_.forget(made[known]);
        return false;
    }
    return true;
}

bool ssdp_service::withdraw(int64_t number) {
    if (!announcements_.leave(number, ombrel_time_stamp_msec()))
        return refuse(fault_code::not_found);
    arm();
    return true;
}

bool ssdp_service::update(int64_t boot_id, const char* location) {
    if (stopping_ || boot_id <= boot_id_ || boot_id > most_boot_id ||
        (location != nullptr && !is_ssdp_location(location)))
        return refuse(fault_code::invalid);
    for (const ssdp_announcement* one = announcements_.first(); one != nullptr; one = one->next) {
        ssdp_message message = message_of(*one, ssdp_kind::updated);
        message.next_boot_id = boot_id;
        if (location != nullptr)
            keep(message.location, location);
        if (!one->is_leaving)
            send_to_groups(message);
    }
    boot_id_ = boot_id;
    announcements_.renew(location, ombrel_time_stamp_msec());
    arm();
    return true;
}

bool ssdp_service::search(const char* target, int wait_s) {
    if (stopping_ || target == nullptr || !is_ssdp_name(target, def_ombrel_ssdp_type_size) || wait_s < 1 ||
        wait_s > 5)
        return refuse(fault_code::invalid);
    const auto is_same = [&](const search_plan& one) {
        return one.left > 0 && strcmp(one.target, target) == 0;
    };
    search_plan* const end = searches_ + most_searches;
    search_plan* plan = std::find_if(searches_, end, is_same);
    if (plan == end)
        plan = std::find_if(searches_, end, [](const search_plan& one) { return one.left == 0; });
    if (plan == end)
        return refuse(fault_code::too_large);
    *plan = {times_searched, wait_s, ombrel_time_stamp_msec(), ""};
    keep(plan->target, target);
    arm();
    return true;
}

bool ssdp_service::stop(int timeout_ms, ombrel_ssdp_stop_handler_t handler, void* context) {
    if (stopping_)
        return refuse(fault_code::invalid);
    const uint64_t now = ombrel_time_stamp_msec();
    stopping_ = true;
    stop_handler_ = handler;
    stop_context_ = context;
    stop_end_ = timeout_ms < 0 ? UINT64_MAX : now + static_cast<uint64_t>(timeout_ms);
    announcements_.leave_all(now);
    for (search_plan& plan : searches_)
        plan.left = 0;
    arm();
    return true;
}

void ssdp_service::get_counts(ombrel_ssdp_counts_t& counts) const {
    counts = counts_;
    counts.m_dropped = cache_.dropped();
    counts.m_announcements = announcements_.count();
    counts.m_entries = cache_.count();
}

} // namespace ombrel::protocol
