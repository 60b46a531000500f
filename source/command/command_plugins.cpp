#include <ombrel/dl.h>
#include <ombrel/plugin.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

constexpr ombrel_argument_table_t table = {
    .m_name = "plugins",
    .m_operands = "[PATH...]",
    .m_summary = "Lists the plug-ins with their uses and MIME types, after loading those named.",
    .m_options = usual_options};

void list_plugins() {
    for (const ombrel_plugin_t* plugin = ombrel_get_plugin_info(); plugin != nullptr; plugin = plugin->m_next)
        ombrel_printf("%s\t%llu\t%s\n", plugin->m_name, static_cast<unsigned long long>(plugin->m_used_count),
                      text_or(plugin->m_mime_type_hint, "*"));
}

// Plug-ins named in the arguments, loaded for a scope.
class loaded_plugins {
public:
    explicit loaded_plugins(size_t room)
        : handles_(static_cast<int*>(
              ombrel_calloc_tag(room + 1, sizeof(int), "ombrel_multicall_plugins", __LINE__))) {}
    ~loaded_plugins() {
        while (count_ > 0)
            ombrel_unload_plugin(handles_.get()[--count_]);
    }
    loaded_plugins(const loaded_plugins&) = delete;
    loaded_plugins& operator=(const loaded_plugins&) = delete;

    bool add(const char* path) {
        const int handle = handles_ ? ombrel_load_plugin(path, nullptr) : -1;
        if (handle >= 0)
            handles_.get()[count_++] = handle;
        return handle >= 0;
    }

private:
    heap_ptr<int> handles_;
    size_t count_ = 0;
};

int run_plugins(int argc, char** argv) {
    const command_arguments arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    loaded_plugins loaded(static_cast<size_t>(argc));
    bool good = loaded.add(nullptr);
    for (int i = 0; i < arguments.operand_count(); i++) {
        if (loaded.add(arguments.operand(i)))
            continue;
        complain("plugins", arguments.operand(i), text_or(ombrel_dl_error(), "cannot be loaded"));
        good = false;
    }
    list_plugins();
    return exit_code(good);
}

} // namespace

constexpr own_command plugins_command = command_of(table, run_plugins);

} // namespace ombrel::command
