#include <ombrel/xml_writer.h>

#include <new>

#include <ombrel/charset.h>
#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "document/xml/xml_writing.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

using writer_t = ombrel_xml_writer_t;

constexpr size_t default_depth_limit = 100'000'000;
constexpr int most_indent = 64;

std::string_view text_of(const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

bool is_sane(ombrel_buffer_t* buffer, const ombrel_xml_writer_options_t& options, int charset) {
    constexpr uint32_t flags = def_ombrel_xml_writer_no_namespaces | def_ombrel_xml_writer_fragment;
    return (buffer != nullptr) != (options.m_handler != nullptr) && !(options.m_flags & ~flags) &&
           options.m_form >= def_ombrel_xml_form_plain && options.m_form <= def_ombrel_xml_form_canonical &&
           options.m_indent >= 0 && options.m_indent <= most_indent && options.m_depth_limit > 0 &&
           (options.m_form != def_ombrel_xml_form_canonical || charset == def_ombrel_charset_utf_8);
}

int refuse_null() {
    leave_fault(fault_code::invalid);
    return -1;
}

/// Calls the writer's inside, unless an argument is missing.
template<typename Work>
int work(writer_t* writer, std::initializer_list<const void*> needed, Work with) {
    if (writer == nullptr)
        return refuse_null();
    for (const void* const one : needed)
        if (one == nullptr)
            return writer->writing.fail(def_ombrel_xml_writer_fault_argument);
    return with(writer->writing);
}

int put_element(xml_writing& writing, std::string_view name, std::string_view text) {
    int result = writing.begin(name);
    result = result == 0 ? writing.text(text) : result;
    return result == 0 ? writing.end() : result;
}

} // namespace

int ombrel_init_xml_writer_options(ombrel_xml_writer_options_t* options) {
    if (options == nullptr)
        return refuse_null();
    *options = {0, def_ombrel_xml_form_plain, 2, default_depth_limit, nullptr, nullptr, nullptr};
    return 0;
}

ombrel_xml_writer_t* ombrel_open_xml_writer_tag(ombrel_buffer_t* buffer,
                                                const ombrel_xml_writer_options_t* options,
                                                const char* function, unsigned long line) {
    ombrel_xml_writer_options_t chosen;
    ombrel_init_xml_writer_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    const int charset =
        chosen.m_charset != nullptr ? ombrel_find_charset(chosen.m_charset) : def_ombrel_charset_utf_8;
    if (charset < 0)
        return nullptr;
    if (!is_sane(buffer, chosen, charset))
        return refuse_null(), nullptr;
    const call_site giver{function, line};
    void* const room = ombrel_alloc_tag(sizeof(writer_t), function, line);
    if (room == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    auto* const writer = new (room) writer_t{{buffer, chosen, charset, giver}};
    if (writer->writing.open())
        return writer;
    ombrel_close_xml_writer(writer);
    leave_fault(fault_code::no_memory);
    return nullptr;
}

int ombrel_close_xml_writer(ombrel_xml_writer_t* writer) {
    if (writer == nullptr)
        return 0;
    writer->~ombrel_xml_writer_ts();
    ombrel_free(writer);
    return 0;
}

int ombrel_xml_writer_flush(ombrel_xml_writer_t* writer) {
    return work(writer, {}, [](xml_writing& inside) { return inside.flush(); });
}

int ombrel_xml_writer_finish(ombrel_xml_writer_t* writer) {
    return work(writer, {}, [](xml_writing& inside) { return inside.finish(); });
}

int ombrel_xml_writer_declaration(ombrel_xml_writer_t* writer, int standalone) {
    return work(writer, {}, [=](xml_writing& inside) { return inside.declaration(standalone); });
}

int ombrel_xml_writer_doctype(ombrel_xml_writer_t* writer, const char* text) {
    return work(writer, {text}, [=](xml_writing& inside) {
        std::string_view rest = text;
        const std::string_view name = take_doctype_name(rest);
        return inside.doctype(name, rest);
    });
}

int ombrel_xml_writer_begin(ombrel_xml_writer_t* writer, const char* name) {
    return work(writer, {name}, [=](xml_writing& inside) { return inside.begin(name); });
}

int ombrel_xml_writer_begin_in(ombrel_xml_writer_t* writer, const char* uri, const char* name) {
    return work(writer, {name}, [=](xml_writing& inside) { return inside.begin_in(text_of(uri), name); });
}

int ombrel_xml_writer_keep_space(ombrel_xml_writer_t* writer) {
    return work(writer, {}, [](xml_writing& inside) { return inside.keep_space(); });
}

int ombrel_xml_writer_attribute(ombrel_xml_writer_t* writer, const char* name, const char* value) {
    return work(writer, {name, value}, [=](xml_writing& inside) { return inside.attribute(name, value); });
}

int ombrel_xml_writer_attribute_in(ombrel_xml_writer_t* writer, const char* uri, const char* name,
                                   const char* value) {
    return work(writer, {name, value},
                [=](xml_writing& inside) { return inside.attribute_in(text_of(uri), name, value); });
}

int ombrel_xml_writer_integer_attribute(ombrel_xml_writer_t* writer, const char* name, int64_t value) {
    char digits[24];
    put_integer(digits, value);
    return work(writer, {name}, [&](xml_writing& inside) { return inside.attribute(name, digits); });
}

int ombrel_xml_writer_namespace(ombrel_xml_writer_t* writer, const char* prefix, const char* uri) {
    return work(writer, {uri}, [=](xml_writing& inside) { return inside.declare(text_of(prefix), uri); });
}

int ombrel_xml_writer_text(ombrel_xml_writer_t* writer, const char* text) {
    return work(writer, {}, [=](xml_writing& inside) { return inside.text(text_of(text)); });
}

int ombrel_xml_writer_sized_text(ombrel_xml_writer_t* writer, const char* text, size_t size) {
    return work(writer, {size == 0 ? "" : text}, [=](xml_writing& inside) {
        return inside.text({size == 0 ? "" : text, size});
    });
}

int ombrel_xml_writer_printf(ombrel_xml_writer_t* writer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const heap_ptr<char> text(format != nullptr ? ombrel_alloc_vsprintf(format, args) : nullptr);
    va_end(args);
    return work(writer, {format}, [&](xml_writing& inside) {
        return text ? inside.text(text.get()) : inside.fail(def_ombrel_xml_writer_fault_no_memory);
    });
}

int ombrel_xml_writer_cdata(ombrel_xml_writer_t* writer, const char* text) {
    return work(writer, {}, [=](xml_writing& inside) { return inside.cdata(text_of(text)); });
}

int ombrel_xml_writer_sized_cdata(ombrel_xml_writer_t* writer, const char* text, size_t size) {
    return work(writer, {size == 0 ? "" : text}, [=](xml_writing& inside) {
        return inside.cdata({size == 0 ? "" : text, size});
    });
}

int ombrel_xml_writer_comment(ombrel_xml_writer_t* writer, const char* text) {
    return work(writer, {}, [=](xml_writing& inside) { return inside.comment(text_of(text)); });
}

int ombrel_xml_writer_instruction(ombrel_xml_writer_t* writer, const char* target, const char* data) {
    return work(writer, {target},
                [=](xml_writing& inside) { return inside.instruction(target, text_of(data)); });
}

int ombrel_xml_writer_end(ombrel_xml_writer_t* writer) {
    return work(writer, {}, [](xml_writing& inside) { return inside.end(); });
}

int ombrel_xml_writer_element(ombrel_xml_writer_t* writer, const char* name, const char* text) {
    return work(writer, {name},
                [=](xml_writing& inside) { return put_element(inside, name, text_of(text)); });
}

int ombrel_xml_writer_integer_element(ombrel_xml_writer_t* writer, const char* name, int64_t value) {
    char digits[24];
    put_integer(digits, value);
    return work(writer, {name}, [&](xml_writing& inside) { return put_element(inside, name, digits); });
}

int64_t ombrel_xml_writer_get_depth(const ombrel_xml_writer_t* writer) {
    return writer != nullptr ? static_cast<int64_t>(writer->writing.depth()) : -1;
}

int64_t ombrel_xml_writer_get_size(const ombrel_xml_writer_t* writer) {
    if (writer == nullptr)
        return refuse_null();
    return writer->writing.reason() != 0 ? writer->writing.fail() : writer->writing.size();
}

int ombrel_xml_writer_get_reason(const ombrel_xml_writer_t* writer) {
    return writer != nullptr ? writer->writing.reason() : -1;
}
