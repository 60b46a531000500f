// Documents as texts.
#include <ombrel/ini.h>

#include <ombrel/file.h>

#include "document/ini/ini_document.h"

using namespace ombrel;
using namespace ombrel::document;

namespace {

template<typename Result>
Result refuse(fault_code why, Result result) {
    leave_fault(why);
    return result;
}

void write(const ini_t& ini, char* to) {
    for (const ini_item* item = ini.head; item != nullptr; item = item->m_next)
        if (!item->is_included)
            to = put_text(to, item->view());
    *to = '\0';
}

} // namespace

int64_t ombrel_ini_get_text_size(const ombrel_ini_t* ini) {
    return ini != nullptr ? static_cast<int64_t>(ini->size) : refuse<int64_t>(fault_code::invalid, -1);
}

char* ombrel_alloc_ini_text_tag(const ombrel_ini_t* ini, size_t* size, const char* function,
                                unsigned long line) {
    if (ini == nullptr)
        return refuse<char*>(fault_code::invalid, nullptr);
    auto* const text = static_cast<char*>(ombrel_alloc_tag(ini->size + 1, function, line));
    if (text == nullptr)
        return refuse<char*>(fault_code::no_memory, nullptr);
    write(*ini, text);
    if (size != nullptr)
        *size = ini->size;
    return text;
}

int ombrel_ini_push_buffer(const ombrel_ini_t* ini, ombrel_buffer_t* buffer) {
    if (ini == nullptr || buffer == nullptr)
        return refuse(fault_code::invalid, -1);
    if (ini->size == 0)
        return 0;
    heap_ptr<char> text(ombrel_alloc_ini_text_tag(ini, nullptr, ini->caller.tag, ini->caller.line));
    if (!text)
        return -1;
    if (ombrel_push_buffer_ex(buffer, text.get(), ini->size, def_ombrel_buffer_flag_own) != ini->size) {
        text.reset();
        return refuse(fault_code::no_memory, -1);
    }
    text.release();
    return 0;
}

int ombrel_ini_store_file(ombrel_ini_t* ini, const char* path, uint32_t mode) {
    if (ini == nullptr)
        return refuse(fault_code::invalid, -1);
    heap_ptr<char> text(ombrel_alloc_ini_text_tag(ini, nullptr, ini->caller.tag, ini->caller.line));
    if (!text || ombrel_store_file(path, text.get(), ini->size, 0, mode) != 0) {
        const fault_keeper kept;
        text.reset();
        return -1;
    }
    ini->stored_version = ini->version;
    return 0;
}

int ombrel_ini_is_changed(const ombrel_ini_t* ini) {
    if (ini == nullptr)
        return refuse(fault_code::invalid, -1);
    return ini->version != ini->stored_version ? 1 : 0;
}
