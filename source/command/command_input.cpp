#include "command/command_input.h"

#include "command/shown_name.h"

namespace ombrel::command {

void complain(const char* command, const char* what, const char* why) {
    ombrel_puts(nullptr);
    if (is_plain_text(what)) {
        ombrel_error_printf("%s: %s: %s\n", command, what, why);
        return;
    }
    ombrel_error_printf("%s: ", command);
    show_name(what, [](const char* bytes, size_t size) {
        ombrel_error_printf("%.*s", static_cast<int>(size), bytes);
    });
    ombrel_error_printf(": %s\n", why);
}

} // namespace ombrel::command
