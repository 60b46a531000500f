// Reads any bytes as lines of a list, in each form.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/ftp.h>

#include "support/require.h"

namespace {

constexpr char guard = '\x5a';
constexpr ombrel_instant_t now{1795351325, 0};

bool is_part(const char* text, const std::string& line) {
    return line.find(text) != std::string::npos;
}

void check_entry(const ombrel_ftp_entry_t& entry, const std::string& line) {
    for (const char* const text :
         {entry.m_name, entry.m_unique, entry.m_target, entry.m_owner, entry.m_group})
        require(is_part(text, line));
    require(entry.m_kind >= def_ombrel_ftp_kind_unknown && entry.m_kind <= def_ombrel_ftp_kind_unread);
    require(entry.m_size >= -1 && entry.m_mode >= -1 && entry.m_mode <= 07777);
    require(entry.m_time_precision >= def_ombrel_ftp_time_none &&
            entry.m_time_precision <= def_ombrel_ftp_time_second);
    require(entry.m_name_faults == ombrel_check_ftp_name(entry.m_name));
    const bool is_plain = entry.m_name_faults == 0;
    require(!is_plain || (entry.m_name[0] != '\0' && strchr(entry.m_name, '/') == nullptr &&
                          strcmp(entry.m_name, "..") != 0));
}

void read_line(int form, const std::string& line) {
    const size_t enough = line.size() + 9;
    std::vector<char> room(enough + 1, guard);
    ombrel_ftp_entry_t entry;
    require(ombrel_parse_ftp_entry(form, line.c_str(), &now, room.data(), enough, &entry) == 0);
    check_entry(entry, line);
    // Less room is no harm either.
    ombrel_parse_ftp_entry(form, line.c_str(), &now, room.data(), line.size() / 2, &entry);
    require(room[enough] == guard);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    for (size_t at = 0; at < bytes.size();) {
        const size_t end = std::min(bytes.find('\n', at), bytes.size());
        const std::string line = bytes.substr(at, end - at).c_str();
        for (const int form :
             {def_ombrel_ftp_list_facts, def_ombrel_ftp_list_plain, def_ombrel_ftp_list_names})
            read_line(form, line);
        at = end + 1;
    }
    return 0;
}
