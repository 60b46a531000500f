// What the protocols are made of, apart from any connection.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "protocol/ftp/ftp_reply.h"
#include "protocol/tftp/tftp_packet.h"
#include "protocol/transfer_error.h"
#include "support/texts.h"

namespace ombrel_test {
namespace {

using namespace ombrel::protocol;
using namespace std::string_literals;
using ombrel::fault_code;

constexpr int no_port = -1;

TEST(FtpReply, NamesItsPort) {
    const std::pair<const char*, int> extended[] = {
        {"there (|||6446|)", 6446}, {"(!!!1!)", 1},  {"(~~~1~)", 1},        {"(|||65535|)", 65535},
        {"(|||00021|)", 21},        {")(|||1|)", 1}, {"(|||1|) (|||2|)", 1}};
    const std::pair<const char*, int> plain[] = {
        {"(192,0,2,1,25,46)", 6446}, {"192,0,2,1,0,1", 1}, {"=1,2,3,4,255,255", 65535}, {"1,2,3,4,1,0", 256}};
    int port = no_port;
    for (const auto& [text, expected] : extended) {
        EXPECT_TRUE(parse_ftp_extended_passive(text, port)) << text;
        EXPECT_EQ(expected, port) << text;
        EXPECT_FALSE(parse_ftp_passive(text, port)) << text;
    }
    for (const auto& [text, expected] : plain) {
        EXPECT_TRUE(parse_ftp_passive(text, port)) << text;
        EXPECT_EQ(expected, port) << text;
        EXPECT_FALSE(parse_ftp_extended_passive(text, port)) << text;
    }
    for (const std::string& bad :
         texts("(|||65536|)", "(|||0|)", "(||| 1|)", "(|||1)", "(|||1x|)", "(|x|1|)", "(||x1|)", "(1111)",
               "(11111)", "(   1 )", "(\x7f\x7f\x7f\x31\x7f)", "(|||)", "(||||)", "|||1|", "(|||1|", "|||1|)",
               "()", "(0,0,0,0,0,0)", "256,0,0,1,1,1", "1,2,3,4,256,1", "1,2,3,4,1,256", "1,2,3,4,5",
               "1,2,3,4,5,", "1,2,3,4,,6", "1,2,3,4,5.6", "1, 2,3,4,5,6", "none", "")) {
        EXPECT_FALSE(parse_ftp_extended_passive(bad, port) || parse_ftp_passive(bad, port)) << bad;
    }
}

using reply_state = ftp_reply_parser::state;

TEST(FtpReply, IsPutTogetherFromItsLines) {
    const std::string full(most_ftp_line - 4, 'x');
    const auto lines = [](size_t count) { return std::string("220-").append(count, '\n').append("220 x\n"); };
    const auto fed = [](const std::string& bytes, ftp_reply_parser& reply) {
        reply_state last = reply_state::incomplete;
        for (const char byte : bytes)
            last = reply.feed(byte);
        return last;
    };
    const struct {
        std::string bytes;
        int code;
        std::string text;
    } cases[] = {{"220 hi\r\n", 220, "hi"},
                 {"100 hi\n", 100, "hi"},
                 {"599\n", 599, ""},
                 {"220 \r\n", 220, ""},
                 {"220 a\rb\n", 220, "a\rb"},
                 {"220-a\r\nb\r\n220 c\r\n", 220, "c"},
                 {"220-a\n221 b\n220-c\n22\n2200 d\n220 e\n", 220, "e"},
                 {"220-a\n220\n", 220, ""},
                 {"220-a\n220 b\n150 c\n", 150, "c"},
                 {"220-a\n\n220 b\n331-c\n331 d\n", 331, "d"},
                 {"220 " + full + "\n", 220, full},
                 {lines(most_ftp_lines - 1), 220, "x"}};
    for (const auto& each : cases) {
        const auto reply = std::make_unique<ftp_reply_parser>();
        EXPECT_EQ(reply_state::complete, fed(each.bytes, *reply)) << each.bytes;
        EXPECT_EQ(each.code, reply->code()) << each.bytes;
        EXPECT_EQ(each.code / 100, static_cast<int>(reply->kind())) << each.bytes;
        EXPECT_EQ(each.text, reply->text()) << each.bytes;
    }
    for (const std::string& bad :
         texts("220 " + full + "x\n", lines(most_ftp_lines), "099 x\n"s, "600 x\n"s, "2/0 x\n"s, "22: x\n"s,
               "x20 x\n"s, "22\n"s, "2200 x\n"s, "\r\n"s, "220 a\0b\n"s, "none\n220 hi\n"s))
        EXPECT_EQ(reply_state::malformed, fed(bad, *std::make_unique<ftp_reply_parser>())) << bad;
    for (const char* begun : {"220 hi\r", "220-a\n 220 b\n"})
        EXPECT_EQ(reply_state::incomplete, fed(begun, *std::make_unique<ftp_reply_parser>())) << begun;
}

TEST(FtpReply, TellsASize) {
    const std::pair<const char*, uint64_t> cases[] = {
        {"5", 5}, {"0  ", 0}, {"9223372036854775807", INT64_MAX}};
    uint64_t size = 7;
    for (const auto& [text, expected] : cases) {
        EXPECT_TRUE(parse_ftp_size(text, size)) << text;
        EXPECT_EQ(expected, size) << text;
    }
    for (const std::string& bad : texts("9223372036854775808", "", " ", " 5", "5 bytes"))
        EXPECT_FALSE(parse_ftp_size(bad, size)) << bad;
    EXPECT_EQ(static_cast<uint64_t>(INT64_MAX), size);
}

TEST(FtpCommand, IsOneLine) {
    const std::string longest(most_ftp_command - 7, 'x'), verb(most_ftp_command - 2, 'V');
    const struct {
        std::string verb, argument, expected;
    } cases[] = {{"QUIT", "", "QUIT\r\n"},
                 {"RETR", "a b", "RETR a b\r\n"},
                 {"RETR", longest, "RETR " + longest + "\r\n"},
                 {verb, "", verb + "\r\n"}};
    struct {
        char room[most_ftp_command], behind;
    } line{{}, '!'};
    for (const auto& each : cases) {
        const size_t size = write_ftp_command(line.room, each.verb, each.argument);
        EXPECT_EQ(each.expected, std::string(line.room, size));
    }
    for (const std::string& bad : texts(longest + "x", "a\r"s, "\nb"s, "a\0b"s))
        EXPECT_EQ(0u, write_ftp_command(line.room, "RETR", bad)) << bad;
    EXPECT_EQ(0u, write_ftp_command(line.room, verb + "V", ""));
    EXPECT_EQ(0u, write_ftp_command(line.room, verb, "x"));
    EXPECT_EQ('!', line.behind);
}

std::span<const uint8_t> bytes_of(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

TEST(TftpPacket, IsTakenApart) {
    const struct {
        std::string bytes;
        int number;
        std::string body, text;
    } cases[] = {{"\0\3\1\2"s, 0x102, "", ""},       {"\0\3\xff\xfexy"s, 0xfffe, "xy", ""},
                 {"\0\4\0\1"s, 1, "", ""},           {"\0\5\0\2ab"s, 2, "ab", "ab"},
                 {"\0\5\0\2a\0b"s, 2, "a\0b"s, "a"}, {"\0\5\0\2"s, 2, "", ""}};
    tftp_packet packet;
    for (const auto& each : cases) {
        EXPECT_TRUE(parse_tftp_packet(bytes_of(each.bytes), packet)) << each.bytes.size();
        EXPECT_EQ(each.number, packet.number);
        EXPECT_EQ(each.body, std::string(packet.body.begin(), packet.body.end()));
        EXPECT_EQ(each.text, packet.text);
    }
    for (const std::string& bad :
         texts(""s, "\0"s, "\0\3"s, "\0\3\0"s, "\0\1\0\0"s, "\0\2\0\0"s, "\0\7\0\0"s, "\1\3\0\0"s))
        EXPECT_FALSE(parse_tftp_packet(bytes_of(bad), packet)) << bad.size();
}

TEST(TftpPacket, GrantsOptions) {
    const struct {
        std::string bytes;
        unsigned block_size, timeout;
        uint64_t size;
    } cases[] = {{"", 0, 0, 0},
                 {"blksize\0008\0timeout\0001\0tsize\00018446744073709551615\0"s, 8, 1, UINT64_MAX},
                 {"TSIZE\0000\0BlkSize\00065464\0timeOut\000255\0"s, 65464, 255, 0}};
    tftp_packet packet;
    const auto is_valid = [&](const std::string& options) {
        EXPECT_TRUE(parse_tftp_packet(bytes_of("\0\6"s + options), packet));
        return packet.options_valid;
    };
    for (const auto& each : cases) {
        ASSERT_TRUE(is_valid(each.bytes)) << each.bytes;
        EXPECT_EQ(each.block_size, packet.options.block_size.value_or(0));
        EXPECT_EQ(each.timeout, packet.options.timeout_seconds.value_or(0));
        EXPECT_EQ(each.size, packet.options.transfer_size.value_or(0));
    }
    for (const std::string& bad :
         texts("blksize\0007\0"s, "blksize\00065465\0"s, "timeout\0000\0"s, "timeout\000256\0"s,
               "tsize\00018446744073709551616\0"s, "tsize\000x\0"s, "tsize\0\0"s, "tsize\0001\0tsize\0001\0"s,
               "tsiz\0001\0"s, "tsizes\0001\0"s, "blksize\0"s, "blksize\0008"s, "blksize"s))
        EXPECT_FALSE(is_valid(bad)) << bad;
}

TEST(TftpPacket, IsWrittenIntoItsRoom) {
    uint8_t room[600];
    const auto written = [&](auto write, size_t size) {
        const size_t count = write(std::span(room, size));
        return std::string(reinterpret_cast<char*>(room), count);
    };
    const struct {
        std::string name;
        tftp_options options;
        std::string expected;
    } cases[] = {{"f", {}, "\0\1f\0octet\0"s},
                 {"f", {8, 1, 0, {}}, "\0\1f\0octet\0blksize\0008\0timeout\0001\0tsize\0000\0"s},
                 {"f", {{}, {}, UINT64_MAX, {}}, "\0\1f\0octet\0tsize\00018446744073709551615\0"s},
                 {"", {}, ""},
                 {"a\0b"s, {}, ""}};
    for (const auto& each : cases) {
        const auto write = [&](std::span<uint8_t> into) {
            return write_tftp_request(into, tftp_opcode::read_request, each.name, each.options);
        };
        EXPECT_EQ(each.expected, written(write, sizeof room));
        EXPECT_EQ(each.expected, written(write, each.expected.size()));
        EXPECT_EQ("", written(write, each.expected.size() - (each.expected.empty() ? 0 : 1)));
    }
    const auto error = [](std::span<uint8_t> into) {
        return write_tftp_error(into, tftp_error_code::option_refused, "no");
    };
    EXPECT_EQ("\0\5\0\10no\0"s, written(error, 7));
    EXPECT_EQ("", written(error, 6));
    const auto header = [](std::span<uint8_t> into) {
        return write_tftp_block_header(into, tftp_opcode::data, 0x1234);
    };
    EXPECT_EQ("\0\3\x12\x34"s, written(header, 4));
}

// Each error before another, whose first byte is none of its own.
TEST(TransferError, HoldsWhatFitsOfThePeersText) {
    for (const size_t size : {0u, 1u, 158u, 159u, 160u, 161u, 100000u}) {
        transfer_error errors[2];
        errors[1].set(fault_code::invalid, "kept");
        EXPECT_FALSE(errors[0].set(fault_code::rejected, std::string(size, 'x'), 7));
        EXPECT_EQ(std::string(std::min<size_t>(size, 159), 'x'), errors[0].text());
        EXPECT_EQ(fault_code::invalid, errors[1].fault());
    }
    transfer_error error;
    EXPECT_FALSE(error);
    error.set(fault_code::not_found, "\t\x1f ~\x7f\x80", 550);
    error.set(fault_code::closed, "later", 1);
    EXPECT_TRUE(error);
    EXPECT_STREQ("?? ~?\x80", error.text());
    EXPECT_EQ(fault_code::not_found, error.fault());
    EXPECT_EQ(550, error.peer_code());
    error.clear();
    EXPECT_FALSE(error);
    EXPECT_STREQ("", error.text());
}

} // namespace
} // namespace ombrel_test
