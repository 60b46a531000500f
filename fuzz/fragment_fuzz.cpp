// Sends fragments as the bytes say, with overlaps, lies and pauses, damaged ones and plain garbage, and
// compares what becomes of them with a model; a second assembler with little memory only has to keep to it.

#include <cstring>

#include "fragment_model.h"
#include "support/require.h"

namespace {

constexpr size_t little_memory = 3000;

ombrel_fragment_assembler_t* open_assembler(bool is_small) {
    ombrel_fragment_options_t options;
    ombrel_init_fragment_options(&options);
    options.m_time_limit = 100;
    options.m_size_limit = 255;
    options.m_datagram_limit = is_small ? 4 : 1024;
    options.m_memory_limit = is_small ? little_memory : options.m_memory_limit;
    return ombrel_open_fragment_assembler(&options);
}

void check_small(ombrel_fragment_assembler_t* small, const std::string& fragment, int sender, int64_t now) {
    ombrel_datagram_t datagram;
    ombrel_fragment_statistics_t statistics;
    ombrel_fragment_assembler_take(small, &sender, sizeof sender, fragment.data(), fragment.size(), now,
                                   &datagram);
    ombrel_fragment_assembler_get_statistics(small, &statistics);
    require(statistics.m_held_bytes <= static_cast<int64_t>(little_memory) &&
            statistics.m_held_datagrams <= 4 && statistics.m_held_senders <= statistics.m_held_datagrams);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ombrel_fragment_assembler_t* const assembler = open_assembler(false);
    ombrel_fragment_assembler_t* const small = open_assembler(true);
    require(assembler != nullptr && small != nullptr);
    fragment_model model(100);
    int64_t now = 0;
    ombrel_datagram_t datagram;
    for (size_t at = 0; at + 5 <= size; at += 5) {
        const uint8_t* const byte = data + at;
        const int sender = byte[0] & 1;
        now += byte[0] >> 5 == 7 ? 60 : 0;
        const uint32_t total = byte[1] & 63, offset = std::min<uint32_t>(byte[2] & 63, total);
        const uint32_t length = std::min<uint32_t>(byte[3] & 63, total - offset);
        const sent_fragment sent = {sender, static_cast<uint32_t>(byte[0] >> 1 & 3), offset, total,
                                    std::string(length, static_cast<char>('a' + (byte[4] & 1)))};
        std::string fragment = make_fragment(sent);
        const bool is_damaged = (byte[4] & 0xC0) == 0xC0;
        if (is_damaged)
            fragment[byte[4] % fragment.size()] ^= static_cast<char>(0x10);
        const bool is_sound = !is_damaged && (length > 0 || total == 0);
        std::string whole;
        const int expected = is_sound ? model.take(sent, now, whole) : -1;
        const int result = ombrel_fragment_assembler_take(assembler, &sender, sizeof sender, fragment.data(),
                                                          fragment.size(), now, &datagram);
        require(result == expected, "what the model says");
        require(result != 1 ||
                whole == std::string(static_cast<const char*>(datagram.m_data), datagram.m_size));
        check_small(small, fragment, sender, now);
    }
    ombrel_fragment_assembler_take(assembler, nullptr, 0, data, size, now, &datagram);
    ombrel_fragment_statistics_t statistics;
    ombrel_fragment_assembler_expire(assembler, now + 100);
    ombrel_fragment_assembler_get_statistics(assembler, &statistics);
    require(statistics.m_held_bytes == 0 && statistics.m_held_senders == 0);
    ombrel_close_fragment_assembler(assembler);
    ombrel_close_fragment_assembler(small);
    return 0;
}
