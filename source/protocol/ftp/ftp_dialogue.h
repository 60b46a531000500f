// What was said on the control connection, for people and programs to read.
#pragma once

#include <cstddef>
#include <string_view>

#include <ombrel/ftp.h>

namespace ombrel::protocol {

/// Who is shown the lines of a dialogue.
struct ftp_log {
    void (*show)(bool is_reply, std::string_view line, void* to) = nullptr;
    void* to = nullptr;
};

/// Copies as much as fits, terminated, with "?" for control characters but line feeds.
/// @param room bytes, 1 or more
/// @return characters
size_t copy_printable(char* to, size_t room, std::string_view text);

/// The text of a reply, line by line, as far as there is room.
class ftp_reply_text {
public:
    void clear() { length_ = 0, text_[0] = '\0'; }
    void add(std::string_view line);
    const char* get() const { return text_; }

private:
    size_t length_ = 0;
    char text_[def_ombrel_ftp_reply_size] = "";
};

} // namespace ombrel::protocol
