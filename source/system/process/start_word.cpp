#include "system/process/start_word.h"

#include <cstring>

#include "core/deadline.h"
#include "core/fault.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "text/charset/whole_characters.h"

namespace ombrel::system {

namespace {

/// False when nothing has come, nor the end, before the limit.
bool wait_until_readable(int descriptor, const deadline& limit) {
    platform::poll_request request{descriptor, platform::readiness::read, false};
    int ready;
    do
        ready = platform::poll_descriptors(&request, 1, limit.left());
    while (failed_by(ready, fault_code::interrupted));
    return ready != 0;
}

} // namespace

start_word make_start_word(start_news news, int number, const char* text) {
    start_word word{news, number, 0, {}};
    const std::string_view given(text != nullptr ? text : "",
                                 text != nullptr ? strnlen(text, start_text_max + 4) : 0);
    const std::string_view fitting = fitting_characters(given, start_text_max);
    memcpy(word.text, fitting.data(), fitting.size());
    return word;
}

bool send_start_word(int descriptor, const start_word& word) {
    return platform::write_descriptor(descriptor, &word, sizeof word) == static_cast<int>(sizeof word);
}

word_arrival receive_start_word(int descriptor, int timeout_ms, start_word& word) {
    auto* const bytes = reinterpret_cast<char*>(&word);
    size_t size = 0;
    const deadline limit(timeout_ms);
    while (size < sizeof word) {
        if (!wait_until_readable(descriptor, limit))
            return word_arrival::timed_out;
        const int got = platform::read_descriptor(descriptor, bytes + size, sizeof word - size);
        if (got <= 0)
            return word_arrival::ended;
        size += static_cast<size_t>(got);
    }
    word.text[start_text_max] = '\0';
    return word_arrival::arrived;
}

} // namespace ombrel::system
