#include <ombrel/process.h>

#include <algorithm>
#include <utility>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "system/process/process_internal.h"

namespace ombrel::system {

namespace {

/// What the child gets and what this process keeps, closed at the end of the scope unless it was taken.
class start_streams {
public:
    start_streams() { std::fill(std::begin(owned_), std::end(owned_), -1); }
    ~start_streams() {
        for (const int one : owned_)
            if (one >= 0)
                platform::close_descriptor(one);
    }
    start_streams(const start_streams&) = delete;
    start_streams& operator=(const start_streams&) = delete;

    /// False, with its fault.
    bool open(int stream, const ombrel_process_stream_t& wanted) {
        switch (wanted.m_kind) {
        case def_ombrel_process_keep:
            child_[stream] = platform::kept_stream;
            return true;
        case def_ombrel_process_nothing:
            child_[stream] = platform::empty_stream;
            return true;
        case def_ombrel_process_pipe:
            return open_pipe(stream);
        case def_ombrel_process_file:
        case def_ombrel_process_append:
            return open_file(stream, wanted);
        case def_ombrel_process_descriptor:
            child_[stream] = wanted.m_fd;
            return platform::is_open_descriptor(wanted.m_fd) || fail_by(fault_code::bad_descriptor, false);
        case def_ombrel_process_to_output:
            child_[stream] = child_[1] == platform::kept_stream ? 1 : child_[1];
            return stream == def_ombrel_process_error || fail_by(fault_code::invalid, false);
        default:
            return fail_by(fault_code::invalid, false);
        }
    }

    int child(size_t stream) const { return child_[stream]; }
    int take_own(size_t stream) { return std::exchange(owned_[stream], -1); }

private:
    bool open_pipe(int stream) {
        const bool is_read = stream == def_ombrel_process_input;
        int ends[2];
        if (!platform::open_pipe(ends, is_read ? platform::pipe_side::read : platform::pipe_side::write))
            return false;
        owned_[stream] = ends[is_read ? 1 : 0];
        platform::set_descriptor_blocking(owned_[stream], false);
        return keep_for_child(stream, ends[is_read ? 0 : 1]);
    }

    bool open_file(int stream, const ombrel_process_stream_t& wanted) {
        const bool appends = wanted.m_kind == def_ombrel_process_append;
        const bool is_read = stream == def_ombrel_process_input;
        if (wanted.m_path == nullptr || (is_read && appends))
            return fail_by(fault_code::invalid, false);
        platform::file_access access;
        access.read = is_read;
        access.write = access.create = !is_read;
        access.append = appends;
        access.truncate = !is_read && !appends;
        return keep_for_child(stream, platform::open_file(wanted.m_path, access));
    }

    bool keep_for_child(int stream, int descriptor) {
        owned_[3 + stream] = child_[stream] = descriptor;
        return descriptor >= 0;
    }

    int child_[3];
    int owned_[6]; ///< this side of the pipes, then what is only the child's
};

/// A start, with what it failed at.
class process_start {
public:
    process_start(const ombrel_process_options_t& options, int& failed_part)
        : options_(options), failed_part_(failed_part) {}

    /// The number of the process; -1.
    int run(const char* const* arguments, const char* command) {
        if (!open_streams() || !add_descriptors())
            return -1;
        platform::process_plan plan;
        plan.arguments = arguments;
        plan.environment = options_.m_environment;
        plan.directory = options_.m_directory;
        plan.descriptors = descriptors_;
        plan.descriptor_count = 3 + options_.m_descriptor_count;
        plan.searches = (options_.m_flags & def_ombrel_process_no_search) == 0;
        plan.own_group = (options_.m_flags & def_ombrel_process_own_group) != 0;
        plan.own_session = (options_.m_flags & def_ombrel_process_own_session) != 0;
        platform::process_part part{};
        const int number = command != nullptr ? platform::start_command(command, plan, part)
                                              : platform::start_process(plan, part);
        failed_part_ = part == platform::process_part::directory ? def_ombrel_process_part_directory
                                                                 : def_ombrel_process_part_program;
        return number;
    }

    int take_end(size_t stream) { return streams_.take_own(stream); }

private:
    bool open_streams() {
        const ombrel_process_stream_t* const wanted[] = {&options_.m_input, &options_.m_output,
                                                         &options_.m_error};
        for (int stream = 0; stream < 3; stream++) {
            failed_part_ = def_ombrel_process_part_input + stream;
            if (!streams_.open(stream, *wanted[stream]))
                return false;
            descriptors_[stream] = streams_.child(static_cast<size_t>(stream));
        }
        failed_part_ = def_ombrel_process_part_program;
        return true;
    }

    bool add_descriptors() {
        const size_t count = options_.m_descriptor_count;
        if (count > def_ombrel_process_descriptors_max || (count > 0 && options_.m_descriptors == nullptr))
            return fail_by(fault_code::invalid, false);
        for (size_t i = 0; i < count; i++) {
            descriptors_[3 + i] = options_.m_descriptors[i];
            if (!platform::is_open_descriptor(descriptors_[3 + i]))
                return fail_by(fault_code::bad_descriptor, false);
        }
        return true;
    }

    const ombrel_process_options_t& options_;
    int& failed_part_;
    start_streams streams_;
    int descriptors_[3 + def_ombrel_process_descriptors_max];
};

constexpr uint32_t known_flags =
    def_ombrel_process_own_group | def_ombrel_process_own_session | def_ombrel_process_no_search;

/// A process whose child cannot be told apart by its descriptor has its number alone.
int open_watch(int process) {
    const int watch = platform::open_process(process);
    platform::process_end unused;
    if (watch < 0 || platform::look_at_child(watch, unused) != platform::child_state::unknown)
        return watch;
    platform::close_descriptor(watch);
    return -1;
}

ombrel_process_t* open(const char* const* arguments, const char* command,
                       const ombrel_process_options_t* given, const char* function, unsigned long line) {
    platform::collect_abandoned_processes();
    const ombrel_process_options_t defaults{};
    const ombrel_process_options_t& options = given != nullptr ? *given : defaults;
    int unused, &failed_part = options.m_failed_part != nullptr ? *options.m_failed_part : unused;
    failed_part = def_ombrel_process_part_program;
    if ((options.m_flags & ~known_flags) != 0 || (options.m_feed == nullptr && options.m_feed_size > 0))
        return fail_by<ombrel_process_t*>(fault_code::invalid, nullptr);
    heap_ptr<ombrel_process_t> process(allocate_record<ombrel_process_t>(function, line));
    if (!process)
        return fail_by<ombrel_process_t*>(fault_code::no_memory, nullptr);
    process_start start(options, failed_part);
    *process = {};
    process->m_id = start.run(arguments, command);
    if (process->m_id < 0)
        return nullptr;
    process->m_watch = open_watch(process->m_id);
    process->m_leads_group =
        (options.m_flags & (def_ombrel_process_own_group | def_ombrel_process_own_session)) != 0;
    for (size_t stream = 0; stream < 3; stream++)
        process->m_ends[stream] = start.take_end(stream);
    process->m_feed = static_cast<const char*>(options.m_feed);
    process->m_feed_left = options.m_feed_size;
    process->m_limit = options.m_limit > 0 ? options.m_limit : def_ombrel_process_default_limit;
    assert_unshared(*process);
    process->m_state = platform::child_state::running;
    return process.release();
}

void close_ends(ombrel_process_t& process) {
    for (int stream = 0; stream < 3; stream++)
        close_end(process, stream);
}

/// Takes what the system keeps about a child that has ended, whoever may have taken it already.
void collect(const ombrel_process_t& process) {
    platform::process_end unused;
    if (process.m_watch < 0)
        platform::collect_process(process.m_id, unused);
    else {
        platform::collect_child(process.m_watch, unused);
        platform::close_descriptor(process.m_watch);
    }
}

} // namespace

void close_end(ombrel_process_t& process, int stream) {
    int& end = process.m_ends[static_cast<size_t>(stream)];
    if (end >= 0)
        platform::close_descriptor(std::exchange(end, -1));
}

int end_of_pipe(const ombrel_process_t* process, int stream) {
    if (process == nullptr || stream < def_ombrel_process_input || stream > def_ombrel_process_error)
        return fail_by(fault_code::invalid);
    const int end = process->m_ends[static_cast<size_t>(stream)];
    return end >= 0 ? end : fail_by(fault_code::bad_descriptor);
}

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

int ombrel_init_process_options(ombrel_process_options_t* options) {
    if (options == nullptr)
        return fail_by(fault_code::invalid);
    *options = {};
    return 0;
}

ombrel_process_t* ombrel_open_process_tag(const char* const* arguments,
                                          const ombrel_process_options_t* options, const char* function,
                                          unsigned long line) {
    if (arguments == nullptr || arguments[0] == nullptr)
        return fail_by<ombrel_process_t*>(fault_code::invalid, nullptr);
    return system::open(arguments, nullptr, options, function, line);
}

ombrel_process_t* ombrel_open_command_tag(const char* command, const ombrel_process_options_t* options,
                                          const char* function, unsigned long line) {
    if (command == nullptr)
        return fail_by<ombrel_process_t*>(fault_code::invalid, nullptr);
    return system::open(nullptr, command, options, function, line);
}

int ombrel_close_process(ombrel_process_t* process) {
    if (process == nullptr)
        return 0;
    close_ends(*process);
    if (has_ended(*process))
        collect(*process);
    else
        platform::abandon_process(process->m_id, process->m_watch);
    ombrel_free_tag(process, __func__, __LINE__);
    platform::collect_abandoned_processes();
    return 0;
}

int ombrel_release_process(ombrel_process_t* process) {
    if (process == nullptr)
        return fail_by(fault_code::invalid);
    const int number = process->m_id;
    close_ends(*process);
    if (process->m_watch >= 0)
        platform::close_descriptor(process->m_watch);
    ombrel_free_tag(process, __func__, __LINE__);
    return number;
}

int ombrel_process_get_id(const ombrel_process_t* process) {
    return process != nullptr ? process->m_id : fail_by(fault_code::invalid);
}

int ombrel_process_get_descriptor(const ombrel_process_t* process, int stream) {
    return end_of_pipe(process, stream);
}

int ombrel_process_take_descriptor(ombrel_process_t* process, int stream) {
    const int end = end_of_pipe(process, stream);
    if (end >= 0)
        process->m_ends[static_cast<size_t>(stream)] = -1;
    return end;
}

int ombrel_process_close_stream(ombrel_process_t* process, int stream) {
    if (end_of_pipe(process, stream) < 0)
        return -1;
    close_end(*process, stream);
    return 0;
}
