#include "platform/library_loader.h"

#include <dlfcn.h>

namespace ombrel::platform {

const char* own_library_path() {
    Dl_info found;
    return dladdr(reinterpret_cast<void*>(&own_library_path), &found) != 0 ? found.dli_fname : nullptr;
}

void* open_library(const char* path, int flags) {
    return dlopen(path, flags != 0 ? flags : RTLD_NOW | RTLD_LOCAL);
}

int close_library(void* library) {
    return dlclose(library);
}

void* library_symbol(void* library, const char* name) {
    return dlsym(library, name);
}

void* behind_import(void* function) {
    return function;
}

const char* library_error() {
    return dlerror();
}

} // namespace ombrel::platform
