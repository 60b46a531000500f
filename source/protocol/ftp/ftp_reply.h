// FTP replies and commands (RFC 959, RFC 2428) as texts, apart from any connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ombrel::protocol {

inline constexpr size_t most_ftp_line = 1024, most_ftp_lines = 512;
inline constexpr size_t most_ftp_command = 1024;

/// What the first digit of a reply says.
enum class ftp_reply_kind { preliminary = 1, completed = 2, intermediate = 3, failed_now = 4, failed = 5 };

/// Puts a reply of one or several lines together from single bytes.
///
/// A line ends in a line feed, with or without a carriage return. Replies with another code than 100 to 599,
/// zero bytes, longer lines or more lines than the limits above are malformed, and so is all that follows.
class ftp_reply_parser {
public:
    enum class state { incomplete, complete, malformed };

    /// After a complete reply the next byte begins another one.
    state feed(char byte);

    int code() const { return code_; }
    ftp_reply_kind kind() const { return static_cast<ftp_reply_kind>(code_ / 100); }
    /// The last line that has ended, whole.
    std::string_view line() const { return {line_, ended_}; }
    /// The last line behind the code, cut to a bounded length.
    std::string_view text() const {
        return {line_ + text_offset, length_ > text_offset ? length_ - text_offset : 0};
    }

private:
    static constexpr size_t text_offset = 4;

    state end_line();
    bool read_code(int& code) const;

    state state_ = state::complete;
    bool multiline_ = false;
    int code_ = 0;
    size_t lines_ = 0;
    size_t length_ = 0;
    size_t ended_ = 0; ///< bytes of the last line that has ended
    char line_[most_ftp_line];
};

/// The port in the text of a reply to EPSV: "… (|||6446|)".
bool parse_ftp_extended_passive(std::string_view text, int& port);

/// The port in the text of a reply to PASV: "… (192,0,2,1,25,46)".
/// @param address receives the four bytes of the address; null leaves them, checked, alone
bool parse_ftp_passive(std::string_view text, int& port, uint8_t* address = nullptr);

/// The number that is the whole text of a reply to SIZE.
bool parse_ftp_size(std::string_view text, uint64_t& size);

/// The path in the text of a reply to PWD: "\"/a \"\"b\"\"\" is it", where quotes in it are doubled.
/// @param path receives it, terminated
/// @return its length; -1 when there is none, -2 when there is no room
ptrdiff_t parse_ftp_path(std::string_view text, char* path, size_t room);

/// Whether the text can go into a command: no line ends or zeros, which would begin another command.
bool is_ftp_argument(std::string_view text);

/// Writes "VERB argument\r\n", or "VERB\r\n" for an empty argument, into most_ftp_command bytes.
/// @return its bytes; 0 for an argument that cannot go into a command
size_t write_ftp_command(char (&room)[most_ftp_command], std::string_view verb, std::string_view argument);

} // namespace ombrel::protocol
