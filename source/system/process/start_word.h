// What a process that starts tells the one that started it, once, over a pipe.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::system {

enum class start_news : int32_t {
    ready,
    failed,  ///< with an exit code and a text
    refused, ///< it never came to its work, with the host's number of the fault
};

inline constexpr size_t start_text_max = 400;

/// Both sides are of one program or library; it fits into what a pipe takes at once.
struct start_word {
    start_news news;
    int32_t number;
    int32_t part; ///< what of the start was refused, for those who agree on such parts
    char text[start_text_max + 1];
};

/// A text of which as many bytes are told as fit, no character halved; null for none.
start_word make_start_word(start_news news, int number, const char* text);

/// False with its fault: closed when nobody reads any more.
bool send_start_word(int descriptor, const start_word& word);

enum class word_arrival { arrived, timed_out, ended };

/// Waits until the word has come or the other side has closed without one.
word_arrival receive_start_word(int descriptor, int timeout_ms, start_word& word);

} // namespace ombrel::system
