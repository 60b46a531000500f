// TFTP and FTP streams with real servers. The protocols themselves are tested beside their clients.
#include <chrono>
#include <thread>

#include "protocol/transfer_server.h"
#include "stream_support.h"
#include "support/error_output.h"

using namespace ombrel_test;

namespace {

class RemoteFileTest : public stream_test {};

void only_writes(stream& s) {
    char byte;
    EXPECT_FALSE(s.is_readable());
    EXPECT_EQ(ctx_error::not_supported, s.error());
    EXPECT_EQ(-1, ombrel_ctx_read(s.handle(), &byte, 1));
    EXPECT_EQ(ctx_error::not_supported, s.error());
}

void only_reads(stream& s) {
    EXPECT_FALSE(s.is_writable());
    EXPECT_EQ(ctx_error::not_supported, s.error());
    EXPECT_EQ(-1, s.write("x"));
    EXPECT_EQ(ctx_error::not_supported, s.error());
}

std::string url(const char* scheme, int port, const std::string& path) {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(port) + "/" + path;
}

TEST_F(RemoteFileTest, ATftpStreamWritesAndReads) {
    OMBREL_NEEDS_TFTP_SERVER();
    const tftp_server server;
    const std::string bytes = varied_bytes(100000);
    const std::string source = url("tftp", server.port(), server.directory / "file");
    stream writer(source, "wb", {{"size", "100000"}, {"interval", "20000"}});
    ASSERT_TRUE(writer.is_open()) << writer.error();
    EXPECT_TRUE(writer.is_writable());
    only_writes(writer);
    EXPECT_EQ(100000, writer.write(bytes));
    EXPECT_EQ(0, ombrel_ctx_sync(writer.handle()));
    EXPECT_EQ(0, writer.close());
    EXPECT_EQ(bytes, server.directory.read("file"));

    stream reader(source + ";mode=octet", "rb", {{"block_size", "512"}, {"interval", "20000"}});
    ASSERT_TRUE(reader.is_open()) << reader.error();
    EXPECT_EQ("100000", reader.property("size"));
    EXPECT_TRUE(reader.is_readable());
    only_reads(reader);
    EXPECT_EQ(bytes, reader.read_to_end());
    EXPECT_EQ("", reader.property("Error")) << "there was none";
    EXPECT_EQ(-1, reader.seek(0));
    EXPECT_EQ(ctx_error::not_supported, reader.error());
}

// Told to the server before the first byte, where it is known.
TEST_F(RemoteFileTest, ATftpStreamTellsTheSizeThatItIsGiven) {
    const struct {
        std::vector<stream::option> options;
        std::string size; ///< as the request has it
    } cases[] = {{{}, ""}, {{{"size", "77"}}, "77"}, {{{"size", "0"}}, "0"}};
    for (const auto& [options, size] : cases) {
        const owned_socket silent = bound(AF_INET, SOCK_DGRAM);
        std::vector<stream::option> all = options;
        all.insert(all.end(), {{"interval", "1"}, {"tries", "1"}});
        const stream s(url("tftp", own_port(silent), "x"), "w", all);
        EXPECT_EQ(ctx_error::timed_out, s.error());
        std::string request(600, '\xff');
        EXPECT_LT(0, ombrel_recv(silent, request.data(), request.size(), 0));
        const size_t at = request.find(std::string("tsize\0", 6));
        EXPECT_EQ(size, at != std::string::npos ? request.c_str() + at + 6 : "");
    }
}

TEST_F(RemoteFileTest, AnFtpStreamWritesSeeksAndReads) {
    OMBREL_NEEDS_SERVER("vsftpd");
    const ftp_server server;
    const std::string bytes = varied_bytes(3000000);
    const std::string source = url("ftp", server.port(), "a%20file");
    stream writer(source, "w");
    ASSERT_TRUE(writer.is_open()) << writer.error();
    EXPECT_TRUE(writer.is_writable());
    only_writes(writer);
    EXPECT_EQ(3000000, writer.write(bytes));
    EXPECT_EQ(10, writer.seek(10));
    EXPECT_EQ(2, writer.write("is"));
    EXPECT_EQ("12", writer.property("position"));
    EXPECT_EQ(0, ombrel_ctx_sync(writer.handle()));
    EXPECT_EQ(0, writer.close());
    stream appender(source, "a", {{"timeout", "60000"}});
    EXPECT_EQ(3, appender.write("end"));
    EXPECT_EQ(-1, appender.seek(0)) << "it has a place of its own";
    EXPECT_EQ(ctx_error::not_supported, appender.error());
    EXPECT_EQ(0, appender.close());
    const std::string expected = std::string(bytes).replace(10, 2, "is") + "end";
    EXPECT_EQ(expected, server.directory.read("a file"));

    stream reader(source, "r", {{"offset", "50"}});
    ASSERT_TRUE(reader.is_open()) << reader.error();
    EXPECT_TRUE(reader.is_readable());
    only_reads(reader);
    EXPECT_EQ("3000003", reader.property("size"));
    EXPECT_EQ(expected.substr(50, 1), reader.read(1));
    EXPECT_EQ(3000003, reader.seek(0, def_ombrel_ctx_seek_end));
    EXPECT_EQ(2999993, reader.seek(-10, def_ombrel_ctx_seek_current));
    EXPECT_EQ(expected.substr(2999993), reader.read_to_end());
    EXPECT_EQ(-1, reader.seek(-1));
    EXPECT_EQ(ctx_error::invalid, reader.error());
    EXPECT_EQ(-1, reader.seek(0, 3));
    EXPECT_EQ(-1, reader.seek(INT64_MAX, def_ombrel_ctx_seek_end));
    EXPECT_EQ(ctx_error::invalid, reader.error());
    EXPECT_EQ(0, ombrel_ctx_rewind(reader.handle()));
    EXPECT_EQ(expected, reader.read_to_end());
    EXPECT_EQ(0, reader.close());
}

TEST_F(RemoteFileTest, AnFtpStreamKeepsToItsLimit) {
    const owned_socket listener = bound(AF_INET, SOCK_STREAM);
    ASSERT_EQ(0, ombrel_listen(listener, 1));
    std::thread late([&] {
        const owned_socket accepted(ombrel_accept(listener, nullptr, nullptr, 0));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        ombrel_send(accepted, "530 no\r\n", 8, 0);
    });
    const stream s(url("ftp", own_port(listener), "file"), "r", {{"timeout", "20"}});
    EXPECT_EQ(ctx_error::timed_out, s.error());
    late.join();
}

TEST_F(RemoteFileTest, FailuresHaveTheirErrors) {
    OMBREL_NEEDS_SERVER("vsftpd");
    const ftp_server server;
    server.directory.write("file", "x");
    const owned_socket silent = bound(AF_INET, SOCK_DGRAM), deaf = bound(AF_INET, SOCK_STREAM);
    const std::string tftp = url("tftp", own_port(silent), "x"), ftp = url("ftp", server.port(), "");
    const refused_sources cases[] = {
        {ctx_error::not_found, texts(ftp + "missing")},
        {ctx_error::access_denied, texts(ftp + "no/file"), "w"},
        {ctx_error::access_denied, texts("ftp://user:secret@" + ftp.substr(6) + "file")},
        {ctx_error::invalid,
         texts(ftp + "file%0d%0aDELE%20file", ftp + "file;type=a", tftp + std::string(600, 'x'))},
        {ctx_error::invalid, texts(ftp + "file"), "r+"},
        {ctx_error::invalid, texts(ftp + "file"), "a", {{"offset", "1"}}},
        {ctx_error::invalid, texts(tftp), "a"},
        {ctx_error::syntax, texts(ftp, "ftp:///file")},
        {ctx_error::refused, texts(url("ftp", own_port(deaf), "file"))},
        {ctx_error::timed_out, texts(tftp), "r", {{"interval", "1"}, {"tries", "2"}}}};
    for (const refused_sources& each : cases)
        each.expect();
    const error_output output;
    stream(ftp + "missing", "r", {{"verbose", "1"}});
    EXPECT_NE(std::string::npos, output.text().find("transfer failed ! (url=\"\x1b[1;32m" + ftp +
                                                    "missing\x1b[0m\", code=550, \""));
    stream unread(ftp + "file;type=i", "r");
    ASSERT_TRUE(unread.is_open()) << "the usual type by its name";
    ombrel_stream_size_t size{};
    EXPECT_EQ(-1, ombrel_ctx_control(unread.handle(), def_ombrel_stream_control_get_exit_status, &size,
                                     sizeof size));
    EXPECT_EQ(ctx_error::not_supported, unread.error());
    EXPECT_EQ("x", unread.read());
    for (const char* const name : {"a;b", "a;typex"}) { // no parameter, but a part of the name
        server.directory.write(name, name);
        EXPECT_EQ(name, stream(ftp + name, "r").read()) << name;
    }
    EXPECT_EQ("x", server.directory.read("file"));
}

} // namespace
