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

struct script_case {
    const char* name;
    std::map<std::string, std::string> changes;
    fault_code fault;
};

class FtpScript : public FtpClient, public ::testing::WithParamInterface<script_case> {};

TEST_P(FtpScript, ends_as_it_should) {
    bool stalls = false;
    for (const auto& [verb, reply] : GetParam().changes)
        stalls = stalls || reply.empty();
    if (stalls)
        request_.limit_ms = 200;
    const scripted_ftp_server server(GetParam().changes);
    const bool read = open(server.port()) && rest() == "hello";
    EXPECT_EQ(GetParam().fault, client_.error().fault()) << client_.error().text();
    EXPECT_EQ(GetParam().fault == fault_code::none, read);
    client_.close();
}

INSTANTIATE_TEST_SUITE_P(
    , FtpScript,
    ::testing::Values(
        script_case{"as_usual", {}, fault_code::none},
        script_case{"foreign_address", {{"EPSV", "500 what\r\n"}}, fault_code::none},
        script_case{"no_brackets", {{"EPSV", "229 fine\r\n"}}, fault_code::violation},
        script_case{"port_zero", {{"EPSV", "229 (|||0|)\r\n"}}, fault_code::violation},
        script_case{
            "short_address", {{"EPSV", "500 \r\n"}, {"PASV", "227 (1,2,3,4,5)\r\n"}}, fault_code::violation},
        script_case{"busy", {{"", "421 come later\r\n"}}, fault_code::closed},
        script_case{"no_code", {{"", "hello\r\n"}}, fault_code::violation},
        script_case{"long_line", {{"", "220 " + std::string(5000, 'x')}}, fault_code::violation},
        script_case{"many_lines", {{"", "220-\r\n" + std::string(5000, '\n')}}, fault_code::violation},
        script_case{"wrong_password", {{"PASS", "530 no\r\n"}}, fault_code::access_denied},
        script_case{"account", {{"PASS", "332 who\r\n"}}, fault_code::access_denied},
        script_case{"no_size", {{"SIZE", "502 what\r\n"}}, fault_code::none},
        script_case{"comes_short", {{"SIZE", "213 6\r\n"}}, fault_code::closed},
        script_case{"has_grown", {{"SIZE", "213 4\r\n"}}, fault_code::none},
        script_case{"broken_off", {{"RETR", "150 now\r\n426 cut\r\n"}}, fault_code::closed},
        script_case{"no_preliminary", {{"RETR", "226 done\r\n"}}, fault_code::violation},
        script_case{"silent_greeting", {{"", ""}}, fault_code::timed_out},
        script_case{"silent_end", {{"RETR", "150 now\r\n"}, {"QUIT", ""}}, fault_code::timed_out}),
    [](const auto& each) { return each.param.name; });

TEST_F(FtpClient, goes_on_where_it_was_asked_to_or_not_at_all) {
    struct {
        std::map<std::string, std::string> changes;
        fault_code fault;
    } const cases[] = {
        {{{"SIZE", "213 7\r\n"}}, fault_code::none},
        {{{"SIZE", "213 8\r\n"}}, fault_code::closed},
        // What comes then is the file from its beginning, which is not to be taken for its end.
        {{{"REST", "502 what\r\n"}}, fault_code::rejected},
        {{{"REST", "226 done\r\n"}}, fault_code::violation},
    };
    request_.offset = 2;
    for (const auto& each : cases) {
        const scripted_ftp_server server(each.changes);
        const bool read = open(server.port()) && rest() == "hello";
        EXPECT_EQ(each.fault, client_.error().fault()) << client_.error().text();
        EXPECT_EQ(each.fault == fault_code::none, read);
        client_.close();
    }
}

// Without a limit for the look-up this would never end.
TEST_F(FtpClient, waits_for_a_name_within_its_limit) {
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

TEST_F(FtpClient, a_name_cannot_carry_a_command) {
    for (const char* path : {"a\r\nDELE b", "a\nb", "a\rb", ""}) {
        request_.path = path;
        // The name is refused before anybody is asked.
        EXPECT_FALSE(open(1));
        EXPECT_EQ(fault_code::invalid, client_.error().fault());
    }
}

} // namespace
} // namespace ombrel_test
