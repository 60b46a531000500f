#include "protocol/ftp/ftp_object.h"

#include "core/fault.h"

namespace ombrel::protocol {

int refuse_ftp_call(ombrel_ftp_t* ftp, fault_code fault, const char* text) {
    if (ftp != nullptr) {
        ftp->shown.clear();
        ftp->shown.set(fault, text);
    }
    leave_fault(fault);
    return -1;
}

bool may_ask(ombrel_ftp_t* ftp) {
    if (ftp == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "no session") == 0;
    if (!ftp->session.is_connected())
        return refuse_ftp_call(ftp, fault_code::not_connected, "there is no connection to a server") == 0;
    if (ftp->session.is_busy())
        return refuse_ftp_call(ftp, fault_code::busy, "a transfer is under way") == 0;
    ftp->has_begun = false;
    ftp->session.error().clear();
    return true;
}

bool is_ftp_path(const char* text) {
    constexpr size_t longest = 1000;
    if (text == nullptr)
        return false;
    const std::string_view path(text);
    return !path.empty() && path.size() <= longest && is_ftp_argument(path);
}

bool may_ask(ombrel_ftp_t* ftp, const char* path) {
    if (!is_ftp_path(path))
        return refuse_ftp_call(ftp, fault_code::invalid, "a name that no command can carry") == 0;
    return may_ask(ftp);
}

int end_ftp_call(ombrel_ftp_t& ftp, bool good) {
    ftp.shown.clear();
    if (good)
        return 0;
    ftp.shown = ftp.session.error();
    leave_fault(ftp.shown.fault());
    return -1;
}

bool begin_transfer(ombrel_ftp_t& ftp, const ftp_job& job, bool converts) {
    ftp.line_ends.clear();
    ftp.is_text = converts;
    ftp.has_begun = true;
    return ftp.session.begin(job);
}

ptrdiff_t read_transfer(ombrel_ftp_t& ftp, void* buffer, size_t size, int timeout_ms) {
    return ftp.is_text ? ftp.line_ends.read(ftp.session, static_cast<char*>(buffer), size, timeout_ms)
                       : ftp.session.read(buffer, size, timeout_ms);
}

ptrdiff_t write_transfer(ombrel_ftp_t& ftp, const void* data, size_t size, int timeout_ms) {
    return ftp.is_text ? ftp.line_ends.write(ftp.session, static_cast<const char*>(data), size, timeout_ms)
                       : ftp.session.write(data, size, timeout_ms);
}

bool finish_transfer(ombrel_ftp_t& ftp) {
    ftp_session& session = ftp.session;
    if (!session.sends() && session.is_busy()) {
        ftp.has_begun = false;
        return session.abort();
    }
    if (session.sends() && session.is_busy() && ftp.is_text &&
        ftp.line_ends.flush(session, deadline(session.settings().limit_ms)) == 0) {
        session.error().set(fault_code::timed_out, "the server takes no bytes");
        session.abort();
    }
    return session.finish();
}

bool ask_size(ombrel_ftp_t& ftp, const char* path, std::optional<uint64_t>& size) {
    const bool lacks_it = ftp.has_features && !has_feature(ftp, def_ombrel_ftp_feature_size);
    return lacks_it || ftp.session.find_size(path, size);
}

int64_t total_of(const ombrel_ftp_t& ftp) {
    return static_cast<int64_t>(ftp.session.size().value_or(UINT64_MAX));
}

int show_progress(ombrel_ftp_t& ftp) {
    if (ftp.options.m_progress_handler == nullptr)
        return 0;
    const int64_t done = static_cast<int64_t>(ftp.session.position());
    const int64_t total = total_of(ftp);
    return ftp.options.m_progress_handler(&ftp, done, total, ftp.options.m_context);
}

} // namespace ombrel::protocol
