// Messages of SSDP, apart from any socket: the head of a message of HTTP in one datagram.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include <ombrel/http_parser.h>
#include <ombrel/ssdp.h>

namespace ombrel::protocol {

enum class ssdp_kind {
    search,  ///< M-SEARCH
    answer,  ///< to a search
    alive,   ///< NOTIFY with ssdp:alive
    byebye,  ///< NOTIFY with ssdp:byebye
    updated, ///< NOTIFY with ssdp:update
};

inline constexpr size_t most_ssdp_packet = 4096; ///< what comes; what is sent is shorter
inline constexpr std::string_view ssdp_all = "ssdp:all";

/// What a message says. Texts are terminated, printable, and empty where they are not given.
struct ssdp_message {
    ssdp_kind kind;
    char type[def_ombrel_ssdp_type_size]; ///< NT, or ST of searches and answers
    char usn[def_ombrel_ssdp_usn_size];
    char location[def_ombrel_ssdp_location_size];
    char server[def_ombrel_ssdp_server_size];
    int max_age_s;        ///< -1 if not told
    int wait_s;           ///< MX of a search; -1 if not told
    int64_t boot_id;      ///< -1 if not told
    int64_t next_boot_id; ///< of an update
    int64_t config_id;    ///< -1 if not told
};

/// Reads messages by parsers that it keeps.
class ssdp_reader {
public:
    ssdp_reader() = default;
    ~ssdp_reader();
    ssdp_reader(const ssdp_reader&) = delete;
    ssdp_reader& operator=(const ssdp_reader&) = delete;

    /// False when memory runs out.
    bool open();
    /// False for what is no message, lacks what its kind needs, or has values that make no sense.
    bool read(std::span<const uint8_t> packet, ssdp_message& message);

private:
    bool read_head(ombrel_http_parser_t* parser, std::span<const uint8_t> head, ssdp_message& message);

    ombrel_http_parser_t* requests_ = nullptr;
    ombrel_http_parser_t* responses_ = nullptr;
};

/// Writes a message that goes to a group or, an answer, to one. `group` is a host with its port.
/// @return its bytes; 0 when it does not fit, or a text cannot stand in it
size_t write_ssdp_message(std::span<char> room, const ssdp_message& message, const char* group);

/// Whether what is of a type is found by a search for another: the same, an earlier version of it, or all.
bool is_ssdp_match(std::string_view target, std::string_view type);

/// Whether a text may stand for a type or a unique name, or for a location.
bool is_ssdp_name(std::string_view text, size_t room);
bool is_ssdp_location(std::string_view text);

} // namespace ombrel::protocol
