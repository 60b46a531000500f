// What the protocols are made of, apart from any connection.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "protocol/ftp/ftp_reply.h"
#include "protocol/tftp/tftp_packet.h"
#include "protocol/transfer_error.h"

namespace ombrel_test {
namespace {

using namespace ombrel::protocol;
using namespace std::string_literals;
using ombrel::fault_code;

constexpr int none = -1;

TEST(FtpReply, NamesItsPort) {
    const struct {
        const char* text;
        int extended, plain;
    } cases[] = {
        {"there (|||6446|)", 6446, none},
        {"(!!!1!)", 1, none},
        {"(~~~1~)", 1, none},
        {"(|||65535|)", 65535, none},
        {"(|||65536|)", none, none},
        {"(|||0|)", none, none},
        {"(|||00021|)", 21, none},
        {"(||| 1|)", none, none},
        {"(|||1)", none, none},
        {"(|||1x|)", none, none},
        {"(|x|1|)", none, none},
        {"(||x1|)", none, none},
        {"(1111)", none, none},
        {"(11111)", none, none},
        {"(   1 )", none, none},
        {"(\x7f\x7f\x7f\x31\x7f)", none, none},
        {"(|||)", none, none},
        {"(||||)", none, none},
        {"|||1|", none, none},
        {"(|||1|", none, none},
        {"|||1|)", none, none},
        {")(|||1|)", 1, none},
        {"(|||1|) (|||2|)", 1, none},
        {"()", none, none},
        {"(192,0,2,1,25,46)", none, 6446},
        {"192,0,2,1,0,1", none, 1},
        {"=1,2,3,4,255,255", none, 65535},
        {"(0,0,0,0,0,0)", none, none},
        {"256,0,0,1,1,1", none, none},
        {"1,2,3,4,256,1", none, none},
        {"1,2,3,4,1,256", none, none},
        {"1,2,3,4,5", none, none},
        {"1,2,3,4,5,", none, none},
        {"1,2,3,4,,6", none, none},
        {"1,2,3,4,5.6", none, none},
        {"1, 2,3,4,5,6", none, none},
        {"1,2,3,4,1,0", none, 256},
        {"none", none, none},
        {"", none, none},
    };
    for (const auto& each : cases) {
        int extended = none, plain = none;
        EXPECT_EQ(each.extended != none, parse_ftp_extended_passive(each.text, extended)) << each.text;
        EXPECT_EQ(each.plain != none, parse_ftp_passive(each.text, plain)) << each.text;
        if (each.extended != none) {
            EXPECT_EQ(each.extended, extended) << each.text;
        }
        if (each.plain != none) {
            EXPECT_EQ(each.plain, plain) << each.text;
        }
    }
}

TEST(FtpReply, IsPutTogetherFromItsLines) {
    using state = ftp_reply_parser::state;
    const std::string full(most_ftp_line - 4, 'x');
    const auto lines = [](size_t count) { return std::string("220-").append(count, '\n').append("220 x\n"); };
    const struct {
        std::string bytes;
        state last;
        int code;
        std::string text;
    } cases[] = {
        {"220 hi\r\n", state::complete, 220, "hi"},
        {"100 hi\n", state::complete, 100, "hi"},
        {"599\n", state::complete, 599, ""},
        {"220 \r\n", state::complete, 220, ""},
        {"220 a\rb\n", state::complete, 220, "a\rb"},
        {"220 hi\r", state::incomplete, 0, ""},
        {"220-a\r\nb\r\n220 c\r\n", state::complete, 220, "c"},
        {"220-a\n221 b\n220-c\n22\n2200 d\n220 e\n", state::complete, 220, "e"},
        {"220-a\n220\n", state::complete, 220, ""},
        {"220-a\n 220 b\n", state::incomplete, 0, ""},
        {"220-a\n220 b\n150 c\n", state::complete, 150, "c"},
        {"220-a\n\n220 b\n331-c\n331 d\n", state::complete, 331, "d"},
        {"220 " + full + "\n", state::complete, 220, full},
        {"220 " + full + "x\n", state::malformed, 0, ""},
        {lines(most_ftp_lines - 1), state::complete, 220, "x"},
        {lines(most_ftp_lines), state::malformed, 0, ""},
        {"099 x\n", state::malformed, 0, ""},
        {"600 x\n", state::malformed, 0, ""},
        {"2/0 x\n", state::malformed, 0, ""},
        {"22: x\n", state::malformed, 0, ""},
        {"x20 x\n", state::malformed, 0, ""},
        {"22\n", state::malformed, 0, ""},
        {"2200 x\n", state::malformed, 0, ""},
        {"\r\n", state::malformed, 0, ""},
        {"220 a\0b\n"s, state::malformed, 0, ""},
        {"none\n220 hi\n", state::malformed, 0, ""},
    };
    for (const auto& each : cases) {
        const auto reply = std::make_unique<ftp_reply_parser>();
        state last = state::incomplete;
        for (const char byte : each.bytes)
            last = reply->feed(byte);
        EXPECT_EQ(each.last, last) << each.bytes;
        if (last != state::complete)
            continue;
        EXPECT_EQ(each.code, reply->code()) << each.bytes;
        EXPECT_EQ(each.code / 100, static_cast<int>(reply->kind())) << each.bytes;
        EXPECT_EQ(each.text, reply->text()) << each.bytes;
    }
}

TEST(FtpReply, TellsASize) {
    const struct {
        const char* text;
        int64_t size;
    } cases[] = {{"5", 5},
                 {"0  ", 0},
                 {"9223372036854775807", INT64_MAX},
                 {"9223372036854775808", none},
                 {"", none},
                 {" ", none},
                 {" 5", none},
                 {"5 bytes", none}};
    for (const auto& each : cases) {
        uint64_t size = 0;
        EXPECT_EQ(each.size != none, parse_ftp_size(each.text, size)) << each.text;
        EXPECT_EQ(each.size != none ? static_cast<uint64_t>(each.size) : 0, size) << each.text;
    }
}

TEST(FtpCommand, IsOneLine) {
    const std::string longest(most_ftp_command - 7, 'x'), verb(most_ftp_command - 2, 'V');
    const struct {
        std::string verb, argument, expected;
    } cases[] = {{"QUIT", "", "QUIT\r\n"},
                 {"RETR", "a b", "RETR a b\r\n"},
                 {"RETR", longest, "RETR " + longest + "\r\n"},
                 {"RETR", longest + "x", ""},
                 {verb, "", verb + "\r\n"},
                 {verb + "V", "", ""},
                 {verb, "x", ""},
                 {"RETR", "a\r", ""},
                 {"RETR", "\nb", ""},
                 {"RETR", "a\0b"s, ""}};
    for (const auto& each : cases) {
        struct {
            char room[most_ftp_command], behind;
        } line{{}, '!'};
        const size_t size = write_ftp_command(line.room, each.verb, each.argument);
        EXPECT_EQ(std::string(line.room, size), each.expected);
        EXPECT_EQ('!', line.behind);
    }
}

std::span<const uint8_t> bytes_of(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

TEST(TftpPacket, IsTakenApart) {
    const struct {
        std::string bytes;
        bool good;
        int number;
        std::string body, text;
    } cases[] = {{"", false, 0, "", ""},
                 {"\0"s, false, 0, "", ""},
                 {"\0\3"s, false, 0, "", ""},
                 {"\0\3\0"s, false, 0, "", ""},
                 {"\0\3\1\2"s, true, 0x102, "", ""},
                 {"\0\3\xff\xfexy"s, true, 0xfffe, "xy", ""},
                 {"\0\4\0\1"s, true, 1, "", ""},
                 {"\0\5\0\2ab"s, true, 2, "ab", "ab"},
                 {"\0\5\0\2a\0b"s, true, 2, "a\0b"s, "a"},
                 {"\0\5\0\2"s, true, 2, "", ""},
                 {"\0\1\0\0"s, false, 0, "", ""},
                 {"\0\2\0\0"s, false, 0, "", ""},
                 {"\0\7\0\0"s, false, 0, "", ""},
                 {"\1\3\0\0"s, false, 0, "", ""}};
    for (const auto& each : cases) {
        tftp_packet packet;
        EXPECT_EQ(each.good, parse_tftp_packet(bytes_of(each.bytes), packet)) << each.bytes.size();
        if (!each.good)
            continue;
        EXPECT_EQ(each.number, packet.number);
        EXPECT_EQ(each.body, std::string(packet.body.begin(), packet.body.end()));
        EXPECT_EQ(each.text, packet.text);
    }
}

TEST(TftpPacket, GrantsOptions) {
    const struct {
        std::string bytes;
        bool valid;
        int block_size, timeout;
        uint64_t size;
    } cases[] = {
        {"", true, 0, 0, 0},
        {"blksize\0008\0timeout\0001\0tsize\00018446744073709551615\0"s, true, 8, 1, UINT64_MAX},
        {"TSIZE\0000\0BlkSize\00065464\0timeOut\000255\0"s, true, 65464, 255, 0},
        {"blksize\0007\0"s, false, 0, 0, 0},
        {"blksize\00065465\0"s, false, 0, 0, 0},
        {"timeout\0000\0"s, false, 0, 0, 0},
        {"timeout\000256\0"s, false, 0, 0, 0},
        {"tsize\00018446744073709551616\0"s, false, 0, 0, 0},
        {"tsize\000x\0"s, false, 0, 0, 0},
        {"tsize\0\0"s, false, 0, 0, 0},
        {"tsize\0001\0tsize\0001\0"s, false, 0, 0, 0},
        {"tsiz\0001\0"s, false, 0, 0, 0},
        {"tsizes\0001\0"s, false, 0, 0, 0},
        {"blksize\0"s, false, 0, 0, 0},
        {"blksize\0008"s, false, 0, 0, 0},
        {"blksize", false, 0, 0, 0},
    };
    for (const auto& each : cases) {
        tftp_packet packet;
        const std::string bytes = "\0\6"s + each.bytes;
        ASSERT_TRUE(parse_tftp_packet(bytes_of(bytes), packet));
        ASSERT_EQ(each.valid, packet.options_valid) << each.bytes;
        if (!each.valid)
            continue;
        EXPECT_EQ(each.block_size, static_cast<int>(packet.options.block_size.value_or(0)));
        EXPECT_EQ(each.timeout, static_cast<int>(packet.options.timeout_seconds.value_or(0)));
        EXPECT_EQ(each.size, packet.options.transfer_size.value_or(0));
    }
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
                 {"f", {8, 1, 0}, "\0\1f\0octet\0blksize\0008\0timeout\0001\0tsize\0000\0"s},
                 {"f", {{}, {}, UINT64_MAX}, "\0\1f\0octet\0tsize\00018446744073709551615\0"s},
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
