// One list on its way from the server to a handler.
#pragma once

#include <string_view>

#include "protocol/ftp/ftp_object.h"

namespace ombrel::protocol {

inline constexpr size_t most_ftp_list_line = 8191;

/// Too large for a stack.
class ftp_list_run {
public:
    ftp_list_run(ombrel_ftp_t& ftp, ombrel_ftp_entry_handler_t handler, void* context);

    /// @param path "" for the present directory
    /// @return 0 at the end, -1 with the session's error, or what a handler returned
    int run(const char* path, int form);

    /// The form that was taken.
    int form() const { return form_; }
    /// What years are guessed by.
    const ombrel_instant_t& now() const { return now_; }

private:
    bool take(std::string_view bytes);
    bool end_line();
    bool fail(fault_code fault, const char* text);

    ombrel_ftp_t& ftp_;
    ombrel_ftp_entry_handler_t handler_;
    void* context_;
    deadline limit_;
    ombrel_instant_t now_{};
    int form_ = -1;
    int result_ = 0;
    size_t size_ = 0, entries_ = 0;
    size_t length_ = 0; ///< of the line in hand
    char line_[most_ftp_list_line + 1];
    char room_[most_ftp_list_line + 9];
};

} // namespace ombrel::protocol
