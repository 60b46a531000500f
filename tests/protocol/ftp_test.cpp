// Replies of all kinds; real servers answer the streams of the built-in plug-in.
#include "protocol/ftp/ftp_client.h"
#include "protocol/scripted_ftp_server.h"
#include "support/descriptor_balance.h"
#include "support/error_output.h"
#include "support/fake_names.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/texts.h"

namespace ombrel_test {

namespace {

using namespace ombrel::protocol;
using ombrel::fault_code;
using enum ombrel::fault_code;

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

TEST_F(FtpClient, EndsAsTheServerSays) {
    std::string waits;
    for (size_t i = 0; i < 15; i++)
        waits += "120 wait\r\n";
    const struct {
        fault_code fault;
        int peer_code;
        std::vector<std::string> replies;
        data_end end = data_end::whole;
    } cases[] = {
        {none, 0,
         texts("", "EPSV 500 what", " " + waits + "220 now", "USER 230 in", "SIZE 502 what", "SIZE 213 many",
               "SIZE 313 6", "SIZE 213 4")},
        {violation, 0,
         texts("EPSV 229 fine", "EPSV 500 /PASV 227 (1,2,3,4,5)", " hello",
               " " + waits + "120 wait\r\n220 now")},
        {violation, 226, texts("RETR 226 done")},
        {violation, 331, texts(" 331 more", "PASS 331 and")},
        {violation, 350, texts("RETR 150 now\r\n350 more")},
        {refused, 0, texts("EPSV 229 (|||1|)")},
        {closed, 0, texts(" 220 hel!", "SIZE 213 5!", "SIZE 213 6", "RETR 150 now\r\n!")},
#if !defined(_WIN32) // whose emulation tells a reset to nobody but itself
        {closed, 0, texts(""), data_end::reset},
#endif
        {closed, 421, texts(" 421 come later")},
        {closed, 425, texts("RETR 425 no")},
        {closed, 426, texts("RETR 150 now\r\n426 cut")},
        {access_denied, 332, texts("PASS 332 who", "USER 332 who")},
        {access_denied, 430, texts("RETR 430 no")},
        {access_denied, 530, texts("USER 530 go", "PASS 530 no")},
        {access_denied, 532, texts("RETR 532 no")},
        {access_denied, 553, texts("RETR 553 no")},
        {rejected, 502, texts("EPSV 500 /PASV 502 ")},
        {rejected, 504, texts("TYPE 504 no")},
        {no_space, 452, texts("RETR 150 now\r\n452 full")},
        {no_space, 552, texts("RETR 150 now\r\n552 full"), data_end::reset},
        {not_found, 550, texts("RETR 550 none")},
        {timed_out, 0, texts(" ", "RETR 150 now/QUIT ")}
    };
    for (const auto& [fault, peer_code, replies, end] : cases) {
        for (const std::string& each : replies) {
            SCOPED_TRACE(each);
            request_.limit_ms = fault == timed_out ? 200 : patience_ms;
            const scripted_ftp_server server(each, end);
            const bool read = open(server.port()) && rest() == "hello";
            EXPECT_EQ(fault, client_.error().fault()) << client_.error().text();
            EXPECT_EQ(peer_code, client_.error().peer_code());
            EXPECT_EQ(fault == none, read);
            EXPECT_EQ(read, client_.close());
            char byte;
            EXPECT_EQ(read ? 0 : -1, client_.read(&byte, 1, 0)) << "closed";
        }
    }
}

TEST_F(FtpClient, AsksForWhatIsWanted) {
    constexpr auto get = ftp_direction::retrieve, put = ftp_direction::store, add = ftp_direction::append;
    const std::string to = "TYPE I|SIZE file|EPSV|", in = "USER anonymous|PASS anonymous@|" + to;
    const struct {
        ftp_direction direction;
        std::string commands;
        fault_code fault;
        const char* replies;
        uint64_t offset = 0;
        const char *user = nullptr, *password = nullptr;
    } cases[] = {{get, in + "RETR file|QUIT|", none, ""},
                 {put, in + "STOR file|QUIT|", none, ""},
                 {add, in + "APPE file|QUIT|", none, ""},
                 {get, "USER me|PASS|" + to + "RETR file|QUIT|", none, "", 0, "me"},
                 {get, "USER me|PASS x y|" + to + "RETR file|QUIT|", none, "", 0, "me", "x y"},
                 {get, "USER anonymous|PASS x|" + to + "RETR file|QUIT|", none, "", 0, nullptr, "x"},
                 {get, "USER me|" + to + "RETR file|QUIT|", none, "USER 230 in", 0, "me", "x"},
                 {get, in + "PASV|RETR file|QUIT|", none, "EPSV 500 what"},
                 {get, in + "REST 9223372036854775807|RETR file|QUIT|", none, "", INT64_MAX},
                 {put, in + "REST 2|STOR file|QUIT|", none, "", 2},
                 {get, in + "REST 2|RETR file|QUIT|", none, "SIZE 213 7", 2},
                 {get, in + "REST 2|RETR file|QUIT|", closed, "SIZE 213 8", 2},
                 // What comes then is the file from its beginning, which is not to be taken for its end.
                 {get, in + "REST 2|QUIT|", rejected, "REST 502 what", 2},
                 {get, in + "REST 2|QUIT|", violation, "REST 226 done", 2},
                 {put, in + "REST 2|QUIT|", rejected, "REST 502 what", 2},
                 {put, in + "STOR file|QUIT|", no_space, "STOR 150 now\r\n552 full"},
                 {put, in + "STOR file|QUIT|", access_denied, "STOR 553 no"}};
    for (const auto& each : cases) {
        scripted_ftp_server server(each.replies);
        request_.direction = each.direction;
        request_.offset = each.offset;
        request_.user = each.user;
        request_.password = each.password;
        const bool opened = open(server.port());
        const bool reads = each.direction == ftp_direction::retrieve;
        if (opened && reads) {
            EXPECT_EQ(each.fault == none ? "hello" : "failed", rest()) << each.commands;
        } else if (opened) {
            EXPECT_EQ(5, client_.write("bytes", 5, patience_ms));
        }
        EXPECT_EQ(each.fault == none, client_.close()) << each.commands;
        EXPECT_EQ(each.fault, client_.error().fault()) << each.commands;
        EXPECT_EQ(each.commands, server.commands());
        EXPECT_EQ(opened && !reads ? "bytes" : "", server.stored());
    }
}

TEST_F(FtpClient, BeginsAgainElsewhere) {
    for (const bool extended : {true, false}) {
        scripted_ftp_server server(extended ? "" : "EPSV 500 what");
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
    scripted_ftp_server server("");
    ASSERT_TRUE(open(server.port()));
    EXPECT_FALSE(client_.restart(0)) << "it has a place of its own";
    EXPECT_TRUE(client_.close());
}

// The server may complain of that or not notice it.
TEST_F(FtpClient, IsClosedInTheMiddle) {
    for (const char* last : {"226 done", "426 cut"}) {
        scripted_ftp_server server(std::string("RETR 150 now\r\n") + last, data_end::never);
        ASSERT_TRUE(open(server.port()));
        char byte;
        EXPECT_EQ(1, client_.read(&byte, 1, patience_ms));
        EXPECT_TRUE(client_.close());
        EXPECT_TRUE(client_.close());
        EXPECT_TRUE(server.commands().ends_with("RETR file|QUIT|"));
    }
    scripted_ftp_server server("RETR 150 now\r\n!", data_end::never);
    ASSERT_TRUE(open(server.port()));
    EXPECT_FALSE(client_.restart(0)) << "the connection has gone";
    EXPECT_EQ(closed, client_.error().fault());
    EXPECT_FALSE(client_.restart(0));
    EXPECT_FALSE(client_.close());
}

TEST_F(FtpClient, WaitsAsLongAsItIsTold) {
    char bytes[8];
    {
        const scripted_ftp_server server("", data_end::never);
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
    scripted_ftp_server server("", data_end::never);
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
    EXPECT_EQ(timed_out, client_.error().fault());
    client_.close();
    const scripted_ftp_server server("");
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
        EXPECT_EQ(invalid, client_.error().fault());
    }
}

} // namespace
} // namespace ombrel_test
