#include "system/file/copy_bytes.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/file_copy.h"
#include "system/file/file_internal.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

class byte_copy {
public:
    byte_copy(int from, int to, int64_t size, const copy_progress& progress)
        : from_(from), to_(to), size_(size), progress_(progress) {}

    /// Each run at its place; behind the last one a hole, if the file ends with one.
    int copy_runs() {
        while (done_ < size_) {
            platform::file_run run;
            if (!platform::find_file_run(from_, done_, run)) {
                if (last_fault().code == fault_code::not_found)
                    return end_with_hole();
                return copy_around_zeros();
            }
            if (!skip_to(run.start)) // also when there is no hole: the search has moved the position
                return -1;
            if (const int result = copy_until(run.end < size_ ? run.end : INT64_MAX); result != 0)
                return result;
            if (done_ < run.end)
                break;
        }
        return 0;
    }
    /// Up to a place of the original or its end, whichever comes first.
    int copy_until(int64_t end) {
        while (done_ < end) {
            const int64_t copied = copy_some(std::min(end - done_, piece));
            if (copied <= 0)
                return copied == 0 ? 0 : -1;
            done_ += copied;
            if (const int result = progress_.tell(done_, size_); result != 0)
                return result;
        }
        return 0;
    }

private:
    static constexpr int64_t piece = int64_t{64} << 20;
    static constexpr size_t block_size = size_t{256} << 10;
    static constexpr size_t hole_size = 4096; ///< what file systems leave out as a rule

    bool skip_to(int64_t place) {
        constexpr auto start = platform::file_origin::start;
        done_ = place;
        return platform::move_file(from_, place, start) >= 0 && platform::move_file(to_, place, start) >= 0;
    }
    /// For hosts that do not tell where the holes are.
    int copy_around_zeros() {
        host_copies_ = false;
        leaves_zeros_out_ = true;
        if (!skip_to(done_))
            return -1;
        const int result = copy_until(INT64_MAX);
        return result != 0 || platform::set_file_size(to_, done_) ? result : -1;
    }
    int end_with_hole() {
        done_ = size_;
        return platform::set_file_size(to_, size_) ? progress_.tell(done_, size_) : -1;
    }
    /// The host's way as long as it does it. Some say the end at once of files that they make up.
    int64_t copy_some(int64_t size) {
        if (host_copies_) {
            const int64_t copied = platform::copy_file_bytes(from_, to_, size);
            const bool is_doubtful = copied == 0 ? done_ == 0 : failed_by(copied, fault_code::not_supported);
            if (!is_doubtful)
                return copied;
            host_copies_ = false;
        }
        return copy_blocks(size);
    }
    int64_t copy_blocks(int64_t size) {
        if (!block_)
            block_ = quiet_ptr<char>(allocate_text(block_size, {"ombrel_copy_file", __LINE__}));
        if (!block_)
            return -1;
        int64_t copied = 0;
        while (copied < size) {
            const size_t wanted = static_cast<size_t>(std::min<int64_t>(size - copied, block_size));
            const int got = platform::read_descriptor(from_, block_.get(), wanted);
            if (got < 0 || (got > 0 && !put_block(static_cast<size_t>(got))))
                return -1;
            if (got == 0)
                break;
            copied += got;
        }
        return copied;
    }

    bool put_block(size_t size) {
        const std::string_view block(block_.get(), size);
        if (!leaves_zeros_out_)
            return put_bytes(block);
        for (size_t at = 0; at < size;) {
            const bool are_zeros = is_zero(slice(block, at, hole_size));
            const std::string_view run = slice(block, at, run_size(slice(block, at), are_zeros));
            if (!(are_zeros ? leave_out(run.size()) : put_bytes(run)))
                return false;
            at += run.size();
        }
        return true;
    }
    /// How many bytes from the first on are zeros, or are none, as whole holes would be.
    static size_t run_size(std::string_view bytes, bool are_zeros) {
        size_t end = 0;
        while (end < bytes.size() && is_zero(slice(bytes, end, hole_size)) == are_zeros)
            end = std::min(end + hole_size, bytes.size());
        return end;
    }
    static bool is_zero(std::string_view bytes) {
        return bytes[0] == 0 && memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
    }
    bool leave_out(size_t size) {
        return platform::move_file(to_, static_cast<int64_t>(size), platform::file_origin::current) >= 0;
    }
    bool put_bytes(std::string_view bytes) {
        return ombrel_file_write_all(to_, bytes.data(), bytes.size()) == 0;
    }

    int from_, to_;
    int64_t size_, done_ = 0;
    bool host_copies_ = true, leaves_zeros_out_ = false;
    const copy_progress& progress_;
    quiet_ptr<char> block_;
};

bool is_regular(int descriptor) {
    ombrel_file_info_t info;
    return platform::get_file_info(descriptor, info) && info.m_kind == def_ombrel_file_kind_regular;
}

} // namespace

int copy_all_bytes(int from, const ombrel_file_info_t& info, int to, const copy_progress& progress) {
    const bool is_plain = info.m_kind == def_ombrel_file_kind_regular && is_regular(to);
    if (is_plain && info.m_size > 0 && platform::share_file_bytes(from, to))
        return progress.tell(info.m_size, info.m_size);
    byte_copy copy(from, to, info.m_size, progress);
    const bool has_holes = is_plain && info.m_allocated < info.m_size;
    if (has_holes)
        platform::allow_file_holes(to);
    return has_holes ? copy.copy_runs() : copy.copy_until(INT64_MAX);
}

/// Owner before permissions, as a change of the owner takes some away; times last, as all else changes them.
bool keep_what_is_asked(const ombrel_file_info_t& info, int to, uint32_t flags) {
    const bool is_owned = !has(flags, def_ombrel_file_keep_owner) ||
                          platform::set_file_owner(to, info.m_owner, info.m_group) ||
                          platform::set_file_owner(to, UINT32_MAX, info.m_group);
    constexpr uint32_t as_owner = 06000;
    const uint32_t mode = is_owned ? info.m_mode : info.m_mode & ~as_owner;
    return (!has(flags, def_ombrel_file_keep_mode) || platform::set_file_mode(to, mode)) &&
           (!has(flags, def_ombrel_file_keep_times) ||
            platform::set_file_times(to, {&info.m_accessed, &info.m_modified}));
}

uint32_t first_mode(const ombrel_file_info_t& info, uint32_t flags) {
    constexpr uint32_t for_all = 0666, own = 0700, plain = 0777;
    const bool is_file = info.m_kind == def_ombrel_file_kind_regular;
    const uint32_t mode = is_file ? info.m_mode & plain : for_all;
    return has(flags, def_ombrel_file_keep_mode) ? mode & own : mode;
}

} // namespace ombrel::system
