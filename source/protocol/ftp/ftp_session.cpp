#include "protocol/ftp/ftp_session.h"

#include <ombrel/printf.h>

namespace ombrel::protocol {

namespace {

constexpr const char* anonymous_user = "anonymous";
constexpr const char* anonymous_password = "anonymous@";
constexpr int login_needs_password = 331, login_needs_account = 332, restart_accepted = 350;

} // namespace

bool ftp_session::connect(const char* host, int port) {
    disconnect();
    extended_ = settings_.extended;
    type_ = '\0';
    position_ = 0;
    job_ = {};
    return control_.open(host, port, settings_.limit_ms, error_);
}

bool ftp_session::log_in(const char* user, const char* password, const char* account) {
    if (password == nullptr)
        password = user != nullptr ? "" : anonymous_password;
    const deadline until = limit();
    if (!control_.ask("USER", user != nullptr ? user : anonymous_user, until, error_))
        return false;
    if (control_.code() == login_needs_password && !control_.ask("PASS", password, until, error_))
        return false;
    if (control_.code() == login_needs_account && account == nullptr)
        return error_.set(fault_code::access_denied, "the server wants an account", login_needs_account);
    if (control_.code() == login_needs_account && !control_.ask("ACCT", account, until, error_))
        return false;
    return control_.kind() == ftp_reply_kind::completed || control_.refuse(error_);
}

void ftp_session::disconnect() {
    close_data();
    transferring_ = false;
    if (control_.is_open()) {
        // Its reply is awaited, so that the server does not find the connection cut; what it says is no
        // matter.
        transfer_error ignored;
        control_.ask("QUIT", "", limit(), ignored);
    }
    control_.close();
}

bool ftp_session::ask(std::string_view verb, std::string_view argument) {
    return control_.ask(verb, argument, limit(), error_);
}

bool ftp_session::command(std::string_view verb, std::string_view argument) {
    if (!ask(verb, argument))
        return false;
    return control_.kind() == ftp_reply_kind::completed || control_.refuse(error_);
}

bool ftp_session::set_type(char type) {
    if (type == type_)
        return true;
    type_ = '\0';
    if (!command("TYPE", {&type, 1}))
        return false;
    type_ = type;
    return true;
}

bool ftp_session::find_size(const char* path, std::optional<uint64_t>& size) {
    uint64_t told = 0;
    if (!ask("SIZE", path))
        return false;
    if (control_.kind() == ftp_reply_kind::completed && parse_ftp_size(control_.text(), told))
        size = told;
    return true;
}

bool ftp_session::restart_at(uint64_t offset) {
    char text[24];
    ombrel_snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(offset));
    return ask("REST", text) && (control_.code() == restart_accepted || control_.refuse(error_));
}

/// The transfer goes on when the server says that it begins.
bool ftp_session::start(const ftp_job& job) {
    const deadline until = limit();
    if (!control_.send(job.verb, job.argument, until, error_) || !control_.read_reply(until, error_))
        return false;
    transferring_ = control_.kind() == ftp_reply_kind::preliminary;
    return transferring_ || control_.refuse(error_);
}

bool ftp_session::begin(const ftp_job& job) {
    close_data();
    job_ = job;
    ombrel_snprintf(argument_, sizeof argument_, "%s", job.argument);
    job_.argument = argument_;
    position_ = job.offset;
    quiet_until_ = deadline(settings_.keep_alive_ms);
    if (prepare_data() && (job.offset == 0 || restart_at(job.offset)) && start(job) &&
        (data_ || accept_data()))
        return true;
    if (transferring_)
        abort();
    close_data();
    return false;
}

} // namespace ombrel::protocol
