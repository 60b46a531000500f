// What is known of a file at its source, and how it is kept beside what has come of it.
#pragma once

#include <cstdint>
#include <string_view>

#include <ombrel/calendar.h>
#include <ombrel/sha256.h>

namespace ombrel::protocol {

/// A short text of the peer's: printable ASCII that fits, or nothing.
template<size_t room>
class peer_text {
public:
    void set(std::string_view text) {
        size_ = 0;
        if (text.size() >= room)
            return;
        for (const char c : text)
            if (c < ' ' || c > '~')
                return;
        for (const char c : text)
            text_[size_++] = c;
        text_[size_] = '\0';
    }
    std::string_view get() const { return {text_, size_}; }
    const char* c_str() const { return size_ > 0 ? text_ : ""; }

private:
    size_t size_ = 0;
    char text_[room] = {};
};

struct resource_info {
    int64_t size = -1;          ///< bytes; -1 when the source does not tell
    bool is_told_apart = false; ///< the size alone will do to tell a changed one, where there is nothing else
    peer_text<256> entity_tag;  ///< as HTTP has it, a strong one; empty for none
    peer_text<64> changed;      ///< when it was changed last, as the source writes it; empty for none
    bool is_change_recent = false; ///< so recent that another change may have the same time

    bool has_validator() const {
        return !entity_tag.get().empty() || !changed.get().empty() || (is_told_apart && size >= 0);
    }
    /// Whether both may be of one state of a file: all that both tell is the same.
    bool agrees_with(const resource_info& other) const;
};

/// Sets when it was changed last.
void set_change(resource_info& resource, const ombrel_instant_t& changed);

/// What stands beside a part.
struct part_info {
    char source[2 * def_ombrel_sha256_size + 1] = ""; ///< the digest of the URI, which may hold a password
    resource_info resource;
};

void set_source(part_info& info, const char* uri);

inline constexpr size_t part_info_room = 1024;

/// @param text receives it, terminated @return its bytes
size_t format_part_info(const part_info& info, char (&text)[part_info_room]);

/// False for what is no such text.
bool parse_part_info(std::string_view text, part_info& info);

} // namespace ombrel::protocol
