#include <iterator>
#include <string_view>

#include "platform/terminal_mode.h"

namespace ombrel::platform {

namespace {

struct feature_text {
    uint32_t feature;
    std::string_view on, off;
};

constexpr feature_text texts[] = {
    {feature_title, "\x1b[22;2t", "\x1b[23;2t"},       {feature_screen, "\x1b[?1049h", "\x1b[?1049l"},
    {feature_hidden_cursor, "\x1b[?25l", "\x1b[?25h"}, {feature_pastes, "\x1b[?2004h", "\x1b[?2004l"},
    {feature_focus, "\x1b[?1004h", "\x1b[?1004l"},     {feature_look, "", "\x1b[0m"},
};

constexpr size_t longest() {
    size_t size = 0;
    for (const feature_text& one : texts)
        size += one.off.size();
    return size;
}
static_assert(longest() <= feature_text_size);

// Signal handlers write it: a loop calls no one.
char* put(char* to, std::string_view text) {
    for (const char c : text)
        *to++ = c;
    return to;
}

} // namespace

size_t put_features(uint32_t features, bool on, char* text) {
    constexpr size_t count = std::size(texts);
    char* to = text;
    for (size_t i = 0; i < count; i++) {
        const feature_text& one = texts[on ? i : count - 1 - i];
        if ((features & one.feature) != 0)
            to = put(to, on ? one.on : one.off);
    }
    return static_cast<size_t>(to - text);
}

} // namespace ombrel::platform
