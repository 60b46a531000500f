#include <ombrel/directory.h>

#include <cstring>

#include "platform/directory.h"
#include "system/file/file_internal.h"
#include "system/tree/entry_list.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::system;

struct ombrel_directory_ts {
    platform::open_directory* host;
};

namespace {

using directory_t = ombrel_directory_t;

/// The host's directory, closed at the end of the scope unless it was released.
class owned_directory {
public:
    explicit owned_directory(const char* path)
        : host_(is_path(path)
                    ? platform::open_directory_at(platform::by_path(), path, platform::at_link::follow)
                    : nullptr) {}
    ~owned_directory() {
        const fault_keeper kept;
        if (host_ != nullptr)
            platform::close_directory(host_);
    }
    owned_directory(const owned_directory&) = delete;
    owned_directory& operator=(const owned_directory&) = delete;

    platform::open_directory* get() const { return host_; }
    platform::open_directory* release() { return std::exchange(host_, nullptr); }

private:
    platform::open_directory* host_;
};

/// The names of a directory, their memory given back at the end of the scope.
struct owned_list : entry_list {
    owned_list() = default;
    ~owned_list() { release(); }
    owned_list(const owned_list&) = delete;
    owned_list& operator=(const owned_list&) = delete;
};

/// Entries and names in one block of the caller's.
ombrel_directory_entry_t* packed(entry_list& list, call_site caller) {
    const size_t head = (list.count() + 1) * sizeof(ombrel_directory_entry_t);
    char* const block = allocate_text(head + list.name_bytes(), caller);
    if (block == nullptr)
        return nullptr;
    auto* const entries = reinterpret_cast<ombrel_directory_entry_t*>(block);
    char* names = block + head;
    entry_list::entry taken;
    size_t at = 0;
    for (; list.take(taken); at++) {
        entries[at] = {names, taken.kind, taken.size};
        names = put_text(names, taken.name) + 1;
        names[-1] = '\0';
    }
    entries[at] = {nullptr, def_ombrel_file_kind_none, -1};
    return entries;
}

} // namespace

ombrel_directory_t* ombrel_open_directory_tag(const char* path, const char* function, unsigned long line) {
    owned_directory host(path);
    if (host.get() == nullptr)
        return nullptr;
    auto* const directory = allocate_record<directory_t>(function, line);
    if (directory == nullptr)
        refuse(fault_code::no_memory);
    else
        directory->host = host.release();
    return directory;
}

int ombrel_directory_next(ombrel_directory_t* directory, ombrel_directory_entry_t* entry) {
    if (directory == nullptr || entry == nullptr)
        return result_of(refuse(fault_code::invalid));
    platform::found_entry found;
    const int result = platform::next_entry(directory->host, found);
    if (result == 1)
        *entry = {found.name, found.kind, found.size};
    return result;
}

int ombrel_directory_rewind(ombrel_directory_t* directory) {
    return result_of(directory != nullptr ? platform::rewind_directory(directory->host)
                                          : refuse(fault_code::invalid));
}

int ombrel_close_directory(ombrel_directory_t* directory) {
    const quiet_ptr<directory_t> closed(directory);
    const fault_keeper kept;
    if (directory != nullptr)
        platform::close_directory(directory->host);
    return 0;
}

ombrel_directory_entry_t* ombrel_alloc_directory_list_tag(const char* path, size_t* count,
                                                          const char* function, unsigned long line) {
    const owned_directory host(path);
    owned_list list;
    if (host.get() == nullptr || !list.read(host.get(), entry_list::order::of_bytes, function))
        return nullptr;
    if (count != nullptr)
        *count = list.count();
    return packed(list, {function, line});
}
