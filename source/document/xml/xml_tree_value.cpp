// Texts that are gathered, and what they mean.
#include <limits>

#include <ombrel/heap.h>
#include <ombrel/xml_tree.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "document/xml/character.h"
#include "document/xml/xml_node.h"
#include "text/charset/whole_characters.h"
#include "text/exact_double.h"
#include "text/number.h"
#include "text/slice.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

/// Calls with each text that counts; one that has no children has its own.
template<typename Use>
void for_each_text(const node& top, Use use) {
    if (has_text(top))
        return use(text_of(top));
    for (const node* one = following(&top, &top); one != nullptr; one = following(one, &top))
        if (is_text_like(*one))
            use(text_of(*one));
}

/// The text of a node: where it stands, or gathered from several.
class whole_text {
public:
    explicit whole_text(const node& top) {
        int count = 0;
        for_each_text(top, [&](std::string_view text) {
            view_ = text;
            count++;
        });
        if (count <= 1)
            return;
        size_t size = 0;
        gathered_.reset(ombrel_xml_node_alloc_text(&top, &size));
        is_had_ = gathered_.get() != nullptr;
        view_ = {gathered_.get(), size};
    }
    explicit operator bool() const { return is_had_; }
    std::string_view trimmed() const {
        std::string_view text = view_;
        while (!text.empty() && is_space(text.front()))
            text.remove_prefix(1);
        while (!text.empty() && is_space(text.back()))
            text.remove_suffix(1);
        return text;
    }

private:
    bool is_had_ = true;
    std::string_view view_;
    heap_ptr<char> gathered_;
};

enum class meaning { good, none, too_large };

/// Reads a value by `read(text)`: 1, 0 when there is none, -1 when it is none of the kind.
template<typename Read>
int get_value(const node* one, const char* attribute, const void* target, Read read) {
    if (target == nullptr)
        return leave_fault(fault_code::invalid), -1;
    if (one != nullptr && attribute != nullptr)
        one = is_element(one) ? find_attribute(*one, attribute) : nullptr;
    if (one == nullptr)
        return 0;
    const whole_text text(*one);
    if (!text)
        return -1;
    const meaning found = read(text.trimmed());
    if (found == meaning::good)
        return 1;
    leave_fault(found == meaning::too_large ? fault_code::too_large : fault_code::violation);
    return -1;
}

meaning read_integer(std::string_view text, int64_t& value) {
    if (starts_with(text, "+") && text.size() > 1 && text[1] != '-')
        text.remove_prefix(1);
    if (parse_number(text, value))
        return meaning::good;
    const std::string_view digits = slice(text, starts_with(text, "-") ? 1 : 0);
    const bool is_number =
        !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
    return is_number ? meaning::too_large : meaning::none;
}

meaning read_boolean(std::string_view text, int& value) {
    const bool is_true = text == "true" || text == "1";
    if (!is_true && text != "false" && text != "0")
        return meaning::none;
    value = is_true ? 1 : 0;
    return meaning::good;
}

// A number, or one of the words for what is none.
bool read_double(std::string_view text, double& value) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    const bool is_negative = starts_with(text, "-");
    const std::string_view word = is_negative || starts_with(text, "+") ? slice(text, 1) : text;
    if (text == "NaN") {
        value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    const fault_code fault = word == "INF" ? fault_code::too_large : parse_exact_double(text, value);
    if (fault == fault_code::too_large)
        value = is_negative ? -infinite : infinite;
    return fault != fault_code::violation;
}

} // namespace

char* ombrel_xml_node_alloc_text_tag(const ombrel_xml_node_t* node, size_t* size, const char* function,
                                     unsigned long line) {
    if (node == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    size_t whole = 0;
    for_each_text(*node, [&](std::string_view text) { whole += text.size(); });
    auto* const gathered = static_cast<char*>(ombrel_alloc_tag(whole + 1, function, line));
    if (gathered == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    char* to = gathered;
    for_each_text(*node, [&](std::string_view text) { to = put_text(to, text); });
    *to = '\0';
    if (size != nullptr)
        *size = whole;
    return gathered;
}

int64_t ombrel_xml_node_copy_text(const ombrel_xml_node_t* node, char* buffer, size_t room) {
    if (node == nullptr || (buffer == nullptr && room > 0))
        return leave_fault(fault_code::invalid), -1;
    size_t whole = 0, filled = 0;
    for_each_text(*node, [&](std::string_view text) {
        if (filled == whole && room > 0) {
            const std::string_view fits = slice(text, 0, room - 1 - filled);
            filled = static_cast<size_t>(put_text(buffer + filled, fits) - buffer);
        }
        whole += text.size();
    });
    if (room > 0) {
        buffer[filled < whole ? whole_characters(buffer, filled) : filled] = '\0';
    }
    return static_cast<int64_t>(whole);
}

int ombrel_xml_node_get_integer(const ombrel_xml_node_t* node, const char* attribute, int64_t* value) {
    return get_value(node, attribute, value,
                     [=](std::string_view text) { return read_integer(text, *value); });
}

int ombrel_xml_node_get_double(const ombrel_xml_node_t* node, const char* attribute, double* value) {
    return get_value(node, attribute, value, [=](std::string_view text) {
        return read_double(text, *value) ? meaning::good : meaning::none;
    });
}

int ombrel_xml_node_get_boolean(const ombrel_xml_node_t* node, const char* attribute, int* value) {
    return get_value(node, attribute, value,
                     [=](std::string_view text) { return read_boolean(text, *value); });
}
