// Reads any bytes as the replies of an FTP server, and as a command's argument.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "protocol/ftp/ftp_reply.h"
#include "support/require.h"

namespace {

using namespace ombrel::protocol;

void check_reply(const ftp_reply_parser& reply) {
    require(reply.code() >= 100 && reply.code() <= 599);
    require(reply.text().size() < most_ftp_line);
    int port = 0;
    if (parse_ftp_extended_passive(reply.text(), port))
        require(port >= 1 && port <= 65535);
    if (parse_ftp_passive(reply.text(), port))
        require(port >= 1 && port <= 65535);
    uint64_t size = 0;
    if (parse_ftp_size(reply.text(), size))
        require(size <= INT64_MAX);
}

/// A command is one line, whatever its argument.
void check_command(std::string_view argument) {
    char room[most_ftp_command];
    const size_t size = write_ftp_command(room, "RETR", argument);
    require(size <= sizeof room);
    if (size > 0)
        require(memchr(room, '\n', size) == room + size - 1 && memchr(room, '\0', size) == nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    ftp_reply_parser reply;
    bool malformed = false;
    for (const char byte : bytes) {
        const ftp_reply_parser::state state = reply.feed(byte);
        require(!malformed || state == ftp_reply_parser::state::malformed);
        malformed = state == ftp_reply_parser::state::malformed;
        if (state == ftp_reply_parser::state::complete)
            check_reply(reply);
    }
    check_command(bytes);
    return 0;
}
