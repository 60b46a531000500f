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
            return "failed";
        std::string bytes;
        char part[1000];
        ptrdiff_t count = 0;
        while ((count = client_.read(part, sizeof part, patience_ms)) > 0)
            bytes.append(part, static_cast<size_t>(count));
        return count == 0 ? bytes : "failed";
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

TEST_P(TftpSizes, AreStored) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server;
    const std::string bytes = varied_bytes(GetParam().file_size);
    request_.block_size = GetParam().block_size;
    request_.size = bytes.size();
    ASSERT_TRUE(store(server.port(), server.directory / "file", bytes)) << client_.error().text();
    EXPECT_EQ(bytes, server.directory.read("file"));
}

TEST_P(TftpSizes, AreFetched) {
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

TEST_F(TftpClient, DoesWithoutOptionsThatAreRefused) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server({"--refuse", "blksize", "--refuse", "tsize", "--refuse", "timeout"});
    server.directory.write("file", varied_bytes(1300));
    EXPECT_EQ(varied_bytes(1300), fetch(server.port(), server.directory / "file"));
    EXPECT_FALSE(client_.size());
}

TEST_F(TftpClient, MakesUpForLosses) {
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

TEST_F(TftpClient, AsksASilentHostAsOftenAsItIsTold) {
    request_.interval_ms = 1;
    for (const unsigned tries : {0u, 1u, 3u}) {
        const owned_socket silent = bound(AF_INET, SOCK_DGRAM);
        request_.tries = tries;
        EXPECT_FALSE(open(own_port(silent), "file"));
        EXPECT_EQ(fault_code::timed_out, client_.error().fault());
        char packet[600];
        unsigned asked = 0;
        while (ombrel_recv(silent, packet, sizeof packet, 0) > 0)
            asked++;
        EXPECT_EQ(std::max(tries, 1u), asked);
    }
}

TEST_F(TftpClient, RefusesWhatItCannotAskFor) {
    const struct {
        std::string name;
        size_t block_size;
        fault_code fault;
    } cases[] = {{"", 512, fault_code::invalid},
                 {std::string(512, 'x'), 512, fault_code::invalid},
                 {"file", 7, fault_code::rejected},
                 {"file", 65465, fault_code::rejected}};
    for (const auto& each : cases) {
        request_.block_size = each.block_size;
        EXPECT_FALSE(open(1, each.name));
        EXPECT_EQ(each.fault, client_.error().fault()) << client_.error().text();
        EXPECT_FALSE(client_.close());
    }
}

// With the tries of the fixture these would take minutes.
TEST_F(TftpClient, OpensWithinItsLimit) {
    const owned_socket silent = bound(AF_INET, SOCK_DGRAM);
    request_.limit_ms = 50;
    EXPECT_FALSE(open(own_port(silent), "file"));
    EXPECT_EQ(fault_code::timed_out, client_.error().fault());
}

struct exchange {
    std::string given, answer; ///< an empty one is not waited for
};

// Plays the server of one transfer, packet by packet.
class TftpScript : public TftpClient {
protected:
    /// Runs the client in a thread while the script plays the server.
    void play(const std::function<void()>& client, const std::function<void()>& script) {
        std::thread thread(client);
        asked_ = take();
        script();
        thread.join();
    }
    /// Compares answers up to the text of an error.
    void exchange_all(const std::vector<exchange>& exchanges, const char* name) {
        for (const exchange& each : exchanges) {
            give(each.given);
            if (each.answer.empty())
                continue;
            std::string answer;
            do // a slow host's client may ask again
                answer = take();
            while (answer == asked_);
            EXPECT_EQ(each.answer,
                      answer.substr(0, answer.substr(0, 2) == failed(0).substr(0, 2) ? 4 : answer.npos))
                << name;
        }
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
    static std::string failed(char code, const std::string& text = "") {
        return std::string{0, 5, 0, code} + text;
    }
    /// An answer to options whose list is written with "|" for zero bytes.
    static std::string granted(std::string options) {
        std::replace(options.begin(), options.end(), '|', '\0');
        return std::string{0, 6} + options;
    }
    /// A request, likewise.
    std::string request(std::string options) const {
        std::replace(options.begin(), options.end(), '|', '\0');
        return std::string{0, request_.write ? '\2' : '\1'} + std::string("file\0octet\0", 11) + options;
    }

    owned_socket server_ = bound(AF_INET, SOCK_DGRAM);
    socket_address peer_;
    std::string asked_; ///< the packet with which a transfer began
};

TEST_F(TftpScript, ReadsWhatComes) {
    const std::string all = "blksize|1428|timeout|20|tsize|0|";
    const struct {
        const char* name;
        std::vector<exchange> exchanges;
        std::string file; ///< or "failed"
        fault_code fault = fault_code::none;
        std::optional<uint64_t> size = {};
    } cases[] = {
        {"options, and packets that come twice, too early or are none",
         {{granted("BLKSIZE|8|tsize|11|timeout|20|"), acknowledged(0)},
          {granted("blksize|8|"), acknowledged(0)},
          {block(0, 8), ""},
          {block(2, 8), ""},
          {acknowledged(1), ""},
          {"", ""},
          {block(1, 8), acknowledged(1)},
          {block(1, 8), acknowledged(1)},
          {granted("blksize|8|"), ""},
          {block(3, 8), ""},
          {block(2, 3), acknowledged(2)}},
         std::string(8, 1) + std::string(3, 2),
         fault_code::none,
         11},
        {"no options",
         {{block(1, 512), acknowledged(1)}, {block(2, 0), acknowledged(2)}},
         std::string(512, 1)},
        {"a size alone",
         {{granted("tsize|3|"), acknowledged(0)}, {block(1, 3), acknowledged(1)}},
         std::string(3, 1),
         fault_code::none,
         3},
        {"nothing", {{block(1, 0), acknowledged(1)}}, ""},
        {"a late error", {{block(1, 3), acknowledged(1)}, {failed(0, "late"), ""}}, std::string(3, 1)},
        {"an error in the middle",
         {{block(1, 512), acknowledged(1)}, {failed(3), ""}},
         "failed",
         fault_code::no_space},
        {"larger blocks", {{granted("blksize|1429|"), failed(8)}}, "failed", fault_code::violation},
        {"too small blocks", {{granted("blksize|7|"), failed(8)}}, "failed", fault_code::violation},
        {"another time", {{granted("timeout|21|"), failed(8)}}, "failed", fault_code::violation},
        {"another option", {{granted("windowsize|2|"), failed(8)}}, "failed", fault_code::violation},
        {"half an option", {{granted("tsize"), failed(8)}}, "failed", fault_code::violation},
        {"a long block", {{block(1, 513), failed(4)}}, "failed", fault_code::violation},
        {"longer than granted",
         {{granted("blksize|8|"), acknowledged(0)}, {block(1, 9), failed(4)}},
         "failed",
         fault_code::violation},
        {"no options known", {{failed(4), request("")}, {block(1, 3), acknowledged(1)}}, std::string(3, 1)},
        {"options refused",
         {{failed(8), request("")}, {granted("blksize|512|"), failed(8)}},
         "failed",
         fault_code::violation},
        {"refused again", {{failed(8), request("")}, {failed(8), ""}}, "failed", fault_code::rejected},
    };
    for (const auto& each : cases) {
        std::string fetched;
        play([&] { fetched = fetch(own_port(server_), "file"); },
             [&] { exchange_all(each.exchanges, each.name); });
        EXPECT_EQ(request(all), asked_) << each.name;
        EXPECT_EQ(each.file, fetched) << each.name;
        EXPECT_EQ(each.fault, client_.error().fault()) << each.name;
        EXPECT_EQ(each.size, client_.size()) << each.name;
        EXPECT_EQ(each.fault == fault_code::none, client_.close()) << each.name;
        EXPECT_EQ("", take(server_, 0)) << each.name;
    }
}

TEST_F(TftpScript, WritesWhatItIsGiven) {
    const auto eights = [](char number, size_t size) {
        return std::string{0, 3, 0, number} + std::string(size, 'x');
    };
    const exchange begin = {granted("blksize|8|"), eights(1, 8)};
    const struct {
        const char* name;
        size_t size;
        std::vector<exchange> exchanges;
        fault_code fault = fault_code::none;
    } cases[] = {
        {"a short end", 10, {begin, {acknowledged(1), eights(2, 2)}, {acknowledged(2), ""}}},
        {"an empty end", 8, {begin, {acknowledged(1), eights(2, 0)}, {acknowledged(2), ""}}},
        {"nothing", 0, {{acknowledged(0), eights(1, 0)}, {acknowledged(1), ""}}},
        {"no options",
         512,
         {{acknowledged(0), eights(1, 512)}, {acknowledged(1), eights(2, 0)}, {acknowledged(2), ""}}},
        {"packets that come twice, too early or are none",
         16,
         {begin,
          {acknowledged(0), ""},
          {acknowledged(2), ""},
          {block(1, 3), ""},
          {granted("blksize|8|"), ""},
          {acknowledged(1), eights(2, 8)},
          {acknowledged(1), ""},
          {acknowledged(2), eights(3, 0)},
          {acknowledged(3), ""}}},
        {"an error in the middle", 10, {begin, {failed(3), ""}}, fault_code::no_space},
        {"an error at the end", 3, {{acknowledged(0), eights(1, 3)}, {failed(6), ""}}, fault_code::exists},
        {"a size of nobody", 10, {{granted("tsize|10|"), failed(8)}}, fault_code::violation},
    };
    for (const auto& each : cases) {
        bool stored = false;
        play([&] { stored = store(own_port(server_), "file", std::string(each.size, 'x')); },
             [&] { exchange_all(each.exchanges, each.name); });
        EXPECT_EQ(request("blksize|1428|timeout|20|"), asked_) << each.name;
        EXPECT_EQ(each.fault == fault_code::none, stored) << each.name;
        EXPECT_EQ(each.fault, client_.error().fault()) << each.name << client_.error().text();
        EXPECT_FALSE(client_.size());
        client_.close();
        EXPECT_EQ("", take(server_, 0)) << each.name;
    }
}

TEST_F(TftpScript, AsksForOptionsThatDiffer) {
    const struct {
        size_t block_size;
        int interval_ms;
        std::optional<uint64_t> size;
        const char* options;
    } cases[] = {{512, 999, {}, ""},
                 {8, 1000, 0, "blksize|8|timeout|1|tsize|0|"},
                 {65464, 2999, 7, "blksize|65464|timeout|2|tsize|7|"},
                 {512, 256000, {}, "timeout|255|"}};
    for (const auto& each : cases) {
        request_.block_size = each.block_size;
        request_.interval_ms = each.interval_ms;
        request_.size = each.size;
        play([&] { EXPECT_FALSE(open(own_port(server_), "file", true)); }, [&] { give(failed(1)); });
        EXPECT_EQ(request(each.options), asked_);
    }
}

TEST_F(TftpScript, SaysWhyTheServerRefuses) {
    const struct {
        int code;
        fault_code fault;
        const char* text;
    } cases[] = {{0, fault_code::rejected, "the server ended the transfer"},
                 {1, fault_code::not_found, "file not found"},
                 {2, fault_code::access_denied, "access violation"},
                 {3, fault_code::no_space, "disk full"},
                 {5, fault_code::violation, "unknown transfer"},
                 {6, fault_code::exists, "file exists"},
                 {7, fault_code::access_denied, "no such user"},
                 {9, fault_code::rejected, "the server ended the transfer"},
                 {0, fault_code::rejected, "its own words"}};
    for (const auto& each : cases) {
        const bool is_own = each.text == std::string("its own words");
        play([&] { EXPECT_EQ("failed", fetch(own_port(server_), "file")); },
             [&] { give(failed(static_cast<char>(each.code), is_own ? each.text : "")); });
        EXPECT_EQ(each.fault, client_.error().fault());
        EXPECT_EQ(each.code, client_.error().peer_code());
        EXPECT_STREQ(each.text, client_.error().text());
    }
}

TEST_F(TftpScript, TellsStrangersSoAndIgnoresThem) {
    const owned_socket stranger = bound(AF_INET, SOCK_DGRAM), foreign(ombrel_open_udp_socket("127.0.0.2", 0));
    std::string fetched;
    play([&] { fetched = fetch(own_port(server_), "file"); },
         [&] {
             give(foreign, block(1, 3));
             EXPECT_EQ(failed(5), take(foreign).substr(0, 4));
             give(block(1, 512));
             EXPECT_EQ(acknowledged(1), take());
             give(stranger, failed(0, "not answered"));
             give(stranger, block(2, 3));
             EXPECT_EQ(failed(5), take(stranger).substr(0, 4));
             give(block(1, 512));
             EXPECT_EQ(acknowledged(1), take());
             give(block(2, 1));
             EXPECT_EQ(acknowledged(2), take());
         });
    EXPECT_EQ(std::string(512, 1) + std::string(1, 2), fetched);
    EXPECT_EQ("", take(stranger, 0));
}

TEST_F(TftpScript, IsClosedInTheMiddleAndAtTheEnd) {
    char bytes[600];
    play(
        [&] {
            ASSERT_TRUE(open(own_port(server_), "file"));
            EXPECT_EQ(5, client_.read(bytes, 5, patience_ms));
            EXPECT_EQ(-1, client_.write(bytes, 5, patience_ms)) << "it is read";
            EXPECT_EQ(507, client_.read(bytes, sizeof bytes, patience_ms));
            EXPECT_EQ(0, client_.wait(1));
            EXPECT_EQ(transfer_waited, client_.read(bytes, sizeof bytes, 1));
            EXPECT_TRUE(client_.close());
        },
        [&] {
            exchange_all({{block(1, 512), acknowledged(1)}, {"", failed(0)}}, "");
        });
    play([&] { ASSERT_TRUE(open(own_port(server_), "file")); },
         [&] {
             exchange_all({{block(1, 3), acknowledged(1)}}, "");
         });
    EXPECT_EQ(3, client_.read(bytes, sizeof bytes, patience_ms));
    EXPECT_EQ(1, client_.wait(0)) << "the end can be read";
    EXPECT_EQ(0, client_.read(bytes, sizeof bytes, 0));
    give(block(1, 3));
    EXPECT_TRUE(client_.close());
    EXPECT_EQ(acknowledged(1), take()) << "the other one was lost";
    EXPECT_TRUE(client_.close());
}

TEST_F(TftpScript, WritesNoMoreThanIsAcknowledged) {
    const std::string bytes(1500, 'x');
    play([&] { ASSERT_TRUE(open(own_port(server_), "file", true)); }, [&] { give(acknowledged(0)); });
    EXPECT_EQ(1, client_.wait(patience_ms));
    EXPECT_EQ(0, client_.write(bytes.data(), 0, 0));
    EXPECT_EQ(512, client_.write(bytes.data(), 1500, 1));
    EXPECT_EQ(0, client_.wait(1));
    EXPECT_EQ(transfer_waited, client_.write(bytes.data(), 1, 1));
    char byte;
    EXPECT_EQ(-1, client_.read(&byte, 1, 1)) << "it is written";
    EXPECT_FALSE(client_.error());
    give(failed(0));
    EXPECT_EQ(-1, client_.wait(patience_ms));
    EXPECT_EQ(-1, client_.write(bytes.data(), 1, 1));
    EXPECT_FALSE(client_.close());
}

TEST_F(TftpScript, LeavesAServerThatHasFallenSilent) {
    request_.interval_ms = 200;
    request_.tries = 3;
    play([&] { EXPECT_EQ("failed", fetch(own_port(server_), "file")); },
         [&] {
             std::vector<exchange> repeated(3, {"", acknowledged(1)});
             repeated[0].given = block(1, 512);
             repeated.push_back({"", failed(0)});
             exchange_all(repeated, "");
         });
    EXPECT_EQ(fault_code::timed_out, client_.error().fault());
}

TEST_F(TftpScript, ClosesWithinItsLimit) {
    request_.limit_ms = 2000;
    play(
        [&] {
            EXPECT_FALSE(store(own_port(server_), "file", "bytes"));
            EXPECT_EQ(fault_code::timed_out, client_.error().fault());
        },
        [&] { give(acknowledged(0)); });
}

} // namespace
} // namespace ombrel_test
