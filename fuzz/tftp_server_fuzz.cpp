// Plays clients of a TFTP server that say anything: the input is a list of packets, each to the server or to
// its last transfer. No answer is longer than a block, and the file that is served stays as it is.

#include <cstring>
#include <string>

#include <ombrel/directory.h>
#include <ombrel/event_base.h>
#include <ombrel/file.h>
#include <ombrel/heap.h>
#include <ombrel/random.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>
#include <ombrel/tftp_server.h>

#include "support/byte_source.h"
#include "support/own_port.h"

namespace {

constexpr char text[] = "what is served";
constexpr size_t most_packet = 4 + 65464;

/// A directory with one file.
class served_directory {
public:
    served_directory() : path_(ombrel_alloc_temporary_directory(nullptr, "tftp_fuzz")) {
        require(path_ != nullptr && ombrel_store_file(file().c_str(), text, sizeof text, 0, 0600) == 0);
    }
    ~served_directory() {
        char bytes[sizeof text + 1] = "";
        size_t size;
        void* const kept = ombrel_alloc_load_file(file().c_str(), sizeof bytes, &size);
        require(kept != nullptr && size == sizeof text && memcmp(kept, text, size) == 0);
        ombrel_free(kept);
        ombrel_remove_tree(path_, nullptr, nullptr);
        ombrel_free(path_);
    }
    const char* path() const { return path_; }

private:
    std::string file() const { return std::string(path_) + "/file"; }
    char* path_;
};

void play(ombrel_event_base_t* base, byte_source& bytes, int s, int port) {
    sockaddr_storage door, transfer;
    require(ombrel_inet_ptos(AF_INET, "127.0.0.1", port, &door, sizeof door) == 0);
    transfer = door;
    static char answer[most_packet + 1];
    for (int i = 0; i < 64 && !bytes.is_empty(); i++) {
        auto& to = bytes.number(2) == 0 ? door : transfer;
        const std::string packet = bytes.bytes();
        auto* const address = reinterpret_cast<sockaddr*>(&to);
        ombrel_sendto(s, packet.data(), packet.size(), address, ombrel_sockaddr_size(address, 0), 0);
        ombrel_event_base_loop(base, def_ombrel_event_loop_non_block);
        sockaddr_storage from;
        int from_size = sizeof from, size;
        while ((size = ombrel_recvfrom_now(s, answer, sizeof answer, reinterpret_cast<sockaddr*>(&from),
                                           &from_size)) > 0) {
            require(size >= 4 && static_cast<size_t>(size) <= most_packet);
            transfer = from;
            from_size = sizeof from;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    {
        byte_source bytes(data, size);
        const served_directory directory;
        ombrel_tftp_server_options_t options;
        ombrel_init_tftp_server_options(&options);
        options.m_directory = directory.path();
        options.m_flags = def_ombrel_tftp_server_write;
        options.m_upload_limit = 5000;
        ombrel_event_base_t* const base = ombrel_new_event_base();
        ombrel_tftp_server_t* const server = ombrel_open_tftp_server(base, &options);
        require(server != nullptr);
        const int port = ombrel_tftp_server_listen(server, "127.0.0.1", 0);
        const int s = ombrel_open_udp_socket("127.0.0.1", 0);
        require(port > 0 && s >= 0);
        play(base, bytes, s, port);
        ombrel_close_socket(s);
        ombrel_close_tftp_server(server);
        ombrel_free_event_base(base);
    }
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
