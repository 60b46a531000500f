#include <functional>

#include "network/loopback.h"
#include "protocol/tftp/tftp_client.h"
#include "protocol/transfer_server.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/texts.h"

namespace ombrel_test {

namespace {

using namespace ombrel::protocol;
using ombrel::fault_code;
using enum ombrel::fault_code;

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

TEST_F(TftpClient, StoresAndFetchesFilesOfAllSizes) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server;
    // Files that end with a block and in one; the last passes the highest block number.
    const std::pair<size_t, size_t> cases[] = {
        {1428, 0}, {1428, 5 * 1428}, {512, 5 * 512 + 1}, {65464, 200000}, {8, 65540 * 8 + 3}};
    for (const auto& [block_size, size] : cases) {
        const std::string bytes = varied_bytes(size), name = std::to_string(size);
        request_.block_size = block_size;
        request_.size = size;
        ASSERT_TRUE(store(server.port(), server.directory / name, bytes)) << client_.error().text();
        EXPECT_EQ(bytes, server.directory.read(name));
        EXPECT_EQ(bytes, fetch(server.port(), server.directory / name));
        EXPECT_EQ(size, client_.size());
    }
}

TEST_F(TftpClient, DoesWithoutOptionsThatAreRefused) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server({"--refuse", "blksize", "--refuse", "tsize", "--refuse", "timeout"});
    server.directory.write("file", varied_bytes(1300));
    EXPECT_EQ(varied_bytes(1300), fetch(server.port(), server.directory / "file"));
    EXPECT_FALSE(client_.size());
}

TEST_F(TftpClient, AsksASilentHostAsOftenAsItIsTold) {
    request_.interval_ms = 1;
    for (const unsigned tries : {0u, 1u, 3u}) {
        const owned_socket silent = bound(AF_INET, SOCK_DGRAM);
        request_.tries = tries;
        EXPECT_FALSE(open(own_port(silent), "file"));
        EXPECT_EQ(timed_out, client_.error().fault());
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
    } cases[] = {{"", 512, invalid},
                 {std::string(512, 'x'), 512, invalid},
                 {"file", 7, rejected},
                 {"file", 65465, rejected}};
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
    EXPECT_EQ(timed_out, client_.error().fault());
}

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
    /// Gives the first of each pair of packets; the second is the answer up to the text of an error, and an
    /// empty one is not waited for.
    void exchange(const std::vector<std::string>& packets) {
        for (size_t i = 0; i < packets.size(); i += 2) {
            give(packets[i]);
            if (packets[i + 1].empty())
                continue;
            std::string answer;
            do // a slow host's client may ask again
                answer = take();
            while (answer == asked_);
            EXPECT_EQ(packets[i + 1],
                      answer.starts_with(failed(0).substr(0, 2)) ? answer.substr(0, 4) : answer);
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
    const std::string all = "blksize|1428|timeout|20|tsize|0|", begin = granted("blksize|8|");
    const struct {
        const char* name;
        std::vector<std::string> packets;
        std::string file;
        std::optional<uint64_t> size = {};
    } cases[] = {
        {"options, and packets that come twice, too early or are none",
         texts(granted("BLKSIZE|8|tsize|11|timeout|20|"), acknowledged(0), begin, acknowledged(0),
               block(0, 8), "", block(2, 8), "", acknowledged(1), "", "", "", block(1, 8), acknowledged(1),
               block(1, 8), acknowledged(1), begin, "", block(3, 8), "", block(2, 3), acknowledged(2)),
         std::string(8, 1) + std::string(3, 2), 11},
        {"no options", texts(block(1, 512), acknowledged(1), block(2, 0), acknowledged(2)),
         std::string(512, 1)},
        {"a size", texts(granted("tsize|3|"), acknowledged(0), block(1, 3), acknowledged(1)), "\1\1\1", 3},
        {"nothing", texts(block(1, 0), acknowledged(1)), ""},
        {"a late error", texts(block(1, 3), acknowledged(1), failed(0, "late"), ""), "\1\1\1"},
        {"no options known", texts(failed(4), request(""), block(1, 3), acknowledged(1)), "\1\1\1"}};
    const auto expect = [&](const auto& packets, const std::string& file, fault_code fault) {
        std::string fetched;
        play([&] { fetched = fetch(own_port(server_), "file"); }, [&] { exchange(packets); });
        EXPECT_EQ(request(all), asked_);
        EXPECT_EQ(file, fetched);
        EXPECT_EQ(fault, client_.error().fault()) << client_.error().text();
        EXPECT_EQ(fault == none, client_.close());
        EXPECT_EQ("", take(server_, 0));
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        expect(each.packets, each.file, none);
        EXPECT_EQ(each.size, client_.size());
    }
    for (const std::string& bad :
         texts("blksize|1429|", "blksize|7|", "timeout|21|", "windowsize|2|", "tsize")) {
        SCOPED_TRACE(bad);
        expect(texts(granted(bad), failed(8)), "failed", violation);
    }
    expect(texts(block(1, 512), acknowledged(1), failed(3), ""), "failed", no_space);
    expect(texts(block(1, 513), failed(4)), "failed", violation);
    expect(texts(begin, acknowledged(0), block(1, 9), failed(4)), "failed", violation);
    expect(texts(failed(8), request(""), begin, failed(8)), "failed", violation);
    expect(texts(failed(8), request(""), failed(8), ""), "failed", rejected);
}

TEST_F(TftpScript, WritesWhatItIsGiven) {
    const auto eights = [](char number, size_t size) {
        return std::string{0, 3, 0, number} + std::string(size, 'x');
    };
    const std::string begin = granted("blksize|8|"), end;
    const struct {
        size_t size;
        std::vector<std::string> packets;
        fault_code fault = none;
    } cases[] = {
        {10, texts(begin, eights(1, 8), acknowledged(1), eights(2, 2), acknowledged(2), end)},
        {8, texts(begin, eights(1, 8), acknowledged(1), eights(2, 0), acknowledged(2), end)},
        {0, texts(acknowledged(0), eights(1, 0), acknowledged(1), end)},
        {512, texts(acknowledged(0), eights(1, 512), acknowledged(1), eights(2, 0), acknowledged(2), end)},
        // Packets that come twice, too early or are none.
        {16, texts(begin, eights(1, 8), acknowledged(0), "", acknowledged(2), "", block(1, 3), "", begin, "",
                   acknowledged(1), eights(2, 8), acknowledged(1), "", acknowledged(2), eights(3, 0),
                   acknowledged(3), end)},
        {10, texts(begin, eights(1, 8), failed(3), end), no_space},
        {3, texts(acknowledged(0), eights(1, 3), failed(6), end), exists},
        {10, texts(granted("tsize|10|"), failed(8)), violation}};
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        bool stored = false;
        play([&] { stored = store(own_port(server_), "file", std::string(each.size, 'x')); },
             [&] { exchange(each.packets); });
        EXPECT_EQ(request("blksize|1428|timeout|20|"), asked_);
        EXPECT_EQ(each.fault == none, stored);
        EXPECT_EQ(each.fault, client_.error().fault()) << client_.error().text();
        EXPECT_FALSE(client_.size());
        client_.close();
        EXPECT_EQ("", take(server_, 0));
    }
}

TEST_F(TftpScript, MovesWindowsOfBlocks) {
    request_.window_size = 2;
    const std::string begin = granted("blksize|8|windowsize|2|"), none;
    const struct {
        const char* name;
        std::vector<std::string> packets;
        std::string file;
        fault_code fault = fault_code::none;
    } cases[] = {
        {"whole",
         texts(begin, acknowledged(0), block(1, 8), "", block(2, 8), acknowledged(2), block(3, 2),
               acknowledged(3)),
         std::string(8, 1) + std::string(8, 2) + std::string(2, 3)},
        {"gaps are told once",
         texts(begin, acknowledged(0), block(2, 8), acknowledged(0), block(2, 8), "", block(3, 8), "",
               block(1, 8), "", block(1, 8), "", block(3, 8), acknowledged(1), block(2, 0), acknowledged(2)),
         std::string(8, 1)},
        {"too much", texts(granted("windowsize|3|"), failed(8)), "failed", violation},
        {"none", texts(granted("windowsize|0|"), failed(8)), "failed", violation},
        {"not granted",
         texts(granted("blksize|8|"), acknowledged(0), block(1, 8), acknowledged(1), block(3, 8), "",
               block(2, 0), acknowledged(2)),
         std::string(8, 1)}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        std::string fetched;
        play([&] { fetched = fetch(own_port(server_), "file"); }, [&] { exchange(each.packets); });
        EXPECT_EQ(request("blksize|1428|timeout|20|tsize|0|windowsize|2|"), asked_);
        EXPECT_EQ(each.file, fetched);
        EXPECT_EQ(each.fault, client_.error().fault()) << client_.error().text();
        client_.close();
        EXPECT_EQ("", take(server_, 0));
    }
    const auto eight = [](char number) { return std::string{0, 3, 0, number} + "xxxxxxxx"; };
    const std::string last = std::string{0, 3, 0, 4} + "x";
    play([&] { EXPECT_TRUE(store(own_port(server_), "file", std::string(25, 'x'))); },
         [&] {
             // The first block arrives alone, then all but the last.
             exchange(texts(begin, eight(1), none, eight(2), acknowledged(1), eight(2), none, eight(3),
                            acknowledged(1), none, acknowledged(3), last, acknowledged(2), none,
                            acknowledged(4), none));
         });
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
        char code;
        fault_code fault;
        const char *text, *given = "";
    } cases[] = {{0, rejected, "the server ended the transfer"},
                 {1, not_found, "file not found"},
                 {2, access_denied, "access violation"},
                 {3, no_space, "disk full"},
                 {5, violation, "unknown transfer"},
                 {6, exists, "file exists"},
                 {7, access_denied, "no such user"},
                 {9, rejected, "the server ended the transfer"},
                 {0, rejected, "its own words", "its own words"}};
    for (const auto& each : cases) {
        play([&] { EXPECT_EQ("failed", fetch(own_port(server_), "file")); },
             [&] { give(failed(each.code, each.given)); });
        EXPECT_EQ(each.fault, client_.error().fault());
        EXPECT_EQ(each.code, client_.error().peer_code());
        EXPECT_STREQ(each.text, client_.error().text());
    }
}

/// Whether what a socket sends comes from its own address, which not every emulation sees to.
bool shows_its_address(int s) {
    const owned_socket receiver = bound(AF_INET, SOCK_DGRAM);
    socket_address to = own_address(receiver), from;
    char byte;
    ombrel_sendto(s, "x", 1, to.get(), to.size, -1);
    ombrel_recvfrom(receiver, &byte, 1, from.get(), &from.size, patience_ms);
    return from.text() == own_address(s).text();
}

TEST_F(TftpScript, TellsStrangersSoAndIgnoresThem) {
    const owned_socket stranger = bound(AF_INET, SOCK_DGRAM), foreign(ombrel_open_udp_socket("127.0.0.2", 0));
    if (!shows_its_address(foreign))
        GTEST_SKIP() << "here all addresses of this machine are one";
    std::string fetched;
    const auto script = [&] {
        give(foreign, block(1, 3));
        EXPECT_EQ(failed(5), take(foreign).substr(0, 4));
        exchange({block(1, 512), acknowledged(1)});
        give(stranger, failed(0, "not answered"));
        give(stranger, block(2, 3));
        EXPECT_EQ(failed(5), take(stranger).substr(0, 4));
        exchange({block(1, 512), acknowledged(1), block(2, 1), acknowledged(2)});
    };
    play([&] { fetched = fetch(own_port(server_), "file"); }, script);
    EXPECT_EQ(std::string(512, 1) + std::string(1, 2), fetched);
    EXPECT_EQ("", take(stranger, 0));
}

TEST_F(TftpScript, IsClosedInTheMiddleAndAtTheEnd) {
    char bytes[600];
    const auto begin = [&] { ASSERT_TRUE(open(own_port(server_), "file")); };
    const auto leave = [&] {
        begin();
        EXPECT_EQ(5, client_.read(bytes, 5, patience_ms));
        EXPECT_EQ(-1, client_.write(bytes, 5, patience_ms)) << "it is read";
        EXPECT_EQ(507, client_.read(bytes, sizeof bytes, patience_ms));
        EXPECT_EQ(0, client_.wait(1));
        EXPECT_EQ(transfer_waited, client_.read(bytes, sizeof bytes, 1));
        EXPECT_TRUE(client_.close());
    };
    play(leave, [&] { exchange({block(1, 512), acknowledged(1), "", failed(0)}); });
    play(begin, [&] { exchange({block(1, 3), acknowledged(1)}); });
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

TEST_F(TftpScript, RepeatsItselfBeforeASilentServerUntilItLeaves) {
    request_.interval_ms = 200;
    request_.tries = 3;
    const std::string ack = acknowledged(1), data = std::string{0, 3, 0, 1} + "bytes";
    play([&] { EXPECT_EQ("failed", fetch(own_port(server_), "file")); },
         [&] {
             exchange({block(1, 512), ack, "", ack, "", ack, "", failed(0)});
         });
    EXPECT_EQ(timed_out, client_.error().fault());
    play([&] { EXPECT_FALSE(store(own_port(server_), "file", "bytes")); },
         [&] {
             exchange({acknowledged(0), data, "", data, "", data, "", failed(0)});
         });
    EXPECT_EQ(timed_out, client_.error().fault());
    play([&] { EXPECT_TRUE(store(own_port(server_), "file", "bytes")); },
         [&] {
             exchange({acknowledged(0), data, "", data, acknowledged(1), ""});
         });
}

TEST_F(TftpScript, ClosesWithinItsLimit) {
    request_.limit_ms = 2000;
    play([&] { EXPECT_FALSE(store(own_port(server_), "file", "bytes")); }, [&] { give(acknowledged(0)); });
    EXPECT_EQ(timed_out, client_.error().fault());
}

} // namespace
} // namespace ombrel_test
