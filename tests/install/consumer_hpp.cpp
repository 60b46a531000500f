// A C++17 program on the installed library by its objects: leaves through 0 when they answer.
#include <ombrel_tuk.hpp>

#include <mutex>

int main() {
    {
        ombrel::lock lock;
        const std::lock_guard<ombrel::lock> held(lock);
        const auto queue = ombrel::buffer::open();
        queue.print("%s %d\n", ombrel_get_tuk_version_string(), 17);
        ombrel::print("%s\n", queue.pop_line());
        if (lock.try_lock() || !queue.empty())
            return 1;
    }
    return ombrel_get_alloc_count() == 0 ? 0 : 2;
}
