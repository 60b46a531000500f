// A C++11 program on the installed library: leaves through 0 when the library answers.
#include <ombrel_tuk.h>

#include <cstdio>

int main() {
    ombrel_lock_t lock;
    ombrel_init_lock(&lock);
    const bool taken = ombrel_try_lock(&lock) == 1 && ombrel_try_lock(&lock) == 0;
    ombrel_unlock(&lock);
    ombrel_uninit_lock(&lock);
    std::puts(ombrel_get_tuk_version_string());
    return taken && ombrel_get_alloc_count() == 0 ? 0 : 1;
}
