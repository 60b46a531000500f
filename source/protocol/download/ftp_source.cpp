// Files from servers of FTP, whose size and time of change tell whether one is still the same.
#include <string_view>

#include <ombrel/ftp.h>
#include <ombrel/uri.h>

#include "protocol/download/source_reader.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

using std::string_view;

/// A session for the length of a scope.
class ftp_guard {
public:
    explicit ftp_guard(const ombrel_ftp_options_t& options) : ftp_(ombrel_open_ftp(&options)) {}
    ~ftp_guard() { ombrel_close_ftp(ftp_); }
    ftp_guard(const ftp_guard&) = delete;
    ftp_guard& operator=(const ftp_guard&) = delete;

    ombrel_ftp_t* get() const { return ftp_; }

private:
    ombrel_ftp_t* ftp_;
};

/// Replies from 400 to 499 are of the moment.
source_end fail_by_ftp(const transfer& what, ombrel_ftp_t* ftp) {
    const ombrel_transfer_error_t* const error = ombrel_ftp_get_error(ftp);
    if (error == nullptr)
        return fail_source(what, fault_code::no_memory, "no memory");
    const source_end end =
        fail_source(what, static_cast<fault_code>(error->m_fault), error->m_text, error->m_peer_code);
    return error->m_peer_code / 100 == 4 ? source_end::failed : end;
}

bool log_in(ombrel_ftp_t* ftp, const ombrel_uri_t& uri) {
    const int port = uri.m_port >= 0 ? uri.m_port : def_ombrel_ftp_port;
    return ombrel_ftp_connect(ftp, uri.m_host, port) == 0 &&
           ombrel_ftp_log_in(ftp, uri.m_user, uri.m_password, nullptr) == 0;
}

/// What servers do not tell is not known; they answer in words when it matters.
resource_info resource_of(ombrel_ftp_t* ftp, const char* path) {
    resource_info resource;
    ombrel_instant_t changed;
    resource.is_told_apart = true;
    resource.size = ombrel_ftp_get_size(ftp, path);
    if (ombrel_ftp_get_time(ftp, path, &changed) == 0)
        set_change(resource, changed);
    return resource;
}

bool begin(const transfer& what, ombrel_ftp_t* ftp, const char* path, source_answer& answer) {
    const source_request& request = what.request;
    const bool goes_on = request.offset > 0 && request.offset <= answer.resource.size &&
                         request.known->agrees_with(answer.resource);
    if (goes_on && ombrel_ftp_begin_retrieve(ftp, path, request.offset, 0) == 0) {
        answer.offset = request.offset;
        return true;
    }
    return ombrel_ftp_begin_retrieve(ftp, path, 0, 0) == 0;
}

source_end receive(const transfer& what, ombrel_ftp_t* ftp, const char* path) {
    source_answer answer;
    answer.resource = resource_of(ftp, path);
    if (!what.watch.goes_on())
        return source_end::stopped;
    if (!begin(what, ftp, path, answer))
        return fail_by_ftp(what, ftp);
    if (!what.watch.enter(def_ombrel_download_receiving) || !what.sink.begin(what.sink.context, answer))
        return ombrel_ftp_abort(ftp), source_end::stopped;
    const source_end end = read_source(
        what, [&](int limit_ms) { return ombrel_ftp_wait(ftp, limit_ms); },
        [&](void* buffer, size_t size) { return ombrel_ftp_read(ftp, buffer, size, -1); },
        [&] { return fail_by_ftp(what, ftp); });
    if (end == source_end::stopped)
        ombrel_ftp_abort(ftp);
    return end;
}

/// The path is relative to the directory of the login, without the slash that ends the host and a type.
heap_ptr<char> path_of(const ombrel_uri_t& uri) {
    constexpr string_view type = ";type=i";
    string_view path = slice(uri.m_encoded_path, 1);
    path.remove_suffix(path.ends_with(type) ? type.size() : 0);
    return heap_ptr<char>(ombrel_decode_uri_tag(path.data(), path.size(), "ombrel_download_file", __LINE__));
}

} // namespace

source_end fetch_ftp(const transfer& what) {
    const heap_ptr<ombrel_uri_t> uri(
        ombrel_parse_uri_tag(what.request.uri, "ombrel_download_file", __LINE__));
    const heap_ptr<char> path = uri ? path_of(*uri) : heap_ptr<char>();
    if (!path || *path == '\0' || uri->m_host == nullptr)
        return fail_source(what, fault_code::invalid, "the address cannot be understood");
    ombrel_ftp_options_t options;
    ombrel_init_ftp_options(&options);
    options.m_step_ms = what.watch.within_whole(what.request.options.m_connect_ms);
    const ftp_guard session(options);
    ombrel_ftp_t* const ftp = session.get();
    return ftp != nullptr && log_in(ftp, *uri) ? receive(what, ftp, path.get()) : fail_by_ftp(what, ftp);
}

} // namespace ombrel::protocol
