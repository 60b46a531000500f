// Makes a stream of records, garbage and damage as the bytes say, and reads it in pieces: what is found is
// what trying every place finds.

#include <algorithm>

#include "packet_model.h"
#include "support/require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr uint32_t channel = 5;
    constexpr size_t limit = 300, longest = 8192;
    std::string stream;
    size_t at = 0;
    const auto next = [&] { return at < size ? data[at++] : uint8_t{0}; };
    while (at < size && stream.size() < longest) {
        const unsigned what = next(), count = next();
        const size_t taken = std::min<size_t>(count, size - at);
        if (what % 4 == 0) {
            stream.append(reinterpret_cast<const char*>(data + at), taken);
            at += taken;
            continue;
        }
        // One whose payload is another's stream, whose payload lacks bytes, or that is above the limit.
        unsigned char head[def_ombrel_packet_head_size];
        const std::string payload =
            what % 4 == 1 ? stream.substr(stream.size() - std::min<size_t>(count, stream.size()))
                          : std::string(what % 4 == 3 ? limit + 1 : count, 'x');
        ombrel_make_packet_head(head, (what & 0x40) != 0 ? channel + 1 : channel,
                                static_cast<uint16_t>(count), payload.data(), payload.size());
        if ((what & 0x80) != 0)
            head[count % sizeof head] ^= 1;
        stream.append(reinterpret_cast<const char*>(head), sizeof head);
        stream.append(payload, 0, (what & 0x20) != 0 ? payload.size() / 2 : payload.size());
    }
    bool is_accounted = false;
    const auto expected = find_packets(stream, channel, limit);
    for (const size_t piece : {size_t{1}, size_t{37}, stream.size() + 1}) {
        require(read_packets(stream, channel, limit, piece, is_accounted) == expected, "the same records");
        require(is_accounted, "every byte is accounted for");
    }
    return 0;
}
