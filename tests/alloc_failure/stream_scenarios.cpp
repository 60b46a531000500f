// Resource names, and streams of the built-in plug-in.
#include <ombrel/builtin_stream.h>
#include <ombrel/download.h>
#include <ombrel/fault.h>
#include <ombrel/socket_open.h>
#include <ombrel/uri.h>

#include "alloc_failure/injection.h"
#include "network/loopback.h"
#include "protocol/scripted_ftp_server.h"
#include "support/emulator.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Stream, parse_uri) {
    null_when_hit(
        fail, [](ombrel_uri_t* uri) { ombrel_free_uri(uri); },
        [] { return ombrel_parse_uri("ftp://u:p@h:21/a?b#c"); });
    text_or_null(fail, "a/b", [] { return ombrel_decode_uri("a%2fb", 5); });
}

/// Opens a stream while memory runs out: it is open, or refused with that error and nothing is left of it.
void opened_or_refused(injection& fail, const std::string& source, const char* mode, const char* mime_type,
                       const char* name = "timeout", const char* value = "1000") {
    const int ctx = ombrel_new_ctx();
    ombrel_ctx_set_option(ctx, "source", source.c_str());
    ombrel_ctx_set_option(ctx, "mode", mode);
    ombrel_ctx_set_option(ctx, name, value);
    const int result = fail.during([&] { return ombrel_open_ctx(ctx, mime_type); });
    EXPECT_TRUE(result == 0 || fail.hit()) << source;
    if (result != 0) {
        EXPECT_NE(def_ombrel_ctx_error_none, ombrel_ctx_get_last_error(ctx)) << source;
    }
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
}

OMBREL_FAILURES(Stream, open_files_and_programs) {
    opened_or_refused(fail, "file:///dev/null", "r+", "application/tuk_stream");
    opened_or_refused(fail, "/dev/null", "r", "application/tuk_stream_file");
    opened_or_refused(fail, "stderr:", "w", "application/tuk_stream");
    opened_or_refused(fail, "pipe:true", "r+", "application/tuk_stream");
    opened_or_refused(fail, "true", "r+", "application/tuk_stream_pipe", "args", "one 'and two'");
}

// A download leaves the old file or the new one, and nothing beside it once it went well.
OMBREL_FAILURES(Stream, download) {
    const scratch_directory folder;
    const std::string from = folder.file("from", std::string(100'000, 'x')), to = folder.file("to", "old");
    const std::string list = folder.file("list", "b5e5fa12d8a2e1a6b51d3e9e6e9d8bf3 *from\n");
    ombrel_download_options_t options;
    ombrel_init_download_options(&options);
    options.m_retry_limit = 0;
    const int result =
        fail.during([&] { return ombrel_download_file(from.c_str(), to.c_str(), &options, nullptr); });
    EXPECT_TRUE(result == 0 || fail.hit());
    EXPECT_EQ(result == 0 ? std::string(100'000, 'x') : "old", folder.read("to"));
    options.m_digest_list = list.c_str();
    EXPECT_EQ(-1,
              fail.during([&] { return ombrel_download_file(from.c_str(), to.c_str(), &options, nullptr); }));
    EXPECT_TRUE(fail.hit() || ombrel_last_fault() == def_ombrel_fault_violation);
}

OMBREL_FAILURES(Stream, open_sockets) {
    const owned_socket listener(ombrel_open_listen_socket("127.0.0.1", 0));
    const std::string host = "127.0.0.1:" + std::to_string(own_port(listener));
    opened_or_refused(fail, "tcp://" + host, "r", "application/tuk_stream");
    opened_or_refused(fail, host, "r", "application/tuk_stream_tcp");
    opened_or_refused(fail, "tcp://127.0.0.1:0", "r", "application/tuk_stream", "listen", "1");
    opened_or_refused(fail, "udp://" + host, "w", "application/tuk_stream");
}

OMBREL_FAILURES(Stream, open_multicast) {
    if (refuses_multicast_interface())
        GTEST_SKIP() << "this emulator lets no interface be chosen for multicast";
    const owned_socket listener(ombrel_open_listen_socket("127.0.0.1", 0));
    opened_or_refused(fail, "udp://239.255.79.80:" + std::to_string(own_port(listener)), "w",
                      "application/tuk_stream", "interface", "127.0.0.1");
}

/// Opens a stream beside its server.
void opened_or_refused_by_server(injection& fail, int port, const char* mime_type) {
    const int ctx = ombrel_new_ctx();
    ombrel_ctx_set_option_fstring(ctx, "source", "127.0.0.1:%d/file", port);
    ombrel_ctx_set_option(ctx, "timeout", "60000");
    ombrel_ctx_set_option(ctx, "interval", "60000");
    EXPECT_TRUE(fail.during([&] { return ombrel_open_ctx(ctx, mime_type); }) == 0 || fail.hit());
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
}

OMBREL_FAILURES(Stream, open_ftp) {
    const scripted_ftp_server server({});
    opened_or_refused_by_server(fail, server.port(), "application/tuk_stream_ftp");
}

OMBREL_FAILURES(Stream, open_tftp) {
    const owned_socket socket = bound(AF_INET, SOCK_DGRAM);
    std::thread server([&] {
        char packet[600] = "";
        socket_address client;
        ombrel_recvfrom(socket, packet, sizeof packet, client.get(), &client.size, -1);
        ombrel_sendto(socket, "\0\3\0\1", 4, client.get(), client.size, 0);
    });
    opened_or_refused_by_server(fail, own_port(socket), "application/tuk_stream_tftp");
    // In case nobody asked.
    socket_address own = own_address(socket);
    ombrel_sendto(socket, "", 1, own.get(), own.size, 0);
    server.join();
}

} // namespace
} // namespace ombrel_test
