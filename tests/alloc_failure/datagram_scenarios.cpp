// TFTP on both sides, and SSDP.
#include <ombrel/event_base.h>
#include <ombrel/ssdp.h>
#include <ombrel/tftp.h>
#include <ombrel/tftp_server.h>

#include <thread>

#include "alloc_failure/injection.h"
#include "network/loopback.h"
#include "support/emulator.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// Runs the loop for a moment while memory fails.
void run(injection& fail, ombrel_event_base_t* base, int ms = 3) {
    ombrel_event_base_exit_loop(base, ms);
    fail.during([&] { return ombrel_event_base_dispatch(base); });
}

void give(int s, const std::string& packet, socket_address to) {
    ombrel_sendto(s, packet.data(), packet.size(), to.get(), to.size, 0);
}

/// A request is served, refused, or passed over.
OMBREL_FAILURES(Datagram, tftp_server) {
    const scratch_directory directory;
    directory.write("file", "text");
    ombrel_tftp_server_options_t options;
    ombrel_init_tftp_server_options(&options);
    options.m_directory = directory.path().c_str();
    options.m_flags = def_ombrel_tftp_server_write | def_ombrel_tftp_server_overwrite;
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_tftp_server_t* const server = fail.during([&] { return ombrel_open_tftp_server(base, &options); });
    EXPECT_EQ(fail.hit(), server == nullptr);
    const int port = fail.during([&] { return ombrel_tftp_server_listen(server, "127.0.0.1", 0); });
    EXPECT_EQ(fail.hit() || server == nullptr, port == -1);
    if (port > 0) {
        char* const url = fail.during([&] { return ombrel_alloc_tftp_server_url(server, 0); });
        EXPECT_EQ(fail.hit(), url == nullptr);
        ombrel_free(url);
        const socket_address door(AF_INET, "127.0.0.1", port);
        for (const std::string& request :
             {std::string("\0\1file\0octet\0", 13), std::string("\0\2new\0octet\0", 12)}) {
            const owned_socket s = bound(AF_INET, SOCK_DGRAM);
            give(s, request, door);
            run(fail, base);
            char packet[600];
            socket_address peer;
            const int size = ombrel_recvfrom(s, packet, sizeof packet, peer.get(), &peer.size, 0);
            EXPECT_TRUE(fail.hit() || size > 0);
            if (size == 4) {
                give(s, {"\0\3\0\1end", 7}, peer);
                run(fail, base);
            }
        }
    }
    EXPECT_EQ(0, ombrel_close_tftp_server(server));
    EXPECT_EQ(0, ombrel_free_event_base(base));
    const std::string stored = directory.read("new");
    EXPECT_TRUE(stored.empty() || stored == "end") << stored;
}

OMBREL_FAILURES(Datagram, tftp_client) {
    const owned_socket socket = bound(AF_INET, SOCK_DGRAM);
    std::thread server([&] {
        char packet[600] = "";
        socket_address client;
        ombrel_recvfrom(socket, packet, sizeof packet, client.get(), &client.size, -1);
        give(socket, {"\0\4\0\0", 4}, client);
    });
    ombrel_tftp_options_t options;
    ombrel_init_tftp_options(&options);
    options.m_window_size = 4;
    ombrel_tftp_t* const tftp = fail.during([&] { return ombrel_open_tftp(&options); });
    EXPECT_EQ(fail.hit(), tftp == nullptr);
    const int opened = fail.during(
        [&] { return ombrel_tftp_open_write(tftp, "127.0.0.1", own_port(socket), "file", 5000); });
    EXPECT_TRUE(opened == 0 || fail.ever_hit());
    const int64_t taken = fail.during([&] { return ombrel_tftp_write(tftp, "bytes", 5, 0); });
    EXPECT_EQ(opened == 0 ? 5 : -1, taken);
    EXPECT_EQ(0, ombrel_close_tftp(tftp));
    socket_address own = own_address(socket); // in case nobody asked
    ombrel_sendto(socket, "", 1, own.get(), own.size, 0);
    server.join();
}

OMBREL_FAILURES(Datagram, ssdp) {
    if (refuses_multicast_interface())
        GTEST_SKIP() << "this emulator lets no interface be chosen for multicast";
    ombrel_ssdp_options_t options;
    ombrel_init_ssdp_options(&options);
    options.m_flags = def_ombrel_ssdp_ipv4;
    options.m_address = "127.0.0.1";
    options.m_port = own_port(bound(AF_INET, SOCK_DGRAM));
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_ssdp_t* const ssdp = fail.during([&] { return ombrel_open_ssdp(base, &options); });
    EXPECT_EQ(fail.hit(), ssdp == nullptr);
    const int announced =
        fail.during([&] { return ombrel_ssdp_announce_device(ssdp, "1", "urn:a:1", "http://h/", 1800); });
    EXPECT_EQ(fail.hit() || ssdp == nullptr, announced == -1);
    ombrel_ssdp_search(ssdp, "ssdp:all", 1);
    for (int i = 0; i < 4; i++)
        run(fail, base, 30);
    ombrel_ssdp_counts_t counts{};
    ombrel_ssdp_get_counts(ssdp, &counts);
    EXPECT_TRUE(announced == -1 || counts.m_entries + counts.m_dropped > 0 || fail.ever_hit());
    EXPECT_EQ(0, ombrel_close_ssdp(ssdp));
    EXPECT_EQ(0, ombrel_free_event_base(base));
}

} // namespace
} // namespace ombrel_test
