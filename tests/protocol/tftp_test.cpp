#include <functional>

#include "protocol/lossy_proxy.h"
#include "protocol/tftp/tftp.h"
#include "protocol/transfer_server.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"

namespace ombrel_test {

namespace {

using namespace ombrel::protocol;
using ombrel::fault_code;

constexpr int patience_ms = 60000;

class TftpClient : public balanced_test {
protected:
    TftpClient() {
        request_.host = "127.0.0.1";
        // Sent again so late that only a lost packet waits for it.
        request_.interval_ms = 20000;
    }
    ~TftpClient() override { client_.close(); }

    bool open(int port, const std::string& name, bool write = false) {
        request_.port = port;
        request_.name = name.c_str();
        request_.write = write;
        return client_.open(request_);
    }

    std::string fetch(int port, const std::string& name) {
        if (!open(port, name))
            return "not opened: " + std::string(client_.error().text());
        std::string bytes;
        char part[1000];
        ptrdiff_t count = 0;
        while ((count = client_.read(part, sizeof part, patience_ms)) > 0)
            bytes.append(part, static_cast<size_t>(count));
        return count == 0 ? bytes : "not read: " + std::string(client_.error().text());
    }

    bool store(int port, const std::string& name, const std::string& bytes) {
        if (!open(port, name, true))
            return false;
        for (size_t done = 0; done < bytes.size();) {
            const size_t part = std::min<size_t>(bytes.size() - done, 1000);
            const ptrdiff_t count = client_.write(bytes.data() + done, part, patience_ms);
            if (count <= 0)
                return false;
            done += static_cast<size_t>(count);
        }
        return client_.close();
    }

    descriptor_balance descriptors_;
    tftp_request request_;
    tftp_client client_;
};

struct sizes_case {
    size_t block_size, file_size;
};

class TftpSizes : public TftpClient, public ::testing::WithParamInterface<sizes_case> {};

TEST_P(TftpSizes, are_stored) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server;
    const std::string bytes = varied_bytes(GetParam().file_size);
    request_.block_size = GetParam().block_size;
    request_.size = bytes.size();
    ASSERT_TRUE(store(server.port(), server.directory / "file", bytes)) << client_.error().text();
    EXPECT_EQ(bytes, server.directory.read("file"));
}

TEST_P(TftpSizes, are_fetched) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server;
    const std::string bytes = varied_bytes(GetParam().file_size);
    server.directory.write("file", bytes);
    request_.block_size = GetParam().block_size;
    EXPECT_EQ(bytes, fetch(server.port(), server.directory / "file"));
    EXPECT_EQ(bytes.size(), client_.size());
}

// Files that end with a block and in one; the last passes the highest block number.
INSTANTIATE_TEST_SUITE_P(, TftpSizes,
                         ::testing::Values(sizes_case{1428, 0}, sizes_case{1428, 5 * 1428},
                                           sizes_case{512, 5 * 512 + 1}, sizes_case{65464, 200000},
                                           sizes_case{8, 65540 * 8 + 3}));

TEST_F(TftpClient, does_without_options_that_are_refused) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server({"--refuse", "blksize", "--refuse", "tsize", "--refuse", "timeout"});
    server.directory.write("file", varied_bytes(1300));
    EXPECT_EQ(varied_bytes(1300), fetch(server.port(), server.directory / "file"));
    EXPECT_FALSE(client_.size());
}

TEST_F(TftpClient, makes_up_for_losses) {
    OMBREL_NEEDS_TFTP_SERVER();
    // The server answers a repeated last block for only so long.
    const tftp_server server({"--retransmit", "1000000"});
    lossy_proxy proxy(server.port(), 7);
    request_.block_size = 1024;
    request_.interval_ms = 20;
    request_.tries = 600;
    const std::string bytes = varied_bytes(30000);
    ASSERT_TRUE(store(proxy.port(), server.directory / "file", bytes)) << client_.error().text();
    EXPECT_EQ(bytes, server.directory.read("file"));
    EXPECT_EQ(bytes, fetch(proxy.port(), server.directory / "file"));
    EXPECT_LT(10u, proxy.disturbed());
}

TEST_F(TftpClient, gives_up_on_a_silent_host) {
    const owned_socket silent = bound(AF_INET, SOCK_DGRAM);
    request_.interval_ms = 1;
    request_.tries = 3;
    EXPECT_FALSE(open(own_port(silent), "file"));
    EXPECT_EQ(fault_code::timed_out, client_.error().fault());
}

// With the tries of the fixture these would take minutes.
TEST_F(TftpClient, opens_within_its_limit) {
    const owned_socket silent = bound(AF_INET, SOCK_DGRAM);
    request_.limit_ms = 50;
    EXPECT_FALSE(open(own_port(silent), "file"));
    EXPECT_EQ(fault_code::timed_out, client_.error().fault());
}

// Plays the server of one transfer, packet by packet.
class TftpScript : public TftpClient {
protected:
    /// Runs the client in a thread while the script plays the server.
    void play(const std::function<void()>& client, const std::function<void()>& script) {
        std::thread thread(client);
        take();
        script();
        thread.join();
    }
    std::string take() { return take(server_); }
    std::string take(int s, int timeout_ms = patience_ms) {
        char packet[2000];
        peer_.size = sizeof peer_.storage;
        const int size = ombrel_recvfrom(s, packet, sizeof packet, peer_.get(), &peer_.size, timeout_ms);
        return {packet, size > 0 ? static_cast<size_t>(size) : 0};
    }
    void give(const std::string& packet) { give(server_, packet); }
    void give(int s, const std::string& packet) {
        ombrel_sendto(s, packet.data(), packet.size(), peer_.get(), peer_.size, 0);
    }
    static std::string block(char number, size_t size) {
        return std::string{0, 3, 0, number} + std::string(size, number);
    }
    static std::string acknowledged(char number) { return {0, 4, 0, number}; }

    owned_socket server_ = bound(AF_INET, SOCK_DGRAM);
    socket_address peer_;
};

TEST_F(TftpScript, an_unknown_transfer_is_told_so_and_ignored) {
    const owned_socket stranger = bound(AF_INET, SOCK_DGRAM);
    std::string fetched;
    play([&] { fetched = fetch(own_port(server_), "file"); },
         [&] {
             give(block(1, 512));
             EXPECT_EQ(acknowledged(1), take());
             give(stranger, block(2, 3));
             EXPECT_EQ((std::string{0, 5, 0, 5}), take(stranger).substr(0, 4));
             give(block(1, 512));
             EXPECT_EQ(acknowledged(1), take());
             give(block(2, 1));
             EXPECT_EQ(acknowledged(2), take());
         });
    EXPECT_EQ(std::string(512, 1) + std::string(1, 2), fetched);
}

TEST_F(TftpScript, a_late_error_takes_nothing_back) {
    std::string fetched;
    play([&] { fetched = fetch(own_port(server_), "file"); },
         [&] {
             give(block(1, 3));
             EXPECT_EQ(acknowledged(1), take());
             give(std::string("\0\5\0\0late", 9));
         });
    EXPECT_EQ(std::string(3, 1), fetched);
    EXPECT_TRUE(client_.close());
}

TEST_F(TftpScript, closes_within_its_limit) {
    request_.limit_ms = 2000;
    play(
        [&] {
            EXPECT_FALSE(store(own_port(server_), "file", "bytes"));
            EXPECT_EQ(fault_code::timed_out, client_.error().fault());
        },
        [&] { give(acknowledged(0)); });
}

TEST_F(TftpScript, repeated_acknowledgements_double_nothing) {
    bool stored = false;
    play([&] { stored = store(own_port(server_), "file", std::string(1024, 'x')); },
         [&] {
             for (char number = 0; number < 3; number++) {
                 for (int times = 0; times < 3; times++)
                     give(acknowledged(number));
                 EXPECT_EQ((std::string{0, 3, 0, static_cast<char>(number + 1)}), take().substr(0, 4));
             }
             give(acknowledged(3));
         });
    EXPECT_TRUE(stored);
    EXPECT_EQ("", take(server_, 0));
}

struct violation_case {
    std::string packet;
    char answer;
};

TEST_F(TftpScript, what_was_not_agreed_ends_the_transfer) {
    const violation_case cases[] = {
        {std::string("\0\6blksize\0002000\0", 15), 8},
        {std::string("\0\6blksize\0007\0", 12), 8},
        {std::string("\0\6windowsize\0002\0", 15), 8},
        {std::string("\0\6tsize", 7), 8},
        {block(1, 600), 4},
    };
    for (const violation_case& each : cases) {
        play([&] { EXPECT_FALSE(open(own_port(server_), "file")); },
             [&] {
                 give(each.packet);
                 EXPECT_EQ((std::string{0, 5, 0, each.answer}), take().substr(0, 4));
             });
        EXPECT_EQ(fault_code::violation, client_.error().fault());
        client_.close();
    }
}

} // namespace
} // namespace ombrel_test
