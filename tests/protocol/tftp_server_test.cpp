#include <ombrel/directory.h>
#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/short_lock.h>
#include <ombrel/tftp.h>
#include <ombrel/tftp_server.h>

#include <atomic>
#include <map>
#include <mutex>
#include <thread>

#include "network/loopback.h"
#include "protocol/transfer_server.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/refused.h"
#include "support/texts.h"

namespace ombrel_test {
namespace {

using namespace std::string_literals;

constexpr auto write = def_ombrel_tftp_server_write, overwrite = def_ombrel_tftp_server_overwrite;

class TftpServer : public balanced_test {
protected:
    TftpServer() {
        ombrel_init_tftp_server_options(&options_);
        options_.m_directory = directory_.path().c_str();
        options_.m_flags = write;
        options_.m_retry_ms = 20000; // only a lost packet waits so long
        options_.m_context = this;
        options_.m_log_handler = [](auto*, const ombrel_tftp_transfer_t* transfer, void* context) {
            auto& self = *static_cast<TftpServer*>(context);
            const std::lock_guard guard(self.mutex_);
            self.log_ += std::string(transfer->m_is_upload ? "put " : "get ") + transfer->m_name + " " +
                         std::to_string(transfer->m_size) + " " +
                         ombrel_fault_name(transfer->m_error->m_fault) + "\n";
            return 0;
        };
        ombrel_init_tftp_options(&client_options_);
        client_options_.m_retry_ms = 20000;
    }
    ~TftpServer() override { stop(); }

    void start(const char* address = "127.0.0.1") {
        base_ = ombrel_new_event_base();
        server_ = ombrel_open_tftp_server(base_, &options_);
        ASSERT_NE(nullptr, server_) << ombrel_fault_text();
        port_ = ombrel_tftp_server_listen(server_, address, 0);
        ASSERT_GT(port_, 0) << ombrel_fault_text();
        run();
    }
    void run() {
        runs_ = true;
        ASSERT_EQ(0, ombrel_event_base_start_service(base_));
    }
    void stop() {
        if (base_ == nullptr)
            return;
        pause();
        EXPECT_EQ(0, ombrel_close_tftp_server(server_));
        EXPECT_EQ(0, ombrel_free_event_base(base_));
        base_ = nullptr;
    }
    std::string log() {
        const std::lock_guard guard(mutex_);
        return log_;
    }
    void expect_log(const std::string& line) {
        for (int i = 0; i < patience_ms && log().find(line) == line.npos; i++)
            ombrel_load_balance_short();
        EXPECT_NE(line.npos, log().find(line)) << line << log();
    }
    void pause() {
        if (std::exchange(runs_, false))
            ombrel_event_base_stop_service(base_);
    }

    struct file_source {
        const std::string& bytes;
        size_t at = 0;
    };
    /// @return the fault, 0 when all was well
    int put(int port, const std::string& name, const std::string& bytes, const char* host = "127.0.0.1") {
        ombrel_tftp_t* const tftp = ombrel_open_tftp(&client_options_);
        file_source source{bytes};
        const auto next = [](void* buffer, size_t room, void* context) {
            auto& [all, at] = *static_cast<file_source*>(context);
            const size_t size = all.copy(static_cast<char*>(buffer), room, at);
            at += size;
            return static_cast<int64_t>(size);
        };
        const int result = ombrel_tftp_store(tftp, host, port, name.c_str(),
                                             static_cast<int64_t>(bytes.size()), next, &source);
        const int fault = ombrel_tftp_get_error(tftp)->m_fault;
        EXPECT_EQ(result == 0, fault == 0);
        ombrel_close_tftp(tftp);
        return fault;
    }
    int get(int port, const std::string& name, std::string& bytes, const char* host = "127.0.0.1") {
        ombrel_tftp_t* const tftp = ombrel_open_tftp(&client_options_);
        bytes.clear();
        const auto keep = [](const void* data, size_t size, void* context) {
            static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
            return 0;
        };
        const int result = ombrel_tftp_retrieve(tftp, host, port, name.c_str(), keep, &bytes);
        const int fault = ombrel_tftp_get_error(tftp)->m_fault;
        EXPECT_EQ(result == 0, fault == 0);
        EXPECT_EQ(static_cast<int64_t>(bytes.size()),
                  result == 0 ? ombrel_tftp_get_count(tftp) : bytes.size());
        ombrel_close_tftp(tftp);
        return fault;
    }

    descriptor_balance descriptors_;
    scratch_directory directory_;
    ombrel_tftp_server_options_t options_;
    ombrel_tftp_options_t client_options_;
    ombrel_event_base_t* base_ = nullptr;
    ombrel_tftp_server_t* server_ = nullptr;
    int port_ = 0;
    bool runs_ = false;
    std::mutex mutex_;
    std::string log_;
};

class TftpServerFiles : public TftpServer {
protected:
    void SetUp() override {
        options_.m_flags = write | overwrite;
        // Not every host has room for the largest window.
        options_.m_retry_ms = client_options_.m_retry_ms = 2000;
        start();
    }
    void move_both_ways(int block, int window, int mode, size_t size) {
        SCOPED_TRACE(std::to_string(block) + " " + std::to_string(window) + " " + std::to_string(size));
        client_options_.m_block_size = block;
        client_options_.m_window_size = window;
        client_options_.m_mode = mode;
        const std::string bytes = varied_bytes(size) + (mode == 1 ? "\r\n\r\r\n\n\r" : "");
        std::string back;
        EXPECT_EQ(0, put(port_, "file", bytes));
        EXPECT_TRUE(bytes == directory_.read("file"));
        EXPECT_EQ(0, get(port_, "/file", back));
        EXPECT_TRUE(bytes == back);
    }
};

TEST_F(TftpServerFiles, OfAllSizesMoveBothWays) {
    const struct {
        int block, window, mode;
        size_t size;
    } cases[] = {{512, 1, 0, 0},        {512, 1, 0, 511},     {512, 1, 0, 1024},  {1428, 1, 0, 100000},
                 {65464, 1, 0, 200000}, {1428, 16, 0, 99960}, {512, 7, 1, 70001}, {65464, 64, 0, 1 << 20},
                 {8, 1, 1, 4000},       {512, 3, 0, 1536},    {512, 3, 0, 0}};
    for (const auto& [block, window, mode, size] : cases)
        move_both_ways(block, window, mode, size);
}

TEST_F(TftpServerFiles, OfMoreBlocksThanThereAreNumbersMoveBothWays) {
    move_both_ways(8, 64, 0, 65540 * 8 + 3);
}

// A proxy that loses, doubles and exchanges packets, and adds those of a stranger.
class bad_network : no_copy {
public:
    explicit bad_network(int server_port, uint32_t seed) : server_port_(server_port), state_(seed) {
        thread_ = std::thread([this] { run(); });
    }
    ~bad_network() {
        over_ = true;
        thread_.join();
    }
    int port() const { return own_port(front_); }

private:
    unsigned chance(unsigned below) {
        state_ = state_ * 1664525 + 1013904223;
        return (state_ >> 16) % below;
    }
    void pass(int s, const std::string& packet, socket_address& to) {
        const unsigned luck = chance(20);
        if (luck < 2)
            return;
        if (luck == 2 && held_.empty()) {
            held_ = {s, packet, to};
            return;
        }
        for (unsigned i = 0; i < (luck < 5 ? 2u : 1u); i++)
            ombrel_sendto(s, packet.data(), packet.size(), to.get(), to.size, 0);
        if (luck == 6)
            ombrel_sendto(stranger_, packet.data(), packet.size(), to.get(), to.size, 0);
        if (!held_.empty())
            ombrel_sendto(held_.socket, held_.packet.data(), held_.packet.size(), held_.to.get(),
                          held_.to.size, 0);
        held_ = {};
    }
    void run() {
        char packet[70000];
        socket_address client, server(AF_INET, "127.0.0.1", server_port_), from;
        while (!over_) {
            from.size = sizeof from.storage;
            int size = ombrel_recvfrom(front_, packet, sizeof packet, from.get(), &from.size, 1);
            if (size > 0) {
                // Each client goes out from a port of its own, so that the server knows it for a new one.
                if (client.port() != from.port())
                    back_ = bound(AF_INET, SOCK_DGRAM);
                if (packet[1] <= 2)
                    server = socket_address(AF_INET, "127.0.0.1", server_port_);
                client = from;
                pass(back_, {packet, static_cast<size_t>(size)}, server);
            }
            from.size = sizeof from.storage;
            size = ombrel_recvfrom(back_, packet, sizeof packet, from.get(), &from.size, 0);
            if (size > 0) {
                server = from;
                pass(front_, {packet, static_cast<size_t>(size)}, client);
            }
        }
    }

    struct held_packet {
        int socket = -1;
        std::string packet;
        socket_address to;
        bool empty() const { return packet.empty(); }
    };
    int server_port_;
    uint32_t state_;
    owned_socket front_ = bound(AF_INET, SOCK_DGRAM), back_ = bound(AF_INET, SOCK_DGRAM),
                 stranger_ = bound(AF_INET, SOCK_DGRAM);
    held_packet held_;
    std::atomic<bool> over_{false};
    std::thread thread_;
};

TEST_F(TftpServer, MovesFilesOverABadNetwork) {
    options_.m_flags = write | overwrite;
    options_.m_retry_ms = client_options_.m_retry_ms = 10;
    options_.m_tries = client_options_.m_tries = 1000;
    start();
    client_options_.m_block_size = 512;
    for (const uint32_t seed : {1u, 2u, 3u}) {
        client_options_.m_window_size = static_cast<int>(seed * seed);
        const bad_network network(port_, seed);
        const std::string bytes = varied_bytes(512 * 40 * seed), name = std::to_string(seed);
        std::string back;
        EXPECT_EQ(0, put(network.port(), name, bytes));
        EXPECT_TRUE(bytes == directory_.read(name));
        EXPECT_EQ(0, get(network.port(), name, back));
        EXPECT_TRUE(bytes == back);
    }
}

/// Plays clients, packet by packet.
class TftpServerScript : public TftpServer {
protected:
    /// "|" stands for a zero.
    static std::string packet(char opcode, std::string text) {
        std::replace(text.begin(), text.end(), '|', '\0');
        return std::string{0, opcode} + text;
    }
    static std::string read_of(const std::string& rest) { return packet(1, rest); }
    static std::string write_of(const std::string& rest) { return packet(2, rest); }
    static std::string block(int number, const std::string& body) {
        return packet(3, {static_cast<char>(number >> 8), static_cast<char>(number)}) + body;
    }
    static std::string ack(char number) { return {0, 4, 0, number}; }
    static std::string failed(char code) { return {0, 5, 0, code}; }

    std::string ask(int s, const std::string& what, int port, const char* host = "127.0.0.1") {
        socket_address to(strchr(host, ':') != nullptr ? AF_INET6 : AF_INET, host, port);
        ombrel_sendto(s, what.data(), what.size(), to.get(), to.size, 0);
        return take(s);
    }
    /// The text of errors is left out.
    std::string take(int s) {
        char bytes[70000];
        from_.size = sizeof from_.storage;
        const int size = ombrel_recvfrom(s, bytes, sizeof bytes, from_.get(), &from_.size, patience_ms);
        const std::string all(bytes, size > 0 ? static_cast<size_t>(size) : 0);
        return all.starts_with(failed(0).substr(0, 2)) ? all.substr(0, 4) : all;
    }
    /// Sends packets, the first to the server, the others to its transfer, and compares what each is answered
    /// by; nothing is to come for an empty answer, and none is left at the end.
    void play(const std::string& name, const std::vector<std::string>& packets) {
        SCOPED_TRACE(name);
        const owned_socket s = bound(AF_INET, SOCK_DGRAM);
        int to = port_;
        for (size_t i = 0; i < packets.size(); i += 2) {
            socket_address peer(AF_INET, "127.0.0.1", to);
            ombrel_sendto(s, packets[i].data(), packets[i].size(), peer.get(), peer.size, 0);
            if (packets[i + 1].empty())
                continue;
            EXPECT_EQ(packets[i + 1], take(s)) << i;
            if (from_.port() != port_)
                to = from_.port();
        }
        if (to == port_) // what is no request gets no answer, so that this one's comes first
            EXPECT_EQ(failed(4), ask(s, read_of(""), port_));
        else // likewise
            EXPECT_EQ(failed(4), ask(s, read_of(""), port_)) << "to its transfer";
    }

    socket_address from_;
};

TEST_F(TftpServerScript, RefusesWhatLeavesTheDirectoryOrIsNoRequest) {
    directory_.write("file", "text");
    EXPECT_EQ(0, make_directory(directory_ / "folder"));
    directory_.write("folder"s + separator + "inner", "inside");
    scratch_directory outside;
    outside.write("secret", "secret");
    options_.m_address_limit = options_.m_transfer_limit = 100;
    start();
    const std::string octet = "|octet|", data = block(1, "text");
    for (const auto& name : texts("../secret", "folder/../file", "..", ".", "folder/..", "/etc/passwd",
                                  outside / "secret", "none", "folder/none", "folder/none/none", "\\file",
                                  "..\\secret", "C:/file", "C:file", "file/inner", "fi\nle", "folder\\inner"))
        play(name, {read_of(name + octet), failed(1)});
    play("a folder", {read_of("folder|octet|"), failed(2)});
    play("nobody writes", {write_of("folder/none/new|octet|"), failed(1)});
#if !defined(_WIN32)
    EXPECT_EQ(0, symlink((outside / "secret").c_str(), (directory_ / "link").c_str()));
    EXPECT_EQ(0, symlink(outside.path().c_str(), (directory_ / "door").c_str()));
    EXPECT_EQ(0, symlink("file", (directory_ / "near").c_str()));
    EXPECT_EQ(0, mkfifo((directory_ / "pipe").c_str(), 0600));
    for (const auto& name : texts("link", "near", "pipe"))
        play(name, {read_of(name + octet), failed(2), write_of(name + octet), failed(2)});
    const std::string refused = ask(bound(AF_INET, SOCK_DGRAM), read_of("door/secret|octet|"), port_);
    EXPECT_TRUE(refused == failed(1) || refused == failed(2));
    play("a write through a link", {write_of("door/new|octet|"), failed(1)});
#endif
    const struct {
        const char* name;
        std::string request, answer;
    } cases[] = {
        {"plain", read_of("file|octet|"), data},
        {"in a folder, in capitals", read_of("folder/inner|OCTET|"), block(1, "inside")},
        {"from the directory", read_of("/file|netascii|"), data},
        {"mail", read_of("file|mail|"), failed(4)},
        {"no mode", read_of("file|"), failed(4)},
        {"no end", read_of("file|octet"), failed(4)},
        {"no name", read_of("|octet|"), failed(4)},
        {"nothing", read_of(""), failed(4)},
        {"long", read_of(std::string(600, 'x') + octet), failed(4)},
        {"an option twice", read_of("file|octet|blksize|8|BLKSIZE|9|"), failed(8)},
        {"no value", read_of("file|octet|blksize|"), failed(8)},
        {"no end of it", read_of("file|octet|blksize|8"), failed(8)},
        {"too small", read_of("file|octet|blksize|7|"), data},
        {"too large", read_of("file|octet|blksize|65465|"), data},
        {"no number", read_of("file|octet|blksize|+8|timeout|1.0|tsize|-1|"), data},
        {"no window", read_of("file|octet|windowsize|0|"), data},
        {"no time", read_of("file|octet|timeout|0|"), data},
        {"too long", read_of("file|octet|timeout|31|"), data},
        {"unknown", read_of("file|octet|colour|red|"), data},
        {"some", read_of("file|octet|colour|red|tsize|9|blksize|9|"), packet(6, "blksize|9|tsize|4|")},
        {"all", read_of("file|octet|windowsize|65535|blksize|65464|timeout|2|"),
         packet(6, "blksize|65464|timeout|2|windowsize|2|")},
        {"a text's size", read_of("file|netascii|tsize|0|"), data},
        {"an empty packet", "", ""},
        {"half an opcode", "\1", ""},
        {"data", block(1, "x"), ""},
        {"an acknowledgement", ack(0), ""},
        {"an error", failed(1), ""},
        {"options", packet(6, "blksize|8|"), ""},
        {"opcode 9", packet(9, "x"), ""},
        {"opcode 257", "\1\1file|octet|", ""}};
    for (const auto& each : cases)
        play(each.name, {each.request, each.answer});
}

TEST_F(TftpServerScript, ServesReadersThatErr) {
    directory_.write("file", std::string(512, 'a') + std::string(512, 'b') + "c");
    options_.m_address_limit = options_.m_transfer_limit = 100;
    start();
    const std::string request = read_of("file|octet|"), a = block(1, std::string(512, 'a')),
                      b = block(2, std::string(512, 'b')), c = block(3, "c");
    const auto eight = [](int number, char byte) { return block(number, std::string(8, byte)); };
    play("all", {request, a, ack(1), b, ack(2), c, ack(3), ""});
    play("twice", {request, a, ack(1), b, ack(1), "", ack(2), c, ack(2), "", ack(1), "", ack(3), ""});
    play("early", {request, a, ack(2), "", ack(3), "", packet(4, "|"), "", ack(1), b, ack(3), "", ack(2), c});
    play("other packets", {request, a, block(1, "x"), "", packet(6, "blksize|8|"), "", "\1", "", ack(1), b});
    play("an error", {request, a, failed(0), "", ack(1), ""});
    expect_log("get file 512 rejected");
    play("options", {read_of("file|octet|blksize|8|"), packet(6, "blksize|8|"), ack(1), "", ack(0),
                     eight(1, 'a'), ack(0), "", ack(1), eight(2, 'a')});
    play("options refused", {read_of("file|octet|blksize|8|"), packet(6, "blksize|8|"), failed(8), ""});
    // A window: what is behind the acknowledged block goes again, with what follows it.
    const owned_socket s = bound(AF_INET, SOCK_DGRAM);
    EXPECT_EQ(packet(6, "blksize|512|windowsize|2|"),
              ask(s, read_of("file|octet|blksize|512|windowsize|2|"), port_));
    const int transfer = from_.port();
    EXPECT_EQ(a, ask(s, ack(0), transfer));
    EXPECT_EQ(b, take(s));
    EXPECT_EQ(b, ask(s, ack(1), transfer));
    EXPECT_EQ(c, take(s));
    // Others change nothing; they are told so, unless what they send is an error.
    const owned_socket stranger = bound(AF_INET, SOCK_DGRAM);
    const std::string error = failed(0);
    ombrel_sendto(stranger, error.data(), error.size(), from_.get(), from_.size, 0);
    EXPECT_EQ(failed(5), ask(stranger, ack(3), transfer));
    EXPECT_EQ(failed(4), ask(s, read_of(""), port_)) << "nothing else came";
}

TEST_F(TftpServerScript, StoresWholeFilesAlone) {
    directory_.write("old", "old");
    EXPECT_EQ(0, make_directory(directory_ / "folder"));
    options_.m_upload_limit = 1000;
    start();
    const std::string full(512, 'x'), none;
    play("all", {write_of("new|octet|"), ack(0), block(1, full), ack(1), block(2, "end"), ack(2),
                 block(2, "end"), ack(2), block(3, ""), ""});
    EXPECT_EQ(full + "end", directory_.read("new"));
    play("in a folder", {write_of("folder/new|octet|blksize|8|tsize|3|"), packet(6, "blksize|8|tsize|3|"),
                         block(1, "abc"), ack(1)});
    EXPECT_EQ("abc", directory_.read("folder"s + separator + "new"));
    play("as large as is allowed", {write_of("largest|octet|tsize|1000|"), packet(6, "tsize|1000|"),
                                    block(1, full), ack(1), block(2, std::string(488, 'y')), ack(2)});
    EXPECT_EQ(full + std::string(488, 'y'), directory_.read("largest"));
    play("twice, early, late",
         {write_of("odd|octet|"), ack(0), block(2, full), "", block(0, full), "", block(1, full), ack(1),
          block(1, full), ack(1), block(3, ""), "", block(2, ""), ack(2)});
    EXPECT_EQ(full, directory_.read("odd"));
    const struct {
        const char* name;
        std::vector<std::string> packets;
    } cases[] = {
        {"exists", {write_of("old|octet|"), failed(6)}},
        {"a folder", {write_of("folder|octet|"), failed(2)}},
        {"announced too large", {write_of("x|octet|tsize|1001|"), failed(3)}},
        {"too large", {write_of("x|octet|"), ack(0), block(1, full), ack(1), block(2, full), failed(3)}},
        {"a block too long", {write_of("x|octet|"), ack(0), block(1, full + "x"), failed(4)}},
        {"given up", {write_of("x|octet|"), ack(0), block(1, full), ack(1), failed(0), "", block(2, ""), ""}},
        {"no data", {write_of("x|octet|"), ack(0)}},
        {"no name", {write_of("folder/|octet|"), failed(2)}},
        {"above", {write_of("../x|octet|"), failed(1)}},
        {"the folder above", {write_of("folder/..|octet|"), failed(2)}},
        {"a control character", {write_of("a\x1b[1m|octet|"), failed(2)}}};
    for (const auto& each : cases)
        play(each.name, each.packets);
    // One that came meanwhile stays.
    const owned_socket s = bound(AF_INET, SOCK_DGRAM);
    EXPECT_EQ(ack(0), ask(s, write_of("race|octet|"), port_));
    const int transfer = from_.port();
    EXPECT_EQ(ack(1), ask(s, block(1, full), transfer));
    directory_.write("race", "first");
    EXPECT_EQ(failed(6), ask(s, block(2, "end"), transfer));
    EXPECT_EQ("first", directory_.read("race"));
    expect_log("put x 512 too_large");
    expect_log("put race 515 exists");
    stop();
    ombrel_directory_t* const directory = ombrel_open_directory(directory_.path().c_str());
    ombrel_directory_entry_t entry;
    size_t left = 0;
    while (ombrel_directory_next(directory, &entry) == 1)
        left++;
    ombrel_close_directory(directory);
    EXPECT_EQ(6u, left) << "folder, largest, new, odd, old and race";
}

TEST_F(TftpServerScript, LimitsTransfersAndWhatForgedRequestsGet) {
    directory_.write("file", std::string(600, 'a'));
    options_.m_address_limit = 2;
    options_.m_retry_ms = 400; // who has not been heard of is sent nothing again all the same
    options_.m_tries = 2;
    options_.m_request_handler = [](auto*, const ombrel_tftp_transfer_t* transfer, void*) {
        return transfer->m_name == "guarded"s ? 1 : 0;
    };
    start();
    const std::string request = read_of("file|octet|"), first = block(1, std::string(512, 'a'));
    play("guarded", {read_of("guarded|octet|"), failed(2)});
    const owned_socket one = bound(AF_INET, SOCK_DGRAM), two = bound(AF_INET, SOCK_DGRAM),
                       three = bound(AF_INET, SOCK_DGRAM);
    EXPECT_EQ(first, ask(one, request, port_));
    expect_log("get file 512 timed_out");
    EXPECT_EQ(failed(4), ask(one, read_of(""), port_)) << "it was sent once";
    // One that is there is sent it as often as it is told.
    EXPECT_EQ(first, ask(one, request, port_));
    EXPECT_EQ(block(2, std::string(88, 'a')), ask(one, ack(1), from_.port()));
    EXPECT_EQ(block(2, std::string(88, 'a')), take(one));
    EXPECT_EQ(failed(0), take(one));
    stop();
    options_.m_retry_ms = 20000;
    start();
    EXPECT_EQ(first, ask(one, request, port_));
    EXPECT_EQ(first, ask(one, request, port_)) << "a request that came again";
    EXPECT_EQ(first, ask(two, request, port_));
    EXPECT_EQ(failed(0), ask(three, request, port_)) << "two of one address go on";
    EXPECT_EQ(ack(0), ask(two, write_of("other|octet|"), port_)) << "in place of its first";
    EXPECT_EQ(ack(1), ask(two, block(1, ""), from_.port()));
    EXPECT_EQ(first, ask(three, request, port_)) << "what lingers does not count";
    ombrel_tftp_server_counts_t counts;
    pause();
    EXPECT_EQ(0, ombrel_tftp_server_get_counts(server_, &counts));
    EXPECT_EQ(5u, counts.m_requests);
    EXPECT_EQ(1u, counts.m_refused);
    EXPECT_EQ(1u, counts.m_stored);
    EXPECT_EQ(2u, counts.m_transfers);
}

TEST_F(TftpServerScript, CountsANetworkOfIpv6AsOneAddress) {
    if (!has_ipv6())
        GTEST_SKIP() << "no IPv6";
    directory_.write("file", "a");
    options_.m_address_limit = 1;
    start("::");
    const std::string request = read_of("file|octet|"), first = block(1, "a");
    const owned_socket six = bound(AF_INET6, SOCK_DGRAM), seven = bound(AF_INET6, SOCK_DGRAM),
                       four = bound(AF_INET, SOCK_DGRAM), five = bound(AF_INET, SOCK_DGRAM);
    EXPECT_EQ(first, ask(six, request, port_, "::1"));
    EXPECT_EQ(failed(0), ask(seven, request, port_, "::1"));
    EXPECT_EQ(first, ask(four, request, port_)) << "though the bits before IPv4's are the same";
    EXPECT_EQ(failed(0), ask(five, request, port_));
}

TEST_F(TftpServerScript, StoresNothingUnlessItMay) {
    options_.m_flags = 0;
    start();
    play("a new file", {write_of("new|octet|"), failed(2)});
    EXPECT_EQ(0, ombrel_file_exists((directory_ / "new").c_str()));
}

TEST_F(TftpServer, TakesManySmallFilesInARow) {
    options_.m_transfer_limit = options_.m_address_limit = 2;
    start();
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(0, put(port_, "file" + std::to_string(i), std::to_string(i))) << i;
    pause();
    ombrel_tftp_server_counts_t counts;
    EXPECT_EQ(0, ombrel_tftp_server_get_counts(server_, &counts));
    EXPECT_EQ(8u, counts.m_stored);
    EXPECT_EQ(0u, counts.m_failed);
    EXPECT_EQ("7", directory_.read("file7"));
}

TEST_F(TftpServer, ListensAtNoMoreAddressesThanItHasRoomFor) {
    start();
    pause();
    for (int i = 1; i < 16; i++)
        EXPECT_GT(ombrel_tftp_server_listen(server_, "127.0.0.1", 0), 0) << i;
    for (const char* const address : {"127.0.0.1", "localhost"})
        expect_refused({[&] { return ombrel_tftp_server_listen(server_, address, 0); }},
                       def_ombrel_fault_too_large);
}

TEST_F(TftpServer, IsNotClosedByItsHandler) {
    options_.m_request_handler = [](ombrel_tftp_server_t* server, const ombrel_tftp_transfer_t*, void*) {
        expect_refused({[=] { return ombrel_close_tftp_server(server); }}, def_ombrel_fault_busy);
        return 0;
    };
    start();
    EXPECT_EQ(0, put(port_, "file", "x"));
}

TEST_F(TftpServerScript, StopsWhenTransfersHaveEndedOrTheirTimeHas) {
    directory_.write("file", std::string(600, 'a'));
    const std::string request = read_of("file|octet|");
    for (const int limit_ms : {-1, 50, 0}) {
        start();
        const owned_socket s = bound(AF_INET, SOCK_DGRAM);
        EXPECT_EQ(516u, ask(s, request, port_).size());
        const int transfer = from_.port();
        EXPECT_EQ(92u, ask(s, ack(1), transfer).size());
        pause();
        std::atomic<bool> stopped{false};
        const auto note = [](auto*, void* context) { *static_cast<std::atomic<bool>*>(context) = true; };
        EXPECT_EQ(0, ombrel_tftp_server_stop(server_, limit_ms, note, &stopped));
        EXPECT_EQ(-1, ombrel_tftp_server_stop(server_, limit_ms, note, &stopped));
        EXPECT_EQ(-1, ombrel_tftp_server_listen(server_, "127.0.0.1", 0));
        run();
        if (limit_ms == -1) {
            EXPECT_FALSE(stopped);
            const std::string last = ack(2);
            ombrel_sendto(s, last.data(), last.size(), from_.get(), from_.size, 0);
        } else {
            EXPECT_EQ(failed(0), take(s));
        }
        while (!stopped)
            ombrel_load_balance_short();
        stop();
        EXPECT_EQ("get file 600 "s + (limit_ms == -1 ? "none\n" : "closed\n"), std::exchange(log_, ""));
    }
}

TEST_F(TftpServer, ListensAtSeveralAddresses) {
    start("localhost");
    EXPECT_EQ(0, put(port_, "four", "4"));
    if (has_ipv6()) {
        EXPECT_EQ(0, put(port_, "six", "6", "::1"));
        EXPECT_EQ("6", directory_.read("six"));
    }
    pause();
    char* const url = ombrel_alloc_tftp_server_url(server_, 0);
    EXPECT_EQ("tftp://127.0.0.1:" + std::to_string(port_) + "/", url);
    ombrel_free(url);
    EXPECT_EQ(nullptr, ombrel_alloc_tftp_server_url(server_, 1));
    EXPECT_EQ(-1, ombrel_tftp_server_listen(server_, "127.0.0.1", port_));
    EXPECT_EQ(def_ombrel_fault_address_in_use, ombrel_last_fault());
    for (const char* bad : {"", "nowhere", "256.0.0.1"})
        EXPECT_EQ(-1, ombrel_tftp_server_listen(server_, bad, 0));
}

TEST_F(TftpServer, LimitsItsClient) {
    start();
    directory_.write("file", varied_bytes(5000));
    std::string bytes;
    client_options_.m_size_limit = 4999;
    EXPECT_EQ(def_ombrel_fault_too_large, get(port_, "file", bytes));
    client_options_.m_mode = def_ombrel_tftp_netascii; // the size is not told beforehand
    EXPECT_EQ(def_ombrel_fault_too_large, get(port_, "file", bytes));
    EXPECT_EQ(def_ombrel_fault_not_found, get(port_, "none", bytes));
    client_options_.m_whole_ms = 50;
    EXPECT_EQ(def_ombrel_fault_timed_out, get(own_port(bound(AF_INET, SOCK_DGRAM)), "file", bytes));
    ombrel_tftp_t* const tftp = ombrel_open_tftp(nullptr);
    const auto leave = [](const void*, size_t, void*) { return 42; };
    EXPECT_EQ(42, ombrel_tftp_retrieve(tftp, "127.0.0.1", port_, "file", leave, nullptr));
    const auto give_up = [](void*, size_t, void*) { return int64_t{-1}; };
    EXPECT_EQ(-1, ombrel_tftp_store(tftp, "127.0.0.1", port_, "half", -1, give_up, nullptr));
    EXPECT_EQ("", directory_.read("half"));
    EXPECT_EQ(-1, ombrel_tftp_read(tftp, bytes.data(), 1, 0));
    EXPECT_EQ(-1, ombrel_tftp_finish(tftp));
    // Pieces of the caller's size.
    EXPECT_EQ(0, ombrel_tftp_open_read(tftp, "127.0.0.1", port_, "file"));
    EXPECT_EQ(5000, ombrel_tftp_get_size(tftp));
    EXPECT_EQ(1, ombrel_tftp_wait(tftp, patience_ms));
    bytes.resize(5000);
    EXPECT_EQ(1, ombrel_tftp_read(tftp, bytes.data(), 1, patience_ms));
    EXPECT_EQ(-1, ombrel_tftp_write(tftp, "x", 1, 0));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_close_tftp(tftp));
}

} // namespace
} // namespace ombrel_test
