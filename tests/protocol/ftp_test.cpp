// Replies of all kinds; real servers answer the streams of the built-in plug-in.
#include "protocol/ftp/ftp.h"
#include "protocol/scripted_ftp_server.h"
#include "support/descriptor_balance.h"
#include "support/error_output.h"
#include "support/fake_names.h"
#include "support/heap_balance.h"

namespace ombrel_test {

namespace {

using namespace ombrel::protocol;
using ombrel::fault_code;

constexpr int patience_ms = 60000;

class FtpClient : public balanced_test {
protected:
    FtpClient() {
        request_.host = "127.0.0.1";
        request_.path = "file";
        request_.limit_ms = patience_ms;
    }
    ~FtpClient() override { client_.close(); }

    bool open(int port) {
        request_.port = port;
        return client_.open(request_);
    }
    /// What comes up to the end; "failed" when that is not confirmed.
    std::string rest() {
        std::string bytes;
        char part[1000];
        ptrdiff_t count = 0;
        while ((count = client_.read(part, sizeof part, patience_ms)) > 0)
            bytes.append(part, static_cast<size_t>(count));
        return count == 0 ? bytes : "failed";
    }

    descriptor_balance descriptors_;
    ftp_request request_;
    ftp_client client_;
};

using changes = std::map<std::string, std::string>;

TEST_F(FtpClient, EndsAsTheServerSays) {
    const auto waits = [](size_t times) {
        std::string text;
        for (size_t i = 0; i < times; i++)
            text += "120 wait\r\n";
        return text;
    };
    const struct {
        const char* name;
        changes replies;
        fault_code fault;
        int peer_code = 0;
        data_end end = data_end::whole;
    } cases[] = {
        {"as usual", {}, fault_code::none},
        {"foreign address", {{"EPSV", "500 what\r\n"}}, fault_code::none},
        {"no brackets", {{"EPSV", "229 fine\r\n"}}, fault_code::violation},
        {"port of nobody", {{"EPSV", "229 (|||1|)\r\n"}}, fault_code::unreachable},
        {"short address", {{"EPSV", "500 \r\n"}, {"PASV", "227 (1,2,3,4,5)\r\n"}}, fault_code::violation},
        {"not passive", {{"EPSV", "500 \r\n"}, {"PASV", "502 \r\n"}}, fault_code::rejected, 502},
        {"busy", {{"", "421 come later\r\n"}}, fault_code::closed, 421},
        {"too early", {{"", "331 more\r\n"}}, fault_code::violation, 331},
        {"no code", {{"", "hello\r\n"}}, fault_code::violation},
        {"cut off", {{"", "220 hel!"}}, fault_code::closed},
        {"patient", {{"", waits(15) + "220 now\r\n"}}, fault_code::none},
        {"too patient", {{"", waits(16) + "220 now\r\n"}}, fault_code::violation},
        {"no password", {{"USER", "230 in\r\n"}}, fault_code::none},
        {"unwanted", {{"USER", "530 go\r\n"}}, fault_code::access_denied, 530},
        {"wrong password", {{"PASS", "530 no\r\n"}}, fault_code::access_denied, 530},
        {"another password", {{"PASS", "331 and\r\n"}}, fault_code::violation, 331},
        {"account", {{"PASS", "332 who\r\n"}}, fault_code::access_denied, 332},
        {"account at once", {{"USER", "332 who\r\n"}}, fault_code::access_denied, 332},
        {"no image", {{"TYPE", "504 no\r\n"}}, fault_code::rejected, 504},
        {"no size", {{"SIZE", "502 what\r\n"}}, fault_code::none},
        {"odd size", {{"SIZE", "213 many\r\n"}}, fault_code::none},
        {"size of what", {{"SIZE", "313 6\r\n"}}, fault_code::none},
        {"lost with the size", {{"SIZE", "213 5!"}}, fault_code::closed},
        {"comes short", {{"SIZE", "213 6\r\n"}}, fault_code::closed},
        {"has grown", {{"SIZE", "213 4\r\n"}}, fault_code::none},
        {"broken off", {{"RETR", "150 now\r\n426 cut\r\n"}}, fault_code::closed, 426},
        {"no room", {{"RETR", "150 now\r\n452 full\r\n"}}, fault_code::no_space, 452},
        {"more", {{"RETR", "150 now\r\n350 more\r\n"}}, fault_code::violation, 350},
        {"lost", {{"RETR", "150 now\r\n!"}}, fault_code::closed},
        {"data lost", {}, fault_code::closed, 0, data_end::reset},
        {"data lost for a reason",
         {{"RETR", "150 now\r\n552 full\r\n"}},
         fault_code::no_space,
         552,
         data_end::reset},
        {"no data connection", {{"RETR", "425 no\r\n"}}, fault_code::closed, 425},
        {"no login", {{"RETR", "430 no\r\n"}}, fault_code::access_denied, 430},
        {"needs account", {{"RETR", "532 no\r\n"}}, fault_code::access_denied, 532},
        {"missing", {{"RETR", "550 none\r\n"}}, fault_code::not_found, 550},
        {"name", {{"RETR", "553 no\r\n"}}, fault_code::access_denied, 553},
        {"no preliminary", {{"RETR", "226 done\r\n"}}, fault_code::violation, 226},
        {"silent greeting", {{"", ""}}, fault_code::timed_out},
        {"silent end", {{"RETR", "150 now\r\n"}, {"QUIT", ""}}, fault_code::timed_out},
    };
    for (const auto& each : cases) {
        const bool is_silent = std::string(each.name).starts_with("silent");
        request_.limit_ms = is_silent ? 200 : patience_ms;
        const scripted_ftp_server server(each.replies, each.end);
        const bool read = open(server.port()) && rest() == "hello";
        EXPECT_EQ(each.fault, client_.error().fault()) << each.name << ": " << client_.error().text();
        EXPECT_EQ(each.peer_code, client_.error().peer_code()) << each.name;
        EXPECT_EQ(each.fault == fault_code::none, read) << each.name;
        EXPECT_EQ(read, client_.close()) << each.name;
        char byte;
        EXPECT_EQ(read ? 0 : -1, client_.read(&byte, 1, 0)) << each.name << ": closed";
    }
}

TEST_F(FtpClient, KeepsWhatFitsOfAReply) {
    const scripted_ftp_server server({{"RETR", "550 " + std::string(300, 'x') + "\r\n"}});
    EXPECT_FALSE(open(server.port()));
    EXPECT_EQ(std::string(159, 'x'), client_.error().text());
    client_.close();
}

TEST_F(FtpClient, AsksForWhatIsWanted) {
    constexpr auto get = ftp_direction::retrieve, put = ftp_direction::store, add = ftp_direction::append;
    constexpr auto good = fault_code::none;
    const std::string in = "USER anonymous|PASS anonymous@|TYPE I|SIZE file|EPSV|";
    const struct {
        ftp_direction direction;
        std::string commands;
        fault_code fault;
        changes replies;
        uint64_t offset = 0;
        const char *user = nullptr, *password = nullptr;
    } cases[] = {
        {get, in + "RETR file|QUIT|", good, {}},
        {put, in + "STOR file|QUIT|", good, {}},
        {add, in + "APPE file|QUIT|", good, {}},
        {get, "USER me|PASS|TYPE I|SIZE file|EPSV|RETR file|QUIT|", good, {}, 0, "me"},
        {get, "USER me|PASS x y|TYPE I|SIZE file|EPSV|RETR file|QUIT|", good, {}, 0, "me", "x y"},
        {get, "USER anonymous|PASS x|TYPE I|SIZE file|EPSV|RETR file|QUIT|", good, {}, 0, nullptr, "x"},
        {get, "USER me|TYPE I|SIZE file|EPSV|RETR file|QUIT|", good, {{"USER", "230 in\r\n"}}, 0, "me", "x"},
        {get, in + "PASV|RETR file|QUIT|", good, {{"EPSV", "500 what\r\n"}}},
        {get, in + "REST 9223372036854775807|RETR file|QUIT|", good, {}, INT64_MAX},
        {put, in + "REST 2|STOR file|QUIT|", good, {}, 2},
        {get, in + "REST 2|RETR file|QUIT|", good, {{"SIZE", "213 7\r\n"}}, 2},
        {get, in + "REST 2|RETR file|QUIT|", fault_code::closed, {{"SIZE", "213 8\r\n"}}, 2},
        // What comes then is the file from its beginning, which is not to be taken for its end.
        {get, in + "REST 2|QUIT|", fault_code::rejected, {{"REST", "502 what\r\n"}}, 2},
        {get, in + "REST 2|QUIT|", fault_code::violation, {{"REST", "226 done\r\n"}}, 2},
        {put, in + "REST 2|QUIT|", fault_code::rejected, {{"REST", "502 what\r\n"}}, 2},
        {put, in + "STOR file|QUIT|", fault_code::no_space, {{"STOR", "150 now\r\n552 full\r\n"}}},
        {put, in + "STOR file|QUIT|", fault_code::access_denied, {{"STOR", "553 no\r\n"}}},
    };
    for (const auto& each : cases) {
        scripted_ftp_server server(each.replies);
        request_.direction = each.direction;
        request_.offset = each.offset;
        request_.user = each.user;
        request_.password = each.password;
        const bool opened = open(server.port());
        const bool reads = each.direction == ftp_direction::retrieve;
        if (opened && reads) {
            EXPECT_EQ(each.fault == fault_code::none ? "hello" : "failed", rest()) << each.commands;
        } else if (opened) {
            EXPECT_EQ(5, client_.write("bytes", 5, patience_ms));
        }
        EXPECT_EQ(each.fault == fault_code::none, client_.close()) << each.commands;
        EXPECT_EQ(each.fault, client_.error().fault()) << each.commands;
        EXPECT_EQ(each.commands, server.commands());
        EXPECT_EQ(opened && !reads ? "bytes" : "", server.stored());
    }
}

TEST_F(FtpClient, BeginsAgainElsewhere) {
    for (const bool extended : {true, false}) {
        scripted_ftp_server server(extended ? changes{} : changes{{"EPSV", "500 what\r\n"}});
        ASSERT_TRUE(open(server.port()));
        char byte = '\0';
        EXPECT_EQ(1, client_.read(&byte, 1, patience_ms));
        EXPECT_TRUE(client_.restart(3)) << "what is left of it is thrown away";
        EXPECT_EQ("hello", rest());
        EXPECT_TRUE(client_.restart(0));
        EXPECT_EQ("hello", rest());
        EXPECT_TRUE(client_.close());
        const std::string passive = extended ? "EPSV|" : "PASV|";
        EXPECT_EQ("USER anonymous|PASS anonymous@|TYPE I|SIZE file|" + (extended ? passive : "EPSV|PASV|") +
                      "RETR file|" + passive + "REST 3|RETR file|" + passive + "RETR file|QUIT|",
                  server.commands());
    }
    request_.direction = ftp_direction::append;
    scripted_ftp_server server({});
    ASSERT_TRUE(open(server.port()));
    EXPECT_FALSE(client_.restart(0)) << "it has a place of its own";
    EXPECT_TRUE(client_.close());
}

// The server may complain of that or not notice it.
TEST_F(FtpClient, IsClosedInTheMiddle) {
    for (const char* last : {"226 done\r\n", "426 cut\r\n"}) {
        scripted_ftp_server server({{"RETR", std::string("150 now\r\n") + last}}, data_end::never);
        ASSERT_TRUE(open(server.port()));
        char byte;
        EXPECT_EQ(1, client_.read(&byte, 1, patience_ms));
        EXPECT_TRUE(client_.close());
        EXPECT_TRUE(client_.close());
        EXPECT_TRUE(server.commands().ends_with("RETR file|QUIT|"));
    }
    scripted_ftp_server server({{"RETR", "150 now\r\n!"}}, data_end::never);
    ASSERT_TRUE(open(server.port()));
    EXPECT_FALSE(client_.restart(0)) << "the connection has gone";
    EXPECT_EQ(fault_code::closed, client_.error().fault());
    EXPECT_FALSE(client_.restart(0));
    EXPECT_FALSE(client_.close());
}

TEST_F(FtpClient, WaitsAsLongAsItIsTold) {
    char bytes[8];
    {
        const scripted_ftp_server server({}, data_end::never);
        ASSERT_TRUE(open(server.port()));
        EXPECT_EQ(1, client_.wait(patience_ms));
        EXPECT_EQ(0, client_.read(bytes, 0, patience_ms));
        EXPECT_EQ(5, client_.read(bytes, sizeof bytes, patience_ms));
        EXPECT_EQ(0, client_.wait(1));
        EXPECT_EQ(transfer_waited, client_.read(bytes, sizeof bytes, 1));
        EXPECT_EQ(-1, client_.write(bytes, 1, 1)) << "it is read";
        EXPECT_FALSE(client_.error());
        EXPECT_TRUE(client_.close());
    }
    request_.direction = ftp_direction::store;
    scripted_ftp_server server({}, data_end::never);
    ASSERT_TRUE(open(server.port()));
    EXPECT_EQ(1, client_.wait(patience_ms));
    EXPECT_EQ(-1, client_.read(bytes, sizeof bytes, 1)) << "it is written";
    EXPECT_EQ(0, client_.write(bytes, 0, 0));
    const std::string much(16 << 20, 'x');
    EXPECT_LT(client_.write(much.data(), much.size(), 1), static_cast<ptrdiff_t>(much.size()));
    ptrdiff_t count = 0;
    while ((count = client_.write(much.data(), much.size(), 1)) > 0) {
    }
    EXPECT_EQ(transfer_waited, count);
    EXPECT_EQ(0, client_.wait(1));
    EXPECT_TRUE(client_.close());
    EXPECT_EQ(-1, client_.write(bytes, 1, 1));
    EXPECT_EQ(-1, client_.wait(1)) << "nothing more can be written";
}

// Without a limit for the look-up this would never end.
TEST_F(FtpClient, WaitsForANameWithinItsLimit) {
    const size_t blocks = ombrel_get_alloc_count();
    hanging_names names;
    const error_output warning; // of a look-up that is left behind
    request_.host = "slow.test";
    request_.limit_ms = 50;
    EXPECT_FALSE(open(21));
    EXPECT_EQ(fault_code::timed_out, client_.error().fault());
    client_.close();
    const scripted_ftp_server server({});
    names.release();
    request_.limit_ms = patience_ms;
    EXPECT_TRUE(open(server.port()) && rest() == "hello") << client_.error().text();
    client_.close();
    // The look-up that was left behind frees what it had when it ends.
    EXPECT_TRUE(wait_until([=] { return ombrel_get_alloc_count() == blocks; }));
}

TEST_F(FtpClient, SendsNoCommandInAName) {
    for (const char* path : {"a\r\nDELE b", "a\nb", "a\rb", ""}) {
        request_.path = path;
        // The name is refused before anybody is asked.
        EXPECT_FALSE(open(1));
        EXPECT_EQ(fault_code::invalid, client_.error().fault());
    }
}

} // namespace
} // namespace ombrel_test
