#include "protocol/ssdp/ssdp_message.h"

#include <algorithm>
#include <cstring>

#include <ombrel/http_writer.h>

#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr std::string_view search_line = "M-SEARCH * HTTP/1.1\r\n", notify_line = "NOTIFY * HTTP/1.1\r\n";
/// Stands before the fields of both for the parser of HTTP, to which their methods mean nothing.
constexpr std::string_view stand_in_line = "OPTIONS * HTTP/1.1\r\n";
constexpr std::string_view discover = "\"ssdp:discover\"";
constexpr int most_wait_s = 120; ///< of what a search says; UPnP has 5
constexpr int64_t most_boot_id = 0x7fffffff, most_config_id = 0xffffff;

constexpr std::string_view alive_word = "ssdp:alive", byebye_word = "ssdp:byebye",
                           update_word = "ssdp:update";

/// The fields that count, as bits of what has come.
enum field : unsigned {
    type_field = 1,
    kind_field = 2,
    usn_field = 4,
    location_field = 8,
    server_field = 16,
    age_field = 32,
    man_field = 64,
    wait_field = 128,
    boot_field = 256,
    next_boot_field = 512,
    config_field = 1024,
};

struct field_name {
    const char* name;
    field bit;
};

constexpr field_name names[] = {
    {"ST", type_field},
    {"NT", type_field},
    {"NTS", kind_field},
    {"USN", usn_field},
    {"LOCATION", location_field},
    {"SERVER", server_field},
    {"CACHE-CONTROL", age_field},
    {"MAN", man_field},
    {"MX", wait_field},
    {"BOOTID.UPNP.ORG", boot_field},
    {"NEXTBOOTID.UPNP.ORG", next_boot_field},
    {"CONFIGID.UPNP.ORG", config_field},
};

/// What a message of each kind has at least, in their order.
constexpr unsigned needed[] = {
    type_field | man_field,
    type_field | usn_field | location_field | age_field,
    type_field | usn_field | location_field | age_field | kind_field,
    type_field | usn_field | kind_field,
    type_field | usn_field | location_field | boot_field | next_boot_field | kind_field,
};

std::string_view view(const ombrel_http_text_t& text) {
    return {text.m_data, text.m_size};
}

template<size_t Room>
bool keep(char (&to)[Room], std::string_view text) {
    if (text.size() >= Room)
        return false;
    *put_text(to, text) = '\0';
    return true;
}

bool is_printable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// "max-age=1800" among directives; spaces around the "=" are met. What is beyond all limits is cut.
bool read_max_age(std::string_view text, int& seconds) {
    size_t at = 0;
    ombrel_http_text_t element;
    while (ombrel_next_http_element(text.data(), text.size(), &at, &element) == 1) {
        std::string_view directive = view(element);
        const size_t equals = std::min(directive.find('='), directive.size());
        std::string_view name = slice(directive, 0, equals), value = slice(directive, equals + 1);
        while (!name.empty() && name.back() == ' ')
            name.remove_suffix(1);
        while (!value.empty() && value.front() == ' ')
            value.remove_prefix(1);
        if (ombrel_is_http_name(name.data(), name.size(), "max-age") == 1)
            return parse_number(slice(value, 0, 9), 1, 999999999, seconds);
    }
    return false;
}

bool read_kind(std::string_view text, ssdp_kind& kind) {
    if (text == alive_word)
        kind = ssdp_kind::alive;
    else if (text == byebye_word)
        kind = ssdp_kind::byebye;
    else if (text == update_word)
        kind = ssdp_kind::updated;
    else
        return false;
    return true;
}

/// What may be missing counts as not told where it makes no sense: some peers send -1 for no number.
bool keep_server(char (&to)[def_ombrel_ssdp_server_size], std::string_view text) {
    return !is_printable(text) || text.size() >= sizeof to || keep(to, text);
}

bool keep_number(int64_t& to, std::string_view text, int64_t most) {
    parse_number(text, int64_t{0}, most, to);
    return true;
}

bool read_field(field which, std::string_view text, ssdp_message& message) {
    switch (which) {
    case type_field:
        return is_ssdp_name(text, sizeof message.type) && keep(message.type, text);
    case kind_field:
        return read_kind(text, message.kind);
    case usn_field:
        return is_ssdp_name(text, sizeof message.usn) && keep(message.usn, text);
    case location_field:
        return is_ssdp_location(text) && keep(message.location, text);
    case server_field:
        return keep_server(message.server, text);
    case age_field:
        return read_max_age(text, message.max_age_s);
    case man_field:
        return text == discover;
    case wait_field:
        return parse_number(text, 0, most_wait_s, message.wait_s);
    case boot_field:
        return keep_number(message.boot_id, text, most_boot_id);
    case next_boot_field:
        return keep_number(message.next_boot_id, text, most_boot_id);
    default:
        return keep_number(message.config_id, text, most_config_id);
    }
}

/// Takes a field, once each. Unknown ones, and the types of another kind of message, do not count.
bool take_field(const ombrel_http_event_t& event, unsigned& given, ssdp_message& message) {
    const bool is_notice = message.kind != ssdp_kind::search && message.kind != ssdp_kind::answer;
    for (const field_name& known : names) {
        if (ombrel_is_http_name(event.m_name.m_data, event.m_name.m_size, known.name) != 1)
            continue;
        if (known.bit == type_field && is_notice != (*known.name == 'N'))
            return true;
        if (known.bit == kind_field && !is_notice)
            return true;
        const bool is_first = (given & known.bit) == 0;
        given |= known.bit;
        return is_first && read_field(known.bit, view(event.m_value), message);
    }
    return true;
}

bool has_needed(unsigned given, const ssdp_message& message) {
    const unsigned need = needed[static_cast<size_t>(message.kind)];
    const bool is_update = message.kind == ssdp_kind::updated;
    return (given & need) == need && (!is_update || std::min(message.boot_id, message.next_boot_id) >= 0);
}

} // namespace

bool is_ssdp_name(std::string_view text, size_t room) {
    return !text.empty() && text.size() < room && is_printable(text) && text.find(' ') == text.npos;
}

bool is_ssdp_location(std::string_view text) {
    return is_ssdp_name(text, def_ombrel_ssdp_location_size) &&
           (starts_with(text, "http://") || starts_with(text, "https://"));
}

bool is_ssdp_match(std::string_view target, std::string_view type) {
    if (target == ssdp_all || target == type)
        return true;
    const size_t target_colon = target.rfind(':'), type_colon = type.rfind(':');
    unsigned wanted, offered;
    return starts_with(target, "urn:") && target_colon == type_colon &&
           slice(target, 0, target_colon) == slice(type, 0, type_colon) &&
           parse_number(slice(target, target_colon + 1), wanted) &&
           parse_number(slice(type, type_colon + 1), offered) && wanted <= offered;
}

ssdp_reader::~ssdp_reader() {
    ombrel_close_http_parser(requests_);
    ombrel_close_http_parser(responses_);
}

bool ssdp_reader::open() {
    constexpr const char* tag = "ombrel_open_ssdp";
    requests_ = ombrel_open_http_parser_tag(def_ombrel_http_requests, nullptr, tag, __LINE__);
    responses_ = ombrel_open_http_parser_tag(def_ombrel_http_responses, nullptr, tag, __LINE__);
    return requests_ != nullptr && responses_ != nullptr;
}

bool ssdp_reader::read(std::span<const uint8_t> packet, ssdp_message& message) {
    const std::string_view text(reinterpret_cast<const char*>(packet.data()), packet.size());
    message = {};
    message.max_age_s = message.wait_s = -1;
    message.boot_id = message.next_boot_id = message.config_id = -1;
    const bool is_search = starts_with(text, search_line), is_notice = starts_with(text, notify_line);
    if (!is_search && !is_notice) {
        message.kind = ssdp_kind::answer;
        ombrel_http_parser_reset(responses_);
        return read_head(responses_, packet, message);
    }
    message.kind = is_search ? ssdp_kind::search : ssdp_kind::alive;
    ombrel_http_parser_reset(requests_);
    ombrel_http_event_t event;
    size_t at = 0;
    ombrel_http_parser_next(requests_, stand_in_line.data(), stand_in_line.size(), &at, &event);
    return read_head(requests_, packet.subspan(is_search ? search_line.size() : notify_line.size()), message);
}

/// Up to the empty line: a body would mean nothing.
bool ssdp_reader::read_head(ombrel_http_parser_t* parser, std::span<const uint8_t> head,
                            ssdp_message& message) {
    ombrel_http_event_t event;
    size_t at = 0;
    unsigned given = 0;
    while (ombrel_http_parser_next(parser, head.data(), head.size(), &at, &event) == 1) {
        if (event.m_kind == def_ombrel_http_event_head)
            return has_needed(given, message);
        if (event.m_kind == def_ombrel_http_event_response && event.m_status != 200)
            return false;
        if (event.m_kind == def_ombrel_http_event_field && !take_field(event, given, message))
            return false;
    }
    return false;
}

namespace {

void write_number(ombrel_http_writer_t& writer, const char* name, int64_t number) {
    if (number >= 0)
        ombrel_http_writer_number_field(&writer, name, number);
}

void write_text(ombrel_http_writer_t& writer, const char* name, const char* text) {
    if (*text != '\0')
        ombrel_http_writer_field(&writer, name, text);
}

void write_max_age(ombrel_http_writer_t& writer, int seconds) {
    constexpr std::string_view directive = "max-age=";
    char text[32];
    char* const end = put_text(text, directive);
    *std::to_chars(end, text + sizeof text - 1, seconds).ptr = '\0';
    if (seconds >= 0)
        ombrel_http_writer_field(&writer, "CACHE-CONTROL", text);
}

const char* word_of(ssdp_kind kind) {
    return kind == ssdp_kind::alive    ? alive_word.data()
           : kind == ssdp_kind::byebye ? byebye_word.data()
                                       : update_word.data();
}

void write_start(ombrel_http_writer_t& writer, ssdp_kind kind, const char* group) {
    if (kind == ssdp_kind::answer) {
        ombrel_http_writer_response(&writer, 200, nullptr);
        ombrel_http_writer_date_field(&writer, "DATE", nullptr);
        ombrel_http_writer_field(&writer, "EXT", "");
        return;
    }
    ombrel_http_writer_request(&writer, kind == ssdp_kind::search ? "M-SEARCH" : "NOTIFY", "*");
    ombrel_http_writer_field(&writer, "HOST", group);
    if (kind == ssdp_kind::search)
        ombrel_http_writer_field(&writer, "MAN", discover.data());
    else
        ombrel_http_writer_field(&writer, "NTS", word_of(kind));
}

} // namespace

size_t write_ssdp_message(std::span<char> room, const ssdp_message& message, const char* group) {
    const bool is_notice = message.kind != ssdp_kind::search && message.kind != ssdp_kind::answer;
    ombrel_http_writer_t writer;
    ombrel_init_http_writer(&writer, room.data(), room.size());
    write_start(writer, message.kind, group);
    write_max_age(writer, message.max_age_s);
    write_text(writer, "LOCATION", message.location);
    write_text(writer, "SERVER", message.server);
    write_text(writer, is_notice ? "NT" : "ST", message.type);
    write_text(writer, "USN", message.usn);
    write_number(writer, "MX", message.wait_s);
    write_number(writer, "BOOTID.UPNP.ORG", message.boot_id);
    write_number(writer, "NEXTBOOTID.UPNP.ORG", message.next_boot_id);
    write_number(writer, "CONFIGID.UPNP.ORG", message.config_id);
    ombrel_http_writer_end_head(&writer);
    return static_cast<size_t>(std::max<int64_t>(ombrel_http_writer_get_size(&writer), 0));
}

} // namespace ombrel::protocol
