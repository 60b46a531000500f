#include <ombrel/daemon.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>

#include <ombrel/file.h>
#include <ombrel/printf.h>
#include <ombrel/process.h>

#include "core/deadline.h"
#include "platform/system.h"
#include "platform/thread.h"
#include "system/process/absolute_path.h"
#include "system/process/owned_descriptor.h"
#include "system/process/process_internal.h"
#include "text/number.h"

using namespace ombrel;
using namespace ombrel::system;

struct ombrel_pid_file_ts {
    int descriptor;
    int owner; ///< the process that took it
    char* path;
};

namespace {

/// Bytes far behind the text, which stays free to be read. Who wants the file locks the first of them, writes
/// its number, and locks the second, which tells others that the number is that of a living owner.
enum lock_place : int64_t { place_of_claim = INT64_C(1) << 62, place_of_owner };

int lock(int descriptor, lock_place place, uint32_t flags, int timeout_ms) {
    return ombrel_file_lock_region(descriptor, place, 1, flags, timeout_ms);
}

/// As lock() for itself, with a fault when others have it.
bool take_lock(int descriptor, lock_place place, int timeout_ms) {
    const int result = lock(descriptor, place, 0, timeout_ms);
    if (result == 0)
        leave_fault(fault_code::busy);
    return result == 1;
}

/// 1 when a living owner holds its lock, 0 when nobody does, or -1. The look is a lock itself, for a moment,
/// but one that lets others look.
int is_owned(int descriptor) {
    const int result = lock(descriptor, place_of_owner, def_ombrel_file_shared, 0);
    if (result == 1)
        ombrel_file_unlock_region(descriptor, place_of_owner, 1);
    return result == 1 ? 0 : result == 0 ? 1 : -1;
}

/// Whether the file is still the one at the path, which an owner removes when it ends.
bool is_at(int descriptor, const char* path) {
    ombrel_file_info_t own, there;
    return ombrel_file_get_info(descriptor, &own) == 0 &&
           ombrel_get_file_info(path, def_ombrel_file_no_follow, &there) == 0 &&
           own.m_device == there.m_device && own.m_serial == there.m_serial;
}

/// The file at a path, made if need be, with its claim locked; -1 with its fault.
owned_descriptor open_claimed(const char* path) {
    constexpr uint32_t flags = def_ombrel_file_read | def_ombrel_file_write | def_ombrel_file_create |
                               def_ombrel_file_no_follow | def_ombrel_file_no_wait;
    constexpr int attempts = 1000; // as often its owner may remove the file between two steps
    for (int i = 0; i < attempts; i++) {
        owned_descriptor file(ombrel_open_file(path, flags, 0644));
        if (!file || !take_lock(file.get(), place_of_claim, 0))
            return owned_descriptor();
        if (is_at(file.get(), path))
            return file;
    }
    leave_fault(fault_code::busy);
    return owned_descriptor();
}

/// What a pid file has in it, without the spaces and zero bytes that others, or a crash, leave at its end.
class pid_text {
public:
    /// False with its fault when it cannot be read.
    bool read(int descriptor) {
        const int64_t size = ombrel_file_read_all_at(descriptor, bytes_, sizeof bytes_, 0);
        if (size < 0)
            return false;
        text_ = {bytes_, static_cast<size_t>(size)};
        const size_t last = text_.find_last_not_of(std::string_view("\n\r \t\0", 5));
        text_.remove_suffix(text_.size() - (last + 1)); // npos and 1 are 0
        return true;
    }

    bool is_empty() const { return text_.empty(); }

    /// The process's number; 0 when there is none.
    int number() const {
        int number = 0;
        return parse_number(text_, 1, INT_MAX, number) ? number : 0;
    }

private:
    char bytes_[32];
    std::string_view text_;
};

bool write_number(int descriptor, int process) {
    char text[16];
    const int size = ombrel_snprintf(text, sizeof text, "%d\n", process);
    return ombrel_file_set_size(descriptor, 0) == 0 &&
           ombrel_file_write_all_at(descriptor, text, static_cast<size_t>(size), 0) == 0;
}

/// Puts this process's number into a locked file, unless that has something else in it, which nobody wants to
/// lose by a wrong path.
bool claim(int descriptor) {
    pid_text before;
    if (!before.read(descriptor))
        return false;
    if (before.is_empty() || before.number() != 0)
        return write_number(descriptor, platform::process_id());
    return fail_by(fault_code::exists, false);
}

/// Whether the file is this process's from now on. Others only look at the second lock, which is soon over.
bool become_owner(int descriptor) {
    constexpr int longest_look_ms = 10'000;
    return claim(descriptor) && take_lock(descriptor, place_of_owner, longest_look_ms);
}

/// 1 for a living owner, 0 for none, -1 when nobody can tell.
int look(const char* path, int& process) {
    const owned_descriptor file(ombrel_open_file(path, def_ombrel_file_read | def_ombrel_file_no_wait, 0));
    if (!file)
        return failed_by(-1, fault_code::not_found) ? 0 : -1;
    // The lock first: once it is there, so is the owner's number.
    const int owned = is_owned(file.get());
    pid_text text;
    if (owned < 0 || !text.read(file.get()))
        return -1;
    process = text.number();
    return owned;
}

/// 1 once the file is no longer that process's, 0 when it still is at the end of the time, -1 when nobody can
/// tell.
int wait_until_left(const char* path, int process, const deadline& limit) {
    constexpr int longest_pause = 64;
    for (int pause = 1;; pause = std::min(pause * 2, longest_pause)) {
        int owner;
        const int is_alive = look(path, owner);
        if (is_alive <= 0 || owner != process)
            return is_alive < 0 ? -1 : 1;
        const int left = limit.left();
        if (left == 0)
            return 0;
        platform::sleep_milliseconds(static_cast<uint32_t>(shorter_wait(left, pause)));
    }
}

} // namespace

ombrel_pid_file_t* ombrel_open_pid_file_tag(const char* path, const char* function, unsigned long line) {
    if (path == nullptr)
        return fail_by<ombrel_pid_file_t*>(fault_code::invalid, nullptr);
    heap_ptr<char> place = absolute_path(path, {function, line});
    if (!place)
        return nullptr;
    heap_ptr<ombrel_pid_file_t> made(allocate_record<ombrel_pid_file_t>(function, line));
    if (!made)
        return fail_by<ombrel_pid_file_t*>(fault_code::no_memory, nullptr);
    owned_descriptor file = open_claimed(place.get());
    if (!file || !become_owner(file.get()))
        return nullptr;
    *made = {file.release(), platform::process_id(), place.release()};
    return made.release();
}

int ombrel_close_pid_file(ombrel_pid_file_t* file) {
    if (file == nullptr)
        return 0;
    const heap_ptr<char> path(file->path);
    const heap_ptr<ombrel_pid_file_t> object(file);
    // Closed last: until it is removed nobody else takes it.
    const owned_descriptor descriptor(file->descriptor);
    const bool is_own = file->owner == platform::process_id() && is_at(file->descriptor, file->path);
    return is_own ? ombrel_remove_file(file->path) : 0;
}

int ombrel_read_pid_file(const char* path, int* process) {
    int number = 0;
    const int result = path != nullptr ? look(path, number) : fail_by(fault_code::invalid);
    if (process != nullptr)
        *process = number;
    return result;
}

int ombrel_stop_pid_file_owner(const char* path, int timeout_ms) {
    int process;
    const int is_alive = ombrel_read_pid_file(path, &process);
    if (is_alive < 0)
        return -1;
    if (is_alive == 0 || process == 0)
        return fail_by(fault_code::no_process);
    if (ombrel_signal_process(process, def_ombrel_process_terminate) != 0)
        return -1;
    return wait_until_left(path, process, deadline(timeout_ms));
}
