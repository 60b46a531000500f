#include "system/process/rotating_log.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <ombrel/file.h>
#include <ombrel/printf.h>

#include "system/process/absolute_path.h"
#include "system/process/process_internal.h"

namespace ombrel::system {

namespace {

constexpr size_t number_room = sizeof ".4294967295";

heap_ptr<char> room_for_name(const char* path, const call_site& caller) {
    const size_t size = strlen(path) + number_room;
    return heap_ptr<char>(static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line)));
}

} // namespace

bool rotating_log::open(const char* path, int64_t size, uint32_t count, const call_site& caller) {
    path_ = absolute_path(path, caller);
    if (!path_)
        return false;
    from_ = room_for_name(path_.get(), caller);
    to_ = room_for_name(path_.get(), caller);
    if (!from_ || !to_)
        return fail_by(fault_code::no_memory, false);
    limit_ = size;
    count_ = count;
    return begin(0);
}

bool rotating_log::begin(uint32_t how) {
    constexpr uint32_t at_end = def_ombrel_file_append | def_ombrel_file_create | def_ombrel_file_no_wait;
    file_.reset(ombrel_open_file(path_.get(), at_end | how, 0666));
    if (!file_)
        return false;
    size_ = ombrel_file_get_size(file_.get());
    if (size_ < 0)
        limit_ = 0;
    return true;
}

const char* rotating_log::name_of(uint32_t number, heap_ptr<char>& place) const {
    if (number == 0)
        return path_.get();
    ombrel_snprintf(place.get(), strlen(path_.get()) + number_room, "%s.%u", path_.get(), number);
    return place.get();
}

/// "PATH.1" becomes "PATH.2" and so on, as far as they are there; the last one goes.
void rotating_log::shift_earlier() {
    for (uint32_t number = count_; number > 1; number--)
        ombrel_rename_file(name_of(number - 1, from_), name_of(number, to_), 0);
}

bool rotating_log::begin_anew() {
    file_.reset();
    if (count_ == 0)
        return begin(def_ombrel_file_truncate);
    shift_earlier();
    // Where it stays, nothing is lost of it and nothing more comes to it.
    return ombrel_rename_file(path_.get(), name_of(1, to_), 0) == 0 && begin(0);
}

/// How much of the data belongs into the file as it is: whole lines as long as there is room for any.
size_t rotating_log::part_for_file(const char* data, size_t size) const {
    const auto room = static_cast<uint64_t>(std::max<int64_t>(limit_ - size_, 0));
    if (limit_ == 0 || size <= room)
        return size;
    const std::string_view fitting(data, static_cast<size_t>(room));
    const size_t lines = fitting.rfind('\n') + 1; // npos and 1 are 0
    return lines == 0 && size_ == 0 ? fitting.size() : lines;
}

size_t rotating_log::write(const char* data, size_t size) {
    size_t done = 0;
    while (done < size) {
        if (!file_ && !begin(0))
            break;
        const size_t part = part_for_file(data + done, size - done);
        if (part == 0 && !begin_anew())
            break;
        const int64_t written = part > 0 ? ombrel_file_write(file_.get(), data + done, part) : 0;
        if (written < 0)
            break;
        size_ += written;
        done += static_cast<size_t>(written);
    }
    return done;
}

} // namespace ombrel::system
