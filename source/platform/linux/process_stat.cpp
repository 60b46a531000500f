#include "platform/linux/process_stat.h"

namespace ombrel::platform {

// The name stands in parentheses and may have any bytes, parentheses too.
bool parse_process_stat(char* text, size_t size, process_stat& found) {
    std::string_view line(text, size);
    const size_t open = line.find('('), close = line.rfind(')');
    if (open == line.npos || close == line.npos || close < open || size - close < 4)
        return false;
    text[close] = '\0';
    found.name = text + open + 1;
    found.state = text[close + 2];
    line.remove_prefix(close + 3);
    field_reader fields(line);
    found.parent = fields.small_number();
    found.group = fields.small_number();
    fields.skip(8);
    found.user_ticks = fields.number();
    found.system_ticks = fields.number();
    fields.skip(4);
    found.threads = fields.small_number();
    fields.skip(1);
    found.start_ticks = fields.number();
    found.bytes = fields.number();
    found.resident_pages = fields.number();
    return true;
}

} // namespace ombrel::platform
