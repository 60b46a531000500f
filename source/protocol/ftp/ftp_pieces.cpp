// Transfers that users begin, move the bytes of, and end.
#include "core/fault.h"
#include "protocol/ftp/ftp_object.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr int no_offset = 0;

/// @param path null for a job without one
int begin_file(ombrel_ftp_t* ftp, ftp_job job, int64_t offset, uint32_t flags) {
    job.is_text = (flags & def_ombrel_ftp_text) != 0;
    if (offset < 0 || (job.is_text && offset > 0) || (flags & ~def_ombrel_ftp_text) != 0)
        return refuse_ftp_call(ftp, fault_code::invalid, "a place or a flag that makes no sense");
    job.offset = static_cast<uint64_t>(offset);
    if (!may_ask(ftp) || end_ftp_call(*ftp, ftp->session.set_type(job.is_text ? 'A' : 'I')) != 0)
        return -1;
    if (!job.sends && !job.is_text && !ask_size(*ftp, job.argument, job.size))
        return end_ftp_call(*ftp, false);
    return end_ftp_call(*ftp, begin_transfer(*ftp, job, job.is_text));
}

int begin_named(ombrel_ftp_t* ftp, const ftp_job& job, int64_t offset, uint32_t flags) {
    return is_ftp_path(job.argument)
               ? begin_file(ftp, job, offset, flags)
               : refuse_ftp_call(ftp, fault_code::invalid, "a name that no command can carry");
}

/// "FILE: name" (RFC 1123), which begins the reply's text.
void note_stored_name(ombrel_ftp_t& ftp) {
    constexpr std::string_view mark = "FILE: ";
    const std::string_view text = ftp.session.control().text();
    copy_printable(ftp.stored_name, sizeof ftp.stored_name,
                   starts_with(text, mark) ? slice(text, mark.size()) : std::string_view());
}

/// Whether there is a transfer whose bytes go in a direction, or was one.
bool may_move(ombrel_ftp_t* ftp, bool sends, const void* bytes, size_t size) {
    if (ftp != nullptr && ftp->has_begun && ftp->session.sends() == sends && (bytes != nullptr || size == 0))
        return true;
    refuse_ftp_call(ftp, fault_code::invalid, "there is no such transfer");
    return false;
}

/// The counts of a session, whose failure is made known.
int64_t end_moving(ombrel_ftp_t& ftp, ptrdiff_t count) {
    end_ftp_call(ftp, count != -1);
    return count;
}

} // namespace

int ombrel_ftp_begin_retrieve(ombrel_ftp_t* ftp, const char* path, int64_t offset, uint32_t flags) {
    return begin_named(ftp, {.verb = "RETR", .argument = path}, offset, flags);
}

int ombrel_ftp_begin_store(ombrel_ftp_t* ftp, const char* path, int64_t offset, uint32_t flags) {
    return begin_named(ftp, {.verb = "STOR", .argument = path, .sends = true}, offset, flags);
}

int ombrel_ftp_begin_append(ombrel_ftp_t* ftp, const char* path, uint32_t flags) {
    return begin_named(ftp, {.verb = "APPE", .argument = path, .sends = true}, no_offset, flags);
}

int ombrel_ftp_begin_store_unique(ombrel_ftp_t* ftp, const char* path, uint32_t flags) {
    if (path != nullptr && !is_ftp_path(path))
        return refuse_ftp_call(ftp, fault_code::invalid, "a name that no command can carry");
    const ftp_job job{.verb = "STOU", .argument = path != nullptr ? path : "", .sends = true};
    if (begin_file(ftp, job, no_offset, flags) != 0)
        return -1;
    note_stored_name(*ftp);
    return 0;
}

const char* ombrel_ftp_get_stored_name(const ombrel_ftp_t* ftp) {
    return ftp != nullptr ? ftp->stored_name : "";
}

int ombrel_ftp_wait(ombrel_ftp_t* ftp, int timeout_ms) {
    if (ftp == nullptr || !ftp->has_begun)
        return refuse_ftp_call(ftp, fault_code::invalid, "there is no transfer");
    return static_cast<int>(end_moving(*ftp, ftp->session.wait(timeout_ms)));
}

int64_t ombrel_ftp_read(ombrel_ftp_t* ftp, void* buffer, size_t size, int timeout_ms) {
    if (!may_move(ftp, false, buffer, size))
        return -1;
    static_assert(def_ombrel_ftp_timeout == transfer_waited);
    return end_moving(*ftp, read_transfer(*ftp, buffer, size, timeout_ms));
}

int64_t ombrel_ftp_write(ombrel_ftp_t* ftp, const void* data, size_t size, int timeout_ms) {
    if (!may_move(ftp, true, data, size))
        return -1;
    const int64_t count = end_moving(*ftp, write_transfer(*ftp, data, size, timeout_ms));
    return count == transfer_waited ? 0 : count;
}

int ombrel_ftp_finish(ombrel_ftp_t* ftp) {
    if (ftp == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "no session");
    return end_ftp_call(*ftp, !ftp->has_begun || finish_transfer(*ftp));
}

int ombrel_ftp_abort(ombrel_ftp_t* ftp) {
    if (ftp == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "no session");
    ftp->has_begun = false;
    return end_ftp_call(*ftp, !ftp->session.is_busy() || ftp->session.abort());
}

int ombrel_ftp_get_progress(const ombrel_ftp_t* ftp, int64_t* done, int64_t* total) {
    if (ftp == nullptr || done == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    *done = static_cast<int64_t>(ftp->session.position());
    if (total != nullptr)
        *total = total_of(*ftp);
    return 0;
}
