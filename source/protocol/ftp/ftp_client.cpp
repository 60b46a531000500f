#include "protocol/ftp/ftp_client.h"

#include <ombrel/string.h>

namespace ombrel::protocol {

namespace {

const char* verb_of(ftp_direction direction) {
    constexpr const char* verbs[] = {"RETR", "STOR", "APPE"};
    return verbs[static_cast<int>(direction)];
}

/// As the stream has always been: it takes what servers do as it comes.
ftp_settings settings_for(const ftp_request& request) {
    ftp_settings settings;
    settings.is_lenient = true;
    settings.limit_ms = request.limit_ms;
    return settings;
}

} // namespace

bool ftp_client::open(const ftp_request& request) {
    close();
    transfer_error& error = session_.error();
    error.clear();
    session_.set(settings_for(request));
    direction_ = request.direction;
    if (request.path[0] == '\0' || !is_ftp_argument(request.path))
        return error.set(fault_code::invalid, "a path that no command can carry");
    path_.reset(ombrel_strdup_tag(request.path, "ftp_client", __LINE__));
    if (!path_)
        return error.set(fault_code::no_memory, "out of memory");
    std::optional<uint64_t> size;
    return session_.connect(request.host, request.port) &&
           session_.log_in(request.user, request.password, nullptr) && session_.set_type('I') &&
           session_.find_size(path_.get(), size) && begin(request.offset, size);
}

bool ftp_client::begin(uint64_t offset, std::optional<uint64_t> size) {
    return session_.begin({.verb = verb_of(direction_),
                           .argument = path_.get(),
                           .sends = direction_ != ftp_direction::retrieve,
                           .offset = offset,
                           .size = size});
}

bool ftp_client::restart(uint64_t offset) {
    if (error() || direction_ == ftp_direction::append)
        return false;
    return end_transfer() && begin(offset, session_.size());
}

bool ftp_client::end_transfer() {
    if (direction_ != ftp_direction::retrieve)
        return session_.finish();
    session_.leave();
    return !error();
}

bool ftp_client::close() {
    if (session_.is_connected() && session_.is_busy() && !error())
        end_transfer();
    const bool good = !error();
    session_.disconnect();
    path_.reset();
    return good;
}

} // namespace ombrel::protocol
