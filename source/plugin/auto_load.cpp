#include "plugin/auto_load.h"

#include <utility>

#include <ombrel/path.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "platform/environment.h"
#include "platform/library_loader.h"
#include "plugin/plugin_registry.h"

namespace ombrel::plugin {

namespace {

constexpr const char tag[] = "ombrel_plugin_initialize_builtin_plugin";

struct auto_load_entry {
    const char* path;
    const char* search_list; ///< null for the usual places
    unsigned flags;          ///< none is in use
    plugin_use use;
};

auto_load_entry table[] = {
    {"ombrel_plugin_curl" OMBREL_LIBRARY_SUFFIX, nullptr, 0, {}},
    {nullptr, nullptr, 0, {}},
};

/// The directories of OMBREL_PLUGIN_PATH; where it is not set, that of the installed plug-ins beside this
/// library.
heap_ptr<char> usual_places() {
    if (const char* const given = platform::trusted_environment_variable("OMBREL_PLUGIN_PATH"))
        return heap_ptr<char>(ombrel_strdup_tag(given, tag, __LINE__));
    const heap_ptr<char> directory(ombrel_alloc_dirname_tag(platform::own_library_path(), tag, __LINE__));
    return heap_ptr<char>(directory ? ombrel_alloc_sprintf("%s/ombrel_tuk/plugins", directory.get())
                                    : nullptr);
}

} // namespace

void auto_load() {
    const heap_ptr<char> places = usual_places();
    for (auto_load_entry* entry = table; entry->path != nullptr; entry++) {
        if (entry->use.handle < 0)
            entry->use =
                load_plugin(entry->path, entry->search_list != nullptr ? entry->search_list : places.get());
    }
}

void auto_unload() {
    for (auto_load_entry* entry = table; entry->path != nullptr; entry++)
        drop_plugin_use(std::exchange(entry->use, {}));
}

} // namespace ombrel::plugin
