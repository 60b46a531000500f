// How records stand in a stream, found by trying every place.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/packet.h>

struct found_packet {
    int64_t offset;
    int type; ///< -1 for one above the limit
    std::string data;

    bool operator==(const found_packet&) const = default;
};

inline std::vector<found_packet> find_packets(const std::string& stream, uint32_t channel, size_t limit) {
    constexpr size_t head_size = def_ombrel_packet_head_size;
    std::vector<found_packet> found;
    for (size_t at = 0; at + head_size <= stream.size();) {
        unsigned char head[head_size];
        const auto* const bytes = reinterpret_cast<const unsigned char*>(stream.data() + at);
        const size_t size =
            size_t{bytes[4]} << 24 | size_t{bytes[5]} << 16 | size_t{bytes[6]} << 8 | bytes[7];
        const auto type = static_cast<uint16_t>(bytes[2] << 8 | bytes[3]);
        const size_t left = stream.size() - at - head_size;
        const bool is_long = size > limit;
        // The head of the same record, but for the payload's checksum, which a head above the limit keeps.
        ombrel_make_packet_head(head, channel, type, bytes + head_size, size <= left ? size : 0);
        if (is_long) {
            ombrel_packet_options_t options = {channel, size};
            ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(&options);
            ombrel_buffer_t* const buffer = ombrel_open_buffer();
            ombrel_packet_t packet;
            ombrel_push_buffer(buffer, bytes, head_size);
            ombrel_packet_reader_next(reader, buffer, &packet);
            ombrel_packet_statistics_t statistics;
            ombrel_packet_reader_get_statistics(reader, &statistics);
            const bool is_head = reader != nullptr && statistics.m_bad_heads + statistics.m_skipped == 0;
            ombrel_close_packet_reader(reader);
            ombrel_close_buffer(buffer);
            if (is_head)
                found.push_back({static_cast<int64_t>(at), -1, {}});
            at += is_head ? head_size : 1;
        } else if (size <= left && memcmp(head, bytes, head_size) == 0) {
            found.push_back({static_cast<int64_t>(at), type, stream.substr(at + head_size, size)});
            at += head_size + size;
        } else {
            at++;
        }
    }
    return found;
}

/// What a reader finds in a stream that comes in pieces, and that it accounts for every byte.
inline std::vector<found_packet> read_packets(const std::string& stream, uint32_t channel, size_t limit,
                                              size_t piece, bool& is_accounted) {
    const ombrel_packet_options_t options = {channel, limit};
    ombrel_packet_reader_t* const reader = ombrel_open_packet_reader(&options);
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    std::vector<found_packet> found;
    ombrel_packet_t packet;
    int64_t skipped = 0;
    const auto drain = [&] {
        int result;
        while ((result = ombrel_packet_reader_next(reader, buffer, &packet)) != 0) {
            const auto* const data = static_cast<const char*>(packet.m_data);
            found.push_back({packet.m_offset, result > 0 ? packet.m_type : -1,
                             std::string(data, result > 0 ? packet.m_size : 0)});
            skipped += result > 0 ? packet.m_skipped : 0;
        }
    };
    for (size_t at = 0; at < stream.size(); at += piece) {
        ombrel_push_buffer(buffer, stream.data() + at, std::min(piece, stream.size() - at));
        drain();
    }
    ombrel_packet_reader_end(reader);
    drain();
    ombrel_packet_statistics_t statistics;
    ombrel_packet_reader_get_statistics(reader, &statistics);
    is_accounted = statistics.m_taken == static_cast<int64_t>(stream.size()) &&
                   statistics.m_record_bytes + statistics.m_skipped == statistics.m_taken &&
                   skipped <= statistics.m_skipped && ombrel_packet_reader_get_held(reader) == 0 &&
                   (statistics.m_gaps > 0) == (statistics.m_skipped > 0);
    ombrel_close_packet_reader(reader);
    ombrel_close_buffer(buffer);
    return found;
}
