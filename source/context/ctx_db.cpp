// Databases and frame-buffer information.
#include "context/ctx_internal.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

using result_t = ombrel_ctx_db_result_t;

// Calls work(text) with the formatted text.
template<typename Work>
auto with_formatted(int handle, const char* tag, const char* format, va_list args, Work work) {
    const heap_ptr<char> text = format_text(format, args, tag);
    return text ? work(text.get()) : fail<decltype(work(text.get()))>(handle, def_ombrel_ctx_error_no_memory);
}

bool are_valid(const char* query, const ombrel_ctx_db_value_t* parameters, size_t count) {
    return query != nullptr && (parameters != nullptr || count == 0);
}

// Calls an operation on a result, which null is not.
template<typename Slot, typename... Arguments>
auto forward_result(int handle, Slot slot, result_t* result, Arguments... arguments) {
    return forward_if(result != nullptr, handle, slot, result, arguments...);
}

} // namespace

result_t* ombrel_ctx_db_get_query_ex(int handle, const char* query, const ombrel_ctx_db_value_t* parameters,
                                     size_t count) {
    return forward_if(are_valid(query, parameters, count), handle, &v1_interface::m_db_get_query, query,
                      parameters, count);
}

result_t* ombrel_ctx_db_get_query_puts(int handle, const char* query) {
    return ombrel_ctx_db_get_query_ex(handle, query, nullptr, 0);
}

result_t* ombrel_ctx_db_get_vquery(int handle, const char* format, va_list args) {
    return with_formatted(handle, "ombrel_ctx_db_get_vquery", format, args,
                          [=](const char* query) { return ombrel_ctx_db_get_query_puts(handle, query); });
}

result_t* ombrel_ctx_db_get_query(int handle, const char* format, ...) {
    va_list args;
    va_start(args, format);
    result_t* result = ombrel_ctx_db_get_vquery(handle, format, args);
    va_end(args);
    return result;
}

int64_t ombrel_ctx_db_set_query_ex(int handle, const char* query, const ombrel_ctx_db_value_t* parameters,
                                   size_t count) {
    return forward_if(are_valid(query, parameters, count), handle, &v1_interface::m_db_set_query, query,
                      parameters, count);
}

int64_t ombrel_ctx_db_set_query_puts(int handle, const char* query) {
    return ombrel_ctx_db_set_query_ex(handle, query, nullptr, 0);
}

int64_t ombrel_ctx_db_set_vquery(int handle, const char* format, va_list args) {
    return with_formatted(handle, "ombrel_ctx_db_set_vquery", format, args,
                          [=](const char* query) { return ombrel_ctx_db_set_query_puts(handle, query); });
}

int64_t ombrel_ctx_db_set_query(int handle, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int64_t changed = ombrel_ctx_db_set_vquery(handle, format, args);
    va_end(args);
    return changed;
}

int ombrel_ctx_db_free_result(int handle, result_t* result) {
    return with_operation(handle, &v1_interface::m_db_free_result, [=](ctx_record&, auto operation) {
        return result != nullptr ? operation(handle, result) : 0;
    });
}

const ombrel_ctx_db_value_t* ombrel_ctx_db_fetch_row(int handle, result_t* result) {
    // So that the end can be told from a failure.
    ombrel_ctx_set_last_error(handle, def_ombrel_ctx_error_none);
    return forward_result(handle, &v1_interface::m_db_fetch_row, result);
}

int64_t ombrel_ctx_db_get_row_count(int handle, result_t* result) {
    return forward_result(handle, &v1_interface::m_db_get_row_count, result);
}

int ombrel_ctx_db_get_field_count(int handle, result_t* result) {
    return forward_result(handle, &v1_interface::m_db_get_field_count, result);
}

int ombrel_ctx_db_get_field_index(int handle, result_t* result, const char* name) {
    return forward_if(result != nullptr && name != nullptr, handle, &v1_interface::m_db_get_field_index,
                      result, name);
}

int ombrel_ctx_db_get_field_index_v(int handle, result_t* result, const char* format, va_list args) {
    return with_formatted(handle, "ombrel_ctx_db_get_field_index_v", format, args, [=](const char* name) {
        return ombrel_ctx_db_get_field_index(handle, result, name);
    });
}

int ombrel_ctx_db_get_field_index_f(int handle, result_t* result, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int index = ombrel_ctx_db_get_field_index_v(handle, result, format, args);
    va_end(args);
    return index;
}

const char* ombrel_ctx_db_get_field_name(int handle, result_t* result, int index) {
    return forward_result(handle, &v1_interface::m_db_get_field_name, result, index);
}

int ombrel_ctx_get_fbinfo(int handle, ombrel_ctx_fbinfo_t* info) {
    ombrel_ctx_fbinfo_t given{};
    const int result = forward_if(info != nullptr, handle, &v1_interface::m_get_fbinfo, &given);
    if (info != nullptr)
        *info = result == 0 ? given : ombrel_ctx_fbinfo_t{};
    return result;
}
