#include "protocol/ftp/ftp_dialogue.h"

namespace ombrel::protocol {

namespace {

bool is_control(char c) {
    return (static_cast<unsigned char>(c) < ' ' && c != '\n') || c == 0x7f;
}

} // namespace

size_t copy_printable(char* to, size_t room, std::string_view text) {
    size_t length = 0;
    for (; length < text.size() && length + 1 < room; length++)
        to[length] = is_control(text[length]) ? '?' : text[length];
    to[length] = '\0';
    return length;
}

void ftp_reply_text::add(std::string_view line) {
    if (length_ > 0)
        length_ += copy_printable(text_ + length_, sizeof text_ - length_, "\n");
    length_ += copy_printable(text_ + length_, sizeof text_ - length_, line);
}

} // namespace ombrel::protocol
