// Whole files, between the server and this host.
#include <ombrel/file.h>
#include <ombrel/heap.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/ftp/ftp_object.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr size_t piece_size = 256 * 1024;
constexpr uint32_t known_flags = def_ombrel_ftp_text | def_ombrel_ftp_resume;

/// A file of this host and a piece of it.
class local_file {
public:
    local_file() : piece_(static_cast<char*>(ombrel_alloc_tag(piece_size, "ftp_file", __LINE__))) {}
    ~local_file() { close(); }
    local_file(const local_file&) = delete;
    local_file& operator=(const local_file&) = delete;

    bool open(const char* path, uint32_t flags) {
        if (piece_)
            file_ = ombrel_open_file(path, flags, 0666);
        return file_ != -1;
    }
    bool has_memory() const { return static_cast<bool>(piece_); }
    int64_t size() const { return ombrel_file_get_size(file_); }
    bool go_to(int64_t offset) const {
        return ombrel_file_seek(file_, offset, def_ombrel_file_seek_start) == offset;
    }
    bool cut(int64_t size) const { return ombrel_file_set_size(file_, size) == 0; }
    int64_t read() const { return ombrel_file_read(file_, piece_.get(), piece_size); }
    bool write(size_t size) const { return ombrel_file_write_all(file_, piece_.get(), size) == 0; }
    char* piece() const { return piece_.get(); }
    bool close() {
        const int file = std::exchange(file_, -1);
        return file == -1 || ombrel_close_file(file) == 0;
    }

private:
    heap_ptr<char> piece_;
    int file_ = -1;
};

/// Makes a fault of this host, the last one, the call's. @return -1
int refuse_by_host(ombrel_ftp_t* ftp, const char* text) {
    const fault why = last_fault();
    refuse_ftp_call(ftp, why.code, text);
    leave_fault(why);
    return -1;
}

/// The same in the middle of a transfer.
int give_up_by_host(ombrel_ftp_t* ftp, const char* text) {
    const fault why = last_fault();
    ftp->session.abort();
    leave_fault(why);
    return refuse_by_host(ftp, text);
}

int give_up_waiting(ombrel_ftp_t* ftp) {
    ftp->session.abort();
    return refuse_ftp_call(ftp, fault_code::timed_out, "the transfer does not go on");
}

bool check_call(ombrel_ftp_t* ftp, const char* path, const char* local_path, uint32_t flags) {
    if (local_path != nullptr && (flags & ~known_flags) == 0 && flags != known_flags)
        return may_ask(ftp, path);
    refuse_ftp_call(ftp, fault_code::invalid, "a path or flags that make no sense");
    return false;
}

/// @return 0, -1 or what the progress handler returned
int receive_all(ombrel_ftp_t* ftp, const local_file& file) {
    for (;;) {
        const ptrdiff_t count = read_transfer(*ftp, file.piece(), piece_size, ftp->options.m_step_ms);
        if (count == transfer_waited)
            return give_up_waiting(ftp);
        if (count <= 0)
            return end_ftp_call(*ftp, count == 0);
        if (!file.write(static_cast<size_t>(count)))
            return give_up_by_host(ftp, "the file could not be written");
        if (const int result = show_progress(*ftp); result != 0)
            return ftp->session.abort(), result;
    }
}

int send_piece(ombrel_ftp_t* ftp, const char* piece, size_t size) {
    for (size_t sent = 0; sent < size;) {
        const ptrdiff_t count = write_transfer(*ftp, piece + sent, size - sent, ftp->options.m_step_ms);
        if (count == transfer_waited)
            return give_up_waiting(ftp);
        if (count < 0)
            return end_ftp_call(*ftp, false);
        sent += static_cast<size_t>(count);
    }
    return 0;
}

int send_all(ombrel_ftp_t* ftp, const local_file& file) {
    for (;;) {
        const int64_t count = file.read();
        if (count < 0)
            return give_up_by_host(ftp, "the file could not be read");
        if (count == 0)
            return end_ftp_call(*ftp, finish_transfer(*ftp));
        if (const int result = send_piece(ftp, file.piece(), static_cast<size_t>(count)); result != 0)
            return result;
        if (const int result = show_progress(*ftp); result != 0)
            return ftp->session.abort(), result;
    }
}

/// The size of a file on the server, which need not be there or told: 0 then.
bool find_remote_size(ombrel_ftp_t* ftp, const char* path, std::optional<uint64_t>& size) {
    return end_ftp_call(*ftp, ftp->session.set_type('I') && ask_size(*ftp, path, size)) == 0;
}

/// A server that confirms a file may have lost some of it.
int check_remote_size(ombrel_ftp_t* ftp, const char* path, uint64_t sent) {
    std::optional<uint64_t> size;
    if (!find_remote_size(ftp, path, size))
        return -1;
    return !size || *size == sent
               ? 0
               : refuse_ftp_call(ftp, fault_code::violation, "the server has another size of the file");
}

/// Where to go on with a file of which a part is there; nothing when it is there whole. A longer one is
/// another file.
std::optional<int64_t> place_to_resume(int64_t there, int64_t whole) {
    if (there == whole)
        return std::nullopt;
    return there < whole ? there : 0;
}

/// What is there of a file that is to be gone on with; -1 for none.
int64_t size_here(const char* path) {
    ombrel_file_info_t info;
    return ombrel_get_file_info(path, 0, &info) == 0 ? info.m_size : -1;
}

/// The file is opened when the server has begun to send, so that none is made or cut for nothing.
int receive_file(ombrel_ftp_t* ftp, const char* local_path, int64_t place) {
    local_file file;
    if (!file.has_memory()) {
        ftp->session.abort();
        return refuse_ftp_call(ftp, fault_code::no_memory, "out of memory");
    }
    if (!file.open(local_path, def_ombrel_file_write | def_ombrel_file_create) || !file.cut(place) ||
        !file.go_to(place))
        return give_up_by_host(ftp, "the file could not be written");
    const int result = receive_all(ftp, file);
    return file.close() || result != 0 ? result : refuse_by_host(ftp, "the file could not be written");
}

int download_rest(ombrel_ftp_t* ftp, const char* path, const char* local_path) {
    std::optional<uint64_t> size;
    const int64_t there = size_here(local_path);
    if (!find_remote_size(ftp, path, size))
        return -1;
    int64_t place = std::max<int64_t>(there, 0);
    if (there >= 0 && size) {
        const std::optional<int64_t> left = place_to_resume(there, static_cast<int64_t>(*size));
        if (!left)
            return 0;
        place = *left;
    }
    const ftp_job job{.verb = "RETR", .argument = path, .offset = static_cast<uint64_t>(place), .size = size};
    return end_ftp_call(*ftp, begin_transfer(*ftp, job, false)) == 0 ? receive_file(ftp, local_path, place)
                                                                     : -1;
}

/// @param offset where to begin, on both sides
int upload_from(ombrel_ftp_t* ftp, const local_file& file, const char* path, int64_t offset, uint32_t flags) {
    if (!file.go_to(offset))
        return refuse_by_host(ftp, "the file could not be read");
    if (ombrel_ftp_begin_store(ftp, path, offset, flags) != 0)
        return -1;
    const int result = send_all(ftp, file);
    const bool has_size = result == 0 && (flags & def_ombrel_ftp_text) == 0;
    return has_size ? check_remote_size(ftp, path, ftp->session.position()) : result;
}

int upload_rest(ombrel_ftp_t* ftp, const local_file& file, const char* path) {
    std::optional<uint64_t> size;
    const int64_t whole = file.size();
    if (whole < 0)
        return refuse_by_host(ftp, "the file has no size");
    if (!find_remote_size(ftp, path, size))
        return -1;
    const auto place = place_to_resume(static_cast<int64_t>(size.value_or(0)), whole);
    return place || !size ? upload_from(ftp, file, path, place.value_or(0), 0) : 0;
}

} // namespace

int ombrel_ftp_download(ombrel_ftp_t* ftp, const char* path, const char* local_path, uint32_t flags) {
    if (!check_call(ftp, path, local_path, flags))
        return -1;
    if ((flags & def_ombrel_ftp_resume) != 0)
        return download_rest(ftp, path, local_path);
    return ombrel_ftp_begin_retrieve(ftp, path, 0, flags) == 0 ? receive_file(ftp, local_path, 0) : -1;
}

int ombrel_ftp_upload(ombrel_ftp_t* ftp, const char* local_path, const char* path, uint32_t flags) {
    local_file file;
    if (!check_call(ftp, path, local_path, flags))
        return -1;
    if (!file.open(local_path, def_ombrel_file_read))
        return file.has_memory() ? refuse_by_host(ftp, "the file could not be opened")
                                 : refuse_ftp_call(ftp, fault_code::no_memory, "out of memory");
    return (flags & def_ombrel_ftp_resume) != 0 ? upload_rest(ftp, file, path)
                                                : upload_from(ftp, file, path, 0, flags);
}
