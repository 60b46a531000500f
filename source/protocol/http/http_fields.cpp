#include <algorithm>

#include <ombrel/heap.h>
#include <ombrel/http_field.h>

#include "core/call_site.h"
#include "core/heap_ptr.h"
#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

/// Where a field's name begins among the texts; its value follows the name's terminator.
struct field_place {
    size_t start, name_size, value_size;
};

/// A block of items that grows by doubling.
template<typename Item>
struct growing_block {
    Item* items = nullptr;
    size_t count = 0, room = 0;

    bool reserve(size_t more, const call_site& giver) {
        constexpr size_t least = 256 / sizeof(Item);
        if (more <= room - count)
            return true;
        const size_t wanted = std::max({count + more, least, 2 * room});
        auto* const larger =
            static_cast<Item*>(ombrel_alloc_tag(wanted * sizeof(Item), giver.tag, giver.line));
        if (larger == nullptr)
            return false;
        std::copy_n(items, count, larger);
        release();
        items = larger;
        room = wanted;
        return true;
    }
    void release() {
        if (items != nullptr)
            ombrel_free(items);
    }
};

} // namespace

struct ombrel_http_fields_ts {
    call_site giver;
    size_t limit;
    growing_block<char> texts;
    growing_block<field_place> places;
};

namespace {

using fields_t = ombrel_http_fields_t;

std::string_view name_of(const fields_t& fields, const field_place& place) {
    return {fields.texts.items + place.start, place.name_size};
}

std::string_view value_of(const fields_t& fields, const field_place& place) {
    return {fields.texts.items + place.start + place.name_size + 1, place.value_size};
}

bool is_named(const fields_t& fields, const field_place& place, const char* name) {
    return ombrel_is_http_name(fields.texts.items + place.start, place.name_size, name) != 0;
}

/// Calls it with the value of each field that has the name.
template<typename Take>
void for_each_named(const fields_t& fields, const char* name, Take take) {
    for (size_t i = 0; i < fields.places.count; i++)
        if (is_named(fields, fields.places.items[i], name))
            take(value_of(fields, fields.places.items[i]));
}

/// Bytes of all values with the name and a comma and a space behind each.
size_t joined_size(const fields_t& fields, const char* name) {
    size_t size = 0;
    for_each_named(fields, name, [&size](std::string_view value) { size += value.size() + 2; });
    return size;
}

} // namespace

ombrel_http_fields_t* ombrel_open_http_fields_tag(size_t limit, const char* function, unsigned long line) {
    constexpr size_t usual_limit = 65536;
    auto* const fields = allocate_record<fields_t>(function, line);
    if (fields == nullptr)
        leave_fault(fault_code::no_memory);
    else
        *fields = {{function, line}, limit != 0 ? limit : usual_limit, {}, {}};
    return fields;
}

int ombrel_close_http_fields(ombrel_http_fields_t* fields) {
    if (fields != nullptr) {
        fields->texts.release();
        fields->places.release();
        ombrel_free(fields);
    }
    return 0;
}

int ombrel_http_fields_clear(ombrel_http_fields_t* fields) {
    if (fields == nullptr)
        return refuse_http(fault_code::invalid);
    fields->texts.count = fields->places.count = 0;
    return 0;
}

int ombrel_http_fields_add(ombrel_http_fields_t* fields, ombrel_http_text_t name, ombrel_http_text_t value) {
    if (fields == nullptr || !ombrel_is_http_token(name.m_data, name.m_size) ||
        !ombrel_is_http_value(value.m_data, value.m_size))
        return refuse_http(fault_code::invalid);
    const size_t left = fields->limit - fields->texts.count;
    if (name.m_size > left || value.m_size > left - name.m_size || left - name.m_size - value.m_size < 2)
        return refuse_http(fault_code::too_large);
    const size_t size = name.m_size + value.m_size + 2;
    if (!fields->texts.reserve(size, fields->giver) || !fields->places.reserve(1, fields->giver))
        return refuse_http(fault_code::no_memory);
    char* to = put_text(fields->texts.items + fields->texts.count, view_of(name));
    *to++ = '\0';
    *put_text(to, view_of(value)) = '\0';
    fields->places.items[fields->places.count++] = {fields->texts.count, name.m_size, value.m_size};
    fields->texts.count += size;
    return 0;
}

int64_t ombrel_http_fields_get_count(const ombrel_http_fields_t* fields) {
    return fields != nullptr ? static_cast<int64_t>(fields->places.count) : refuse_http(fault_code::invalid);
}

int ombrel_http_fields_get_at(const ombrel_http_fields_t* fields, int64_t index, ombrel_http_text_t* name,
                              ombrel_http_text_t* value) {
    if (fields == nullptr || index < 0)
        return refuse_http(fault_code::invalid);
    if (static_cast<uint64_t>(index) >= fields->places.count)
        return 0;
    const field_place& place = fields->places.items[index];
    if (name != nullptr)
        *name = http_text(name_of(*fields, place));
    if (value != nullptr)
        *value = http_text(value_of(*fields, place));
    return 1;
}

const char* ombrel_http_fields_get(const ombrel_http_fields_t* fields, const char* name) {
    const char* found = nullptr;
    if (fields != nullptr && name != nullptr)
        for_each_named(*fields, name, [&found](std::string_view value) {
            if (found == nullptr)
                found = value.data();
        });
    return found;
}

char* ombrel_http_fields_alloc_joined_tag(const ombrel_http_fields_t* fields, const char* name,
                                          const char* function, unsigned long line) {
    const size_t size = fields != nullptr && name != nullptr ? joined_size(*fields, name) : 0;
    if (size == 0) {
        leave_fault(fault_code::not_found);
        return nullptr;
    }
    auto* const text = static_cast<char*>(ombrel_alloc_tag(size, function, line));
    if (text == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    char* to = text;
    for_each_named(*fields, name,
                   [&to](std::string_view value) { to = put_text(put_text(to, value), ", "); });
    text[size - 2] = '\0';
    return text;
}
