#include <ombrel/secret.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <ombrel/file.h>
#include <ombrel/random.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "core/wipe.h"
#include "platform/clock.h"
#include "platform/file_info.h"
#include "protocol/secret/secret_check.h"
#include "protocol/secret/secret_table.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

/// Where a file shows that it is another one, or changed.
struct file_state {
    uint64_t device, serial;
    int64_t size, seconds, changed_seconds;
    int32_t nanoseconds, changed_nanoseconds;

    bool operator==(const file_state&) const = default;
};

file_state state_of(const ombrel_file_info_t& info) {
    return {.device = info.m_device,
            .serial = info.m_serial,
            .size = info.m_size,
            .seconds = info.m_modified.m_seconds,
            .changed_seconds = info.m_changed.m_seconds,
            .nanoseconds = info.m_modified.m_nanoseconds,
            .changed_nanoseconds = info.m_changed.m_nanoseconds};
}

/// Passwords that were right for strong secrets, as keyed digests, so that not each request of a client costs
/// the whole work.
class right_passwords {
public:
    ~right_passwords() { forget(); }

    struct proof {
        unsigned char bytes[def_ombrel_sha256_size];
    };

    bool has(const proof& asked) const {
        bool found = false;
        const uint64_t now = platform::monotonic_nanoseconds();
        for (const remembered& each : remembered_)
            found |= ombrel_is_same_secret(each.what.bytes, asked.bytes, sizeof asked.bytes) == 1 &&
                     now < each.until;
        return found;
    }
    void add(const proof& right) {
        remembered_[next_] = {right, platform::moment_after(60'000)};
        next_ = (next_ + 1) % (sizeof remembered_ / sizeof *remembered_);
    }
    void forget() { wipe(remembered_, sizeof remembered_); }

private:
    struct remembered {
        proof what;
        uint64_t until;
    };
    remembered remembered_[16] = {};
    size_t next_ = 0;
};

int fail(fault_code why) {
    leave_fault(why);
    return -1;
}

} // namespace

struct ombrel_secret_list_ts {
    ombrel_secret_list_options_t options{};
    heap_ptr<char> path; ///< null for a text
    secret_table table;
    ombrel_hmac_t key{}; ///< random; what is started with it is copied
    file_state state{};
    uint64_t next_look = 0;
    uint32_t failed_line = 0;
    bool exposed = false;
    right_passwords right;

    ~ombrel_secret_list_ts() { wipe(&key, sizeof key); }

    right_passwords::proof proof_of(const char* name, const char* password) const {
        right_passwords::proof made;
        ombrel_hmac_t keyed = key;
        ombrel_hmac_push(&keyed, name, strlen(name) + 1);
        ombrel_hmac_push(&keyed, password, strlen(password));
        ombrel_hmac_result(&keyed, made.bytes);
        return made;
    }
};

namespace {

using list_t = ombrel_secret_list_ts;

struct close_list {
    void operator()(list_t* list) const { ombrel_close_secret_list(list); }
};

void plan_look(list_t& list) {
    list.next_look = platform::moment_after(list.options.m_look_ms);
}

/// The table of a text of the list's own; false with its fault.
bool take_text(list_t& list, heap_ptr<char> text, size_t size, call_site caller) {
    secret_table table;
    const fault_code why =
        table.read(std::move(text), size, list.options, list.key, list.failed_line, caller);
    if (why != fault_code::none) {
        leave_fault(why);
        return false;
    }
    list.table = std::move(table);
    list.right.forget();
    return true;
}

/// What is known of the file comes before its bytes: a change in between shows at the next look.
bool read_file(list_t& list, const ombrel_file_info_t& info, call_site caller) {
    list.failed_line = 0;
    size_t size = 0;
    heap_ptr<char> text(static_cast<char*>(ombrel_alloc_load_file_tag(
                            list.path.get(), list.options.m_size_limit, &size, caller.tag, caller.line)),
                        caller.tag, caller.line);
    if (!text || !take_text(list, std::move(text), size, caller))
        return false;
    constexpr uint32_t others = 0077;
    list.exposed = (info.m_mode & others) != 0 && platform::modes_tell_users_apart();
    list.state = state_of(info);
    return true;
}

bool is_sound(const ombrel_secret_list_options_t& options) {
    return (options.m_flags & ~def_ombrel_secret_list_more) == 0 && options.m_size_limit > 0 &&
           options.m_size_limit < UINT32_MAX && options.m_line_limit > 0 && options.m_secret_limit > 0;
}

/// An empty list with a key; null with its fault.
list_t* make_list(const ombrel_secret_list_options_t* options, call_site caller) {
    ombrel_secret_list_options_t chosen;
    ombrel_init_secret_list_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    unsigned char key[def_ombrel_sha256_size];
    const wipe_guard wiped(key);
    if (!is_sound(chosen)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    if (ombrel_get_random_bytes(key, sizeof key) != 0)
        return nullptr;
    void* const block = ombrel_alloc_tag(sizeof(list_t), caller.tag, caller.line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const list = new (block) list_t();
    list->options = chosen;
    ombrel_init_hmac(&list->key, ombrel_find_digest_algorithm("sha256"), key, sizeof key);
    return list;
}

/// The list when it could be filled; it is closed otherwise.
list_t* finish(list_t* list, bool is_good, uint32_t* failed_line) {
    if (failed_line != nullptr)
        *failed_line = list->failed_line;
    if (is_good)
        return list;
    const fault_keeper kept;
    ombrel_close_secret_list(list);
    return nullptr;
}

bool fill_from_file(list_t& list, const char* path, call_site caller) {
    const size_t size = strlen(path) + 1;
    list.path.reset(static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line)), caller.tag,
                    caller.line);
    if (!list.path) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    memcpy(list.path.get(), path, size);
    plan_look(list);
    ombrel_file_info_t info;
    return ombrel_get_file_info(path, 0, &info) == 0 && read_file(list, info, caller);
}

bool fill_from_text(list_t& list, const char* text, size_t size, call_site caller) {
    if (size > list.options.m_size_limit) {
        leave_fault(fault_code::too_large);
        return false;
    }
    heap_ptr<char> copy(static_cast<char*>(ombrel_alloc_tag(size + 1, caller.tag, caller.line)), caller.tag,
                        caller.line);
    if (!copy) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    std::copy_n(text, size, copy.get());
    copy.get()[size] = '\0';
    return take_text(list, std::move(copy), size, caller);
}

const secret_entry* entry_at(const list_t* list, size_t index) {
    return list != nullptr && index < list->table.count() ? &list->table[index] : nullptr;
}

} // namespace

int ombrel_init_secret_list_options(ombrel_secret_list_options_t* options) {
    if (options == nullptr)
        return fail(fault_code::invalid);
    *options = {.m_flags = 0,
                .m_size_limit = 1 << 20,
                .m_line_limit = 4096,
                .m_secret_limit = 10'000,
                .m_look_ms = 1000};
    return 0;
}

ombrel_secret_list_t* ombrel_open_secret_list_tag(const char* path,
                                                  const ombrel_secret_list_options_t* options,
                                                  uint32_t* failed_line, const char* function,
                                                  unsigned long line) {
    if (failed_line != nullptr)
        *failed_line = 0;
    if (path == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    const call_site caller{function, line};
    list_t* const list = make_list(options, caller);
    return list != nullptr ? finish(list, fill_from_file(*list, path, caller), failed_line) : nullptr;
}

ombrel_secret_list_t* ombrel_open_secret_text_tag(const char* text, size_t size,
                                                  const ombrel_secret_list_options_t* options,
                                                  uint32_t* failed_line, const char* function,
                                                  unsigned long line) {
    if (failed_line != nullptr)
        *failed_line = 0;
    if (text == nullptr && size > 0) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    const call_site caller{function, line};
    list_t* const list = make_list(options, caller);
    return list != nullptr ? finish(list, fill_from_text(*list, text, size, caller), failed_line) : nullptr;
}

int ombrel_close_secret_list(ombrel_secret_list_t* list) {
    if (list == nullptr)
        return 0;
    list->~ombrel_secret_list_ts();
    return ombrel_free_tag(list, "ombrel_close_secret_list", __LINE__);
}

int ombrel_secret_list_refresh(ombrel_secret_list_t* list) {
    if (list == nullptr)
        return fail(fault_code::invalid);
    if (!list->path || platform::monotonic_nanoseconds() < list->next_look)
        return 0;
    plan_look(*list);
    ombrel_file_info_t info;
    if (ombrel_get_file_info(list->path.get(), 0, &info) != 0)
        return -1;
    if (state_of(info) == list->state)
        return 0;
    return read_file(*list, info, {"ombrel_secret_list_refresh", __LINE__}) ? 1 : -1;
}

int ombrel::protocol::check_by_list(ombrel_secret_list_t& list, const char* name, const char* password,
                                    secret_check& check, uint32_t most) {
    if (list.table.count() == 0)
        return ombrel_check_secret(nullptr, name, password);
    const secret_table::found found = list.table.find(name, list.key);
    const ombrel_secret_t& secret = list.table[found.index].secret;
    const bool is_strong = secret.m_kind == def_ombrel_secret_strong;
    if (is_strong && list.right.has(list.proof_of(name, password)))
        return 1;
    if (!check.has_begun())
        check.begin(secret, name, password);
    if (!check.step(most))
        return check_goes_on;
    if (!check.is_password_of(secret) || !found.is_it)
        return 0;
    if (is_strong)
        list.right.add(list.proof_of(name, password));
    return 1;
}

int ombrel_secret_list_check(ombrel_secret_list_t* list, const char* name, const char* password) {
    if (list == nullptr || name == nullptr || password == nullptr)
        return fail(fault_code::invalid);
    secret_check check;
    return check_by_list(*list, name, password, check, UINT32_MAX);
}

size_t ombrel_secret_list_get_count(const ombrel_secret_list_t* list) {
    return list != nullptr ? list->table.count() : 0;
}

int64_t ombrel_secret_list_find(const ombrel_secret_list_t* list, const char* name) {
    if (list == nullptr || name == nullptr)
        return fail(fault_code::invalid);
    if (list->table.count() == 0)
        return fail(fault_code::not_found);
    const secret_table::found found = list->table.find(name, list->key);
    return found.is_it ? static_cast<int64_t>(found.index) : fail(fault_code::not_found);
}

const char* ombrel_secret_list_get_name(const ombrel_secret_list_t* list, size_t index) {
    const secret_entry* const entry = entry_at(list, index);
    return entry != nullptr ? entry->name : nullptr;
}

const ombrel_secret_t* ombrel_secret_list_get_secret(const ombrel_secret_list_t* list, size_t index) {
    const secret_entry* const entry = entry_at(list, index);
    return entry != nullptr ? &entry->secret : nullptr;
}

const char* ombrel_secret_list_get_more(const ombrel_secret_list_t* list, size_t index) {
    const secret_entry* const entry = entry_at(list, index);
    return entry != nullptr ? entry->more : nullptr;
}

uint32_t ombrel_secret_list_get_line(const ombrel_secret_list_t* list, size_t index) {
    const secret_entry* const entry = entry_at(list, index);
    return entry != nullptr ? entry->line : 0;
}

uint32_t ombrel_secret_list_get_failed_line(const ombrel_secret_list_t* list) {
    return list != nullptr ? list->failed_line : 0;
}

int ombrel_secret_list_is_exposed(const ombrel_secret_list_t* list) {
    return list != nullptr && list->exposed ? 1 : 0;
}
