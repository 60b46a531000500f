// A probe plug-in, kept open by the test beside whatever the registry does with it.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <ombrel/dl.h>
#include <ombrel/plugin.h>
#include <ombrel/short_lock.h>

#include "plugin/modules/probe.h"
#include "support/no_copy.h"

namespace ombrel_test {

inline std::string module_path(const std::string& name) {
    return OMBREL_TEST_MODULES + name + ".so";
}

/// Opens the library, so that its state can be set before it is loaded and read when it is gone.
class probe_library : no_copy {
public:
    explicit probe_library(const std::string& name)
        : path_(module_path(name)), library_(ombrel_open_dl(path_.c_str())),
          state_(static_cast<probe_state_t*>(ombrel_import_dl(library_, "probe_state"))) {
        const char* error = ombrel_dl_error();
        EXPECT_NE(nullptr, state_) << (error != nullptr ? error : name.c_str());
        *state_ = {};
    }
    ~probe_library() { ombrel_close_dl(library_); }

    int load() const { return ombrel_load_plugin(path_.c_str(), nullptr); }
    /// Waits until the plug-in has set one of its words.
    static void await(const int& word) {
        while (PROBE_READ(word) == 0)
            ombrel_load_balance_short();
    }
    const char* path() const { return path_.c_str(); }
    probe_state_t* operator->() const { return state_; }

private:
    std::string path_;
    void* library_;
    probe_state_t* state_;
};

/// A probe that is loaded for a scope.
class loaded_probe : public probe_library {
public:
    explicit loaded_probe(const std::string& name) : probe_library(name), handle(load()) {
        EXPECT_GT(handle, 0);
    }
    ~loaded_probe() { ombrel_unload_plugin(handle); }

    const int handle;
};

} // namespace ombrel_test
