// A binding that ends with a scope.
#pragma once

#include <utility>

#include "plugin/plugin_registry.h"

namespace ombrel::plugin {

class plugin_binding {
public:
    plugin_binding() = default;
    explicit plugin_binding(plugin_record* plugin) : plugin_(plugin) {}
    plugin_binding(plugin_binding&& other) noexcept : plugin_(other.release()) {}
    plugin_binding& operator=(plugin_binding&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~plugin_binding() { reset(); }

    explicit operator bool() const { return plugin_ != nullptr; }
    plugin_record* get() const { return plugin_; }
    plugin_record* operator->() const { return plugin_; }
    plugin_record& operator*() const { return *plugin_; }
    plugin_record* release() { return std::exchange(plugin_, nullptr); }
    void reset(plugin_record* plugin = nullptr) {
        if (plugin_record* old = std::exchange(plugin_, plugin))
            unbind_plugin(old);
    }

private:
    plugin_record* plugin_ = nullptr;
};

} // namespace ombrel::plugin
