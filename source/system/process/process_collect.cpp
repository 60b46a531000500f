// What processes print, in memory.
#include <ombrel/process.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include <ombrel/heap.h>

#include "system/process/process_internal.h"

namespace ombrel::system {

namespace {

/// Ends an exchange; the fault says why.
constexpr int stopped = -1;
constexpr int grace_ms = 1000;

struct collector {
    ombrel_process_result_t& result;
    size_t limit;
    const char* function;
    unsigned long line;
};

/// Bytes of the block that holds so many and their end: it follows from the size alone.
size_t room_for(size_t size) {
    constexpr size_t least = 1024;
    return std::max(least, std::bit_ceil(size + 1));
}

bool append(const collector& to, char*& text, size_t& size, const void* data, size_t more) {
    if (text == nullptr || room_for(size + more) != room_for(size)) {
        auto* const larger =
            static_cast<char*>(ombrel_realloc_tag(text, room_for(size + more), to.function, to.line));
        if (larger == nullptr)
            return fail_by(fault_code::no_memory, false);
        text = larger;
    }
    memcpy(text + size, data, more);
    size += more;
    text[size] = '\0';
    return true;
}

int take(int stream, const void* data, size_t size, void* context) {
    const collector& to = *static_cast<const collector*>(context);
    ombrel_process_result_t& result = to.result;
    const bool is_output = stream == def_ombrel_process_output;
    char*& text = is_output ? result.m_output : result.m_error;
    size_t& collected = is_output ? result.m_output_size : result.m_error_size;
    const size_t part = std::min(size, to.limit - std::min(to.limit, collected));
    if (!append(to, text, collected, data, part))
        return stopped;
    if (part == size)
        return 0;
    result.m_is_cut = 1;
    return fail_by(fault_code::too_large, stopped);
}

int collect(ombrel_process_t& process, const deadline& limit, collector& to) {
    const int result = exchange(process, limit, take, &to);
    if (result != 1)
        return result;
    if (!wait_for_end(process, limit))
        return 0;
    to.result.m_end = end_of(process);
    return 1;
}

/// What is collected of a program that nothing was said about.
ombrel_process_options_t collecting() {
    ombrel_process_options_t options{};
    options.m_input.m_kind = def_ombrel_process_nothing;
    options.m_output.m_kind = options.m_error.m_kind = def_ombrel_process_pipe;
    return options;
}

} // namespace

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

int ombrel_init_process_result(ombrel_process_result_t* result) {
    if (result == nullptr)
        return fail_by(fault_code::invalid);
    *result = {};
    result->m_end.m_exit_code = -1;
    return 0;
}

int ombrel_uninit_process_result(ombrel_process_result_t* result) {
    if (result == nullptr)
        return fail_by(fault_code::invalid);
    for (char* const text : {result->m_output, result->m_error})
        if (text != nullptr)
            ombrel_free_tag(text, __func__, __LINE__);
    return ombrel_init_process_result(result);
}

int ombrel_process_collect_tag(ombrel_process_t* process, int timeout_ms, ombrel_process_result_t* result,
                               const char* function, unsigned long line) {
    if (process == nullptr || result == nullptr)
        return fail_by(fault_code::invalid);
    collector to{*result, process->m_limit, function, line};
    return collect(*process, deadline(timeout_ms), to);
}

int ombrel_run_process_tag(const char* const* arguments, const ombrel_process_options_t* options,
                           int timeout_ms, ombrel_process_result_t* result, const char* function,
                           unsigned long line) {
    if (ombrel_init_process_result(result) != 0)
        return -1;
    ombrel_process_options_t chosen = options != nullptr ? *options : collecting();
    chosen.m_flags |= def_ombrel_process_own_group;
    const deadline limit(timeout_ms);
    ombrel_process_t* const process = ombrel_open_process_tag(arguments, &chosen, function, line);
    if (process == nullptr)
        return -1;
    collector to{*result, process->m_limit, function, line};
    const int done = collect(*process, limit, to);
    const fault_keeper kept;
    if (done != 1)
        ombrel_process_stop(process, grace_ms);
    ombrel_process_end_t end;
    if (ombrel_process_wait(process, 0, &end) == 1)
        result->m_end = end;
    ombrel_close_process(process);
    return done;
}
