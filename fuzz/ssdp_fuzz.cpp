// Reads any bytes as messages of SSDP: what is understood is within its limits, reads the same when it is
// written, and fills a cache no further than that may grow.

#include <cstring>
#include <string>

#include <ombrel/heap.h>

#include "protocol/ssdp/ssdp_cache.h"
#include "protocol/ssdp/ssdp_message.h"
#include "support/byte_source.h"
#include "support/require.h"

namespace {

using namespace ombrel::protocol;

constexpr size_t most_entries = 3;

bool read(ssdp_reader& reader, const std::string& packet, ssdp_message& message) {
    return reader.read({reinterpret_cast<const uint8_t*>(packet.data()), packet.size()}, message);
}

void check_message(ssdp_reader& reader, const ssdp_message& message) {
    require(is_ssdp_name(message.type, sizeof message.type));
    require(*message.location == '\0' || is_ssdp_location(message.location));
    char room[most_ssdp_packet];
    const size_t size = write_ssdp_message(room, message, "239.255.255.250:1900");
    ssdp_message again;
    require(size > 0 && read(reader, {room, size}, again));
    require(again.kind == message.kind && strcmp(again.type, message.type) == 0 &&
            strcmp(again.usn, message.usn) == 0 && again.max_age_s == message.max_age_s);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    {
        ssdp_reader reader;
        require(reader.open());
        ssdp_cache cache;
        cache.open({most_entries, 2, 1800, nullptr});
        ombrel::endpoint from[2];
        from[0].set_loopback(AF_INET, 1);
        from[1].set_loopback(AF_INET6, 1);
        ssdp_cache::change done;
        ssdp_message message;
        byte_source bytes(data, size);
        for (uint64_t now = 1; !bytes.is_empty(); now += bytes.number(4) * 1000) {
            const std::string packet =
                bytes.is_empty() ? "" : std::string(bytes.number(2) == 0 ? bytes.rest() : bytes.bytes());
            if (!read(reader, packet, message))
                continue;
            check_message(reader, message);
            if (message.kind != ssdp_kind::search)
                cache.take(message, from[now % 2], now, done);
            require(cache.count() <= most_entries);
            while (cache.take_expired(now, done))
                require(done.event == def_ombrel_ssdp_gone);
        }
    }
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
