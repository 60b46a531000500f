#include <ombrel/plugin.h>

#include <ombrel/assert.h>

#include "plugin/plugin_registry.h"

using namespace ombrel::plugin;

namespace {

constexpr const char source_name[] = "source/plugin";

// The entry for a public function.
ombrel_plugin_main_t find_entry(int handle, const char* function) {
    const plugin_pin plugin(plugin_type, handle);
    return plugin ? main_entry(*plugin, source_name, function) : nullptr;
}

} // namespace

int ombrel_load_plugin_ex(const char* path, const char* search_list, const char* initialize_name,
                          const char* uninitialize_name) {
    if (initialize_name == nullptr)
        initialize_name = def_ombrel_plugin_initialize_name;
    if (uninitialize_name == nullptr)
        uninitialize_name = def_ombrel_plugin_uninitialize_name;
    return load_plugin(path, search_list, initialize_name, uninitialize_name).handle;
}

int ombrel_load_plugin(const char* path, const char* search_list) {
    return ombrel_load_plugin_ex(path, search_list, nullptr, nullptr);
}

int ombrel_unload_plugin(int handle) {
    const use_drop result = drop_plugin_use(handle);
    if (result == use_drop::none_left)
        ombrel_assert_fail_tag(source_name, "ombrel_unload_plugin", __LINE__,
                               "s_plugin->m_used_count > ((ombrel_uintmax_t)0u)");
    return result == use_drop::dropped ? 0 : -1;
}

int ombrel_unload_all_plugin(void) {
    drop_all_plugin_uses();
    return 0;
}

const ombrel_plugin_t* ombrel_get_plugin_info(void) {
    return newest_plugin();
}

const char* ombrel_plugin_get_name(int handle) {
    const plugin_pin plugin(plugin_type, handle);
    return plugin ? plugin->m_name : nullptr;
}

const char* ombrel_plugin_get_mime_type_hint(int handle) {
    const plugin_pin plugin(plugin_type, handle);
    return plugin ? plugin->m_mime_type_hint : nullptr;
}

const void* ombrel_plugin_get_interface(int handle) {
    const plugin_pin plugin(plugin_type, handle);
    return plugin ? plugin->m_interface : nullptr;
}

ombrel_plugin_main_t ombrel_plugin_get_main_entry(int handle) {
    return find_entry(handle, "ombrel_plugin_get_main_entry");
}

int ombrel_plugin_is_executable_main(int handle) {
    return find_entry(handle, "ombrel_plugin_is_executable_main") != nullptr ? 1 : 0;
}

int ombrel_plugin_execute_main(int handle, int argc, char** argv) {
    const plugin_binding bound(bind_plugin(handle));
    const auto entry = bound ? find_entry(handle, "ombrel_plugin_execute_main") : nullptr;
    return entry != nullptr ? entry(argc, argv) : 1;
}

int ombrel_plugin_execute_main_by_plugin_name(const char* name, int argc, char** argv) {
    const int handle = ombrel_load_plugin(name, nullptr);
    if (handle < 0)
        return 1;
    const int result = ombrel_plugin_execute_main(handle, argc, argv);
    ombrel_unload_plugin(handle);
    return result;
}
