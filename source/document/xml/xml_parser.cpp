#include <ombrel/xml.h>

#include <cstring>
#include <new>

#include "core/heap_ptr.h"
#include "document/xml/parser.h"
#include "document/xml/xml_fault.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

constexpr size_t mebibyte = 1024 * 1024;

constexpr ombrel_xml_options_t defaults = {
    .m_flags = def_ombrel_xml_namespaces,
    .m_encoding = nullptr,
    .m_base = nullptr,
    .m_document_limit = -1,
    .m_depth_limit = 10000,
    .m_attribute_limit = 10000,
    .m_name_limit = 10000,
    .m_name_count_limit = 1000000,
    .m_value_limit = 10 * mebibyte,
    .m_token_limit = 16 * mebibyte,
    .m_doctype_limit = 16 * mebibyte,
    .m_external_limit = 16 * mebibyte,
    .m_entity_depth_limit = 40,
    .m_nested_entity_limit = 1000000,
    .m_expansion_limit = 8 * mebibyte,
    .m_amplification_limit = 100,
    .m_loader = nullptr,
    .m_loader_context = nullptr,
};

int refuse_call() {
    leave_fault(fault_code::invalid);
    return -1;
}

bool makes_sense(const ombrel_xml_options_t& options) {
    const size_t limits[] = {
        options.m_depth_limit,      options.m_attribute_limit, options.m_name_limit,
        options.m_name_count_limit, options.m_value_limit,     options.m_token_limit,
        options.m_doctype_limit,    options.m_external_limit,  options.m_entity_depth_limit};
    for (const size_t limit : limits)
        if (limit == 0)
            return false;
    return (options.m_flags & ~def_ombrel_xml_all_flags) == 0;
}

} // namespace

extern "C" {

int ombrel_init_xml_options(ombrel_xml_options_t* options) {
    if (options == nullptr)
        return refuse_call();
    *options = defaults;
    return 0;
}

ombrel_xml_parser_t* ombrel_open_xml_parser_tag(const ombrel_xml_options_t* options,
                                                ombrel_xml_handler_t handler, void* context,
                                                const char* function, unsigned long line) {
    const ombrel_xml_options_t& settings = options != nullptr ? *options : defaults;
    if (!makes_sense(settings))
        return refuse_call(), nullptr;
    heap_ptr<ombrel_xml_parser_t> room(allocate_record<ombrel_xml_parser_t>(function, line), function, line);
    if (!room)
        return leave_fault(fault_code::no_memory), nullptr;
    auto* const parser = new (room.get()) ombrel_xml_parser_t(settings, handler, context, {function, line});
    if (!parser->open()) {
        const fault_keeper keeper;
        parser->~ombrel_xml_parser_ts();
        return nullptr;
    }
    return room.release();
}

int ombrel_close_xml_parser(ombrel_xml_parser_t* parser) {
    if (parser == nullptr)
        return 0;
    const heap_ptr<ombrel_xml_parser_t> room(parser);
    parser->~ombrel_xml_parser_ts();
    return 0;
}

int ombrel_xml_parser_reset(ombrel_xml_parser_t* parser) {
    if (parser == nullptr || parser->is_busy())
        return refuse_call();
    parser->reset();
    return 0;
}

int ombrel_xml_parser_push(ombrel_xml_parser_t* parser, const void* data, size_t size) {
    if (parser == nullptr || (data == nullptr && size > 0) || parser->is_busy())
        return refuse_call();
    return parser->push({static_cast<const char*>(data), size});
}

int ombrel_xml_parser_end(ombrel_xml_parser_t* parser) {
    if (parser == nullptr || parser->is_busy())
        return refuse_call();
    return parser->end();
}

int ombrel_parse_xml(const void* data, size_t size, const ombrel_xml_options_t* options,
                     ombrel_xml_handler_t handler, void* context, ombrel_xml_fault_t* fault) {
    if (fault != nullptr)
        *fault = {def_ombrel_xml_fault_none, 1, 1, 0, nullptr, nullptr, ""};
    ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(options, handler, context);
    if (parser == nullptr)
        return -1;
    int result = ombrel_xml_parser_push(parser, data, size);
    if (result == 0)
        result = ombrel_xml_parser_end(parser);
    if (fault != nullptr) {
        *fault = parser->fault();
        fault->m_system_id = fault->m_base = nullptr;
    }
    const fault_keeper keeper;
    (void)ombrel_close_xml_parser(parser);
    return result;
}

int ombrel_xml_parser_supply(ombrel_xml_parser_t* parser, const void* data, size_t size) {
    if (parser == nullptr || (data == nullptr && size > 0) || !parser->is_loading())
        return refuse_call();
    return parser->supply({static_cast<const char*>(data), size}) ? 0 : -1;
}

int ombrel_xml_parser_set_base(ombrel_xml_parser_t* parser, const char* base) {
    if (parser == nullptr || base == nullptr || !parser->is_loading())
        return refuse_call();
    return parser->set_base(base) ? 0 : -1;
}

int ombrel_xml_parser_set_encoding(ombrel_xml_parser_t* parser, const char* encoding) {
    if (parser == nullptr || encoding == nullptr || !parser->is_loading())
        return refuse_call();
    return parser->set_encoding(encoding) ? 0 : -1;
}

int ombrel_xml_parser_get_position(ombrel_xml_parser_t* parser, ombrel_xml_position_t* position) {
    if (parser == nullptr || position == nullptr)
        return refuse_call();
    *position = parser->position();
    return 0;
}

int64_t ombrel_xml_parser_get_depth(const ombrel_xml_parser_t* parser) {
    return parser != nullptr ? static_cast<int64_t>(parser->depth()) : refuse_call();
}

const char* ombrel_xml_parser_get_encoding(const ombrel_xml_parser_t* parser) {
    return parser != nullptr ? parser->encoding() : (refuse_call(), nullptr);
}

const ombrel_xml_fault_t* ombrel_xml_parser_get_fault(const ombrel_xml_parser_t* parser) {
    return parser != nullptr ? &parser->fault() : (refuse_call(), nullptr);
}

const char* ombrel_xml_fault_text(int reason) {
    return xml_fault_kind_of(reason).text;
}

} // extern "C"
