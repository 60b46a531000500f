// What listings and answers tell about one file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/file.h>

namespace ombrel::protocol {

/// What the heap calls the memory of sessions.
inline constexpr char ftp_server_tag[] = "ombrel_open_ftp_server";

enum class listing_form : uint8_t {
    plain, ///< as "ls -l"
    names, ///< by which the client can ask for each
    facts,
};

/// Facts of RFC 3659, in the order in which they are told.
enum ftp_fact : uint8_t { fact_type, fact_size, fact_modify, fact_perm, fact_unique, fact_mode, fact_count };
inline constexpr uint8_t all_facts = (1u << fact_count) - 1;
inline constexpr std::string_view fact_names[fact_count] = {"type", "size",   "modify",
                                                            "perm", "unique", "UNIX.mode"};

struct line_style {
    listing_form form;
    uint8_t facts;   ///< bits 1 << ftp_fact
    uint32_t rights; ///< the account's: def_ombrel_ftp_account_*
    int64_t now;     ///< seconds since 1970, by which files are recent
};

/// Room for a line without its name.
inline constexpr size_t line_head_room = 256;
/// Writes what stands in front of the name. @return its length
size_t put_line_head(char (&text)[line_head_room], const ombrel_file_info_t& info, const line_style& style);

/// What stands for a character of a name, so that each line stays one.
constexpr char shown(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f ? '?' : c;
}

/// A moment as RFC 3659 has it, "20260301120000", with a terminator.
inline constexpr size_t ftp_stamp_room = 24;
void put_ftp_stamp(char (&text)[ftp_stamp_room], const ombrel_instant_t& moment);
/// The way back; false for what is none.
bool parse_ftp_stamp(std::string_view text, ombrel_instant_t& moment);

} // namespace ombrel::protocol
