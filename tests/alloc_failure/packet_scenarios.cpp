// Records on streams, fragments of datagrams.
#include <cstring>

#include <ombrel/fragment.h>
#include <ombrel/packet.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Packet, records) {
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    const std::string data(6000, 'x');
    if (fail.during([&] { return ombrel_push_packet(buffer, 0, 1, data.data(), data.size()); }) < 0) {
        EXPECT_TRUE(fail.hit());
        EXPECT_EQ(0u, ombrel_get_buffer_size(buffer));
        ombrel_push_packet(buffer, 0, 1, data.data(), data.size());
    }
    // A head that lays claim to the record behind it, so that this is summed up in parts.
    unsigned char head[def_ombrel_packet_head_size];
    ombrel_make_packet_head(head, 0, 2, data.data(), 5000);
    ombrel_buffer_t* const stream = ombrel_open_buffer();
    ombrel_push_buffer(stream, head, sizeof head);
    while (void* const piece = ombrel_alloc_pop_buffer(buffer, 4096)) {
        ombrel_push_buffer(stream, piece, ombrel_get_buffer_size(buffer) > 0 ? 4096 : 6016 - 4096);
        ombrel_free(piece);
    }
    ombrel_packet_reader_t* const reader = fail.during([] { return ombrel_open_packet_reader(nullptr); });
    if (reader != nullptr) {
        ombrel_packet_t packet;
        const auto next = [&] { return ombrel_packet_reader_next(reader, stream, &packet); };
        if (const int result = fail.during(next); result != 1) {
            EXPECT_TRUE(fail.hit());
            EXPECT_EQ(1, next());
        }
        EXPECT_EQ(6000u, packet.m_size);
    }
    ombrel_close_packet_reader(reader);
    ombrel_close_buffer(stream);
    ombrel_close_buffer(buffer);
}

OMBREL_FAILURES(Packet, fragments) {
    ombrel_fragment_assembler_t* const assembler =
        fail.during([] { return ombrel_open_fragment_assembler(nullptr); });
    if (assembler == nullptr)
        return;
    unsigned char fragment[22];
    ombrel_fragment_splitter_t splitter;
    ombrel_datagram_t datagram;
    ombrel_init_fragment_splitter(&splitter, 1, "0123456789abcdef", 16, sizeof fragment);
    for (int i = 1; ombrel_fragment_splitter_next(&splitter, fragment) > 0; i++) {
        const auto take = [&] {
            return ombrel_fragment_assembler_take(assembler, "s", 1, fragment, sizeof fragment, 0, &datagram);
        };
        const int result = fail.during(take);
        if (result < 0) {
            EXPECT_TRUE(fail.hit());
            EXPECT_EQ(i == 8 ? 1 : 0, take());
        }
    }
    EXPECT_EQ(0, memcmp("0123456789abcdef", datagram.m_data, datagram.m_size));
    ombrel_close_fragment_assembler(assembler);
}

} // namespace
} // namespace ombrel_test
