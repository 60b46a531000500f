// Documents: their beginning, their end, their reading.
#include <ombrel/ini.h>

#include <new>

#include "document/ini/ini_reader.h"

using namespace ombrel;
using namespace ombrel::document;

namespace {

constexpr uint32_t all_flags = (def_ombrel_ini_include_optional << 1) - 1;
constexpr uint32_t for_lines = def_ombrel_ini_quotes | def_ombrel_ini_indented_lines,
                   for_characters = def_ombrel_ini_quotes_within | def_ombrel_ini_backslash_lines;
constexpr size_t deepest = 64; // a level takes some hundred bytes of the stack

bool are_options(const ombrel_ini_options_t& options) {
    const uint32_t flags = options.m_flags;
    return (flags & ~all_flags) == 0 && ((flags & for_lines) == 0 || (flags & for_characters) == 0) &&
           options.m_size_limit > 0 && options.m_line_limit > 0 && options.m_count_limit > 0 &&
           options.m_include_depth_limit > 0 && options.m_include_depth_limit <= deepest &&
           options.m_include_count_limit > 0;
}

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

void close_reader(ini_t& ini) {
    if (ini.reader == nullptr)
        return;
    ini.reader->~ini_reader();
    ombrel_free(ini.reader);
    ini.reader = nullptr;
}

/// Whether a document can be read into: it is empty, and no other reading has failed.
bool is_ready(const ini_t* ini) {
    return ini != nullptr && ini->head == nullptr && ini->reader == nullptr && !ini->is_broken;
}

/// After a reading; the fault is left again, as freeing may have changed it.
int finish(ini_t& ini, bool is_good) {
    const fault why = last_fault();
    close_reader(ini);
    if (is_good) {
        ini.stored_version = ini.version;
        return 0;
    }
    clear_ini(ini);
    leave_fault(why);
    return -1;
}

bool open_reader(ini_t& ini) {
    clear_ini_fault(ini);
    void* const block = ombrel_alloc_tag(sizeof(ini_reader), ini.caller.tag, ini.caller.line);
    if (block == nullptr)
        return refuse_ini(ini, def_ombrel_ini_fault_no_memory) == 0;
    ini.reader = new (block) ini_reader(ini, {""});
    return true;
}

} // namespace

int ombrel_init_ini_options(ombrel_ini_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {def_ombrel_ini_dialect_plain, 16 << 20, 1 << 20, 1000000, 10, 100};
    return 0;
}

ombrel_ini_t* ombrel_open_ini_tag(const ombrel_ini_options_t* options, const char* function,
                                  unsigned long line) {
    ombrel_ini_options_t settings;
    ombrel_init_ini_options(&settings);
    if (options != nullptr)
        settings = *options;
    if (!are_options(settings)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    void* const block = ombrel_alloc_tag(sizeof(ini_t), function, line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const ini = new (block) ini_t();
    ini->options = settings;
    ini->dialect = {settings.m_flags};
    ini->caller = {function, line};
    if (!ini->global.text.be_text(ini->caller) || !ini->global.name.be_text(ini->caller)) {
        ombrel_close_ini(ini);
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    return ini;
}

int ombrel_close_ini(ombrel_ini_t* ini) {
    if (ini == nullptr)
        return 0;
    close_reader(*ini);
    clear_ini(*ini);
    ini->~ini_t();
    ombrel_free(ini);
    return 0;
}

int ombrel_ini_reset(ombrel_ini_t* ini) {
    if (ini == nullptr)
        return refuse(fault_code::invalid);
    close_reader(*ini);
    clear_ini(*ini);
    clear_ini_fault(*ini);
    ini->is_broken = false;
    return 0;
}

int ombrel_ini_load_file(ombrel_ini_t* ini, const char* path) {
    if (!is_ready(ini) || path == nullptr || *path == '\0')
        return refuse(fault_code::invalid);
    clear_ini_fault(*ini);
    return finish(*ini, read_ini_file(*ini, {path}));
}

int ombrel_ini_load(ombrel_ini_t* ini, const void* text, size_t size) {
    if (!is_ready(ini) || (text == nullptr && size > 0))
        return refuse(fault_code::invalid);
    if (ombrel_ini_push(ini, text, size) == 0)
        return ombrel_ini_end(ini);
    ini->is_broken = false;
    return -1;
}

int ombrel_ini_load_buffer(ombrel_ini_t* ini, ombrel_buffer_t* buffer) {
    if (!is_ready(ini) || buffer == nullptr)
        return refuse(fault_code::invalid);
    char piece[4096];
    size_t size;
    while ((size = ombrel_pop_buffer(buffer, piece, sizeof piece)) > 0)
        if (ombrel_ini_push(ini, piece, size) != 0) {
            ini->is_broken = false;
            return -1;
        }
    return ombrel_ini_end(ini);
}

int ombrel_ini_push(ombrel_ini_t* ini, const void* text, size_t size) {
    if (ini != nullptr && ini->is_broken)
        return leave_ini_fault(ini->fault.m_reason);
    if (ini == nullptr || (text == nullptr && size > 0) || (ini->reader == nullptr && ini->head != nullptr))
        return refuse(fault_code::invalid);
    if (ini->reader == nullptr && !open_reader(*ini))
        return -1;
    if (ini->reader->push({static_cast<const char*>(text), size}))
        return 0;
    ini->is_broken = true;
    return finish(*ini, false);
}

int ombrel_ini_end(ombrel_ini_t* ini) {
    if (ini == nullptr)
        return refuse(fault_code::invalid);
    if (ini->is_broken)
        return leave_ini_fault(ini->fault.m_reason);
    return ini->reader == nullptr ? 0 : finish(*ini, ini->reader->end());
}
