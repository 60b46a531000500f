// Value lists, the environment, figures of memory, threads and services.
#include <atomic>
#include <stdlib.h>

#include <ombrel/meminfo.h>
#include <ombrel/service.h>
#include <ombrel/short_lock.h>
#include <ombrel/thread.h>
#include <ombrel/value.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Runtime, new_value) {
    null_when_hit(fail, ombrel_free_value, ombrel_new_value);
    null_when_hit(fail, ombrel_free_value_node, [] { return ombrel_new_value_node("name", "data", 4); });
}

constexpr uint32_t dirty = 0x01;

/// A list with the entries a=1 and b=2 and nothing marked as changed.
class two_values : no_copy {
public:
    two_values() {
        ombrel_init_value(&head);
        ombrel_set_value_string(&head, 0, 1, "a", "1");
        ombrel_set_value_string(&head, 0, 1, "b", "2");
        head.m_flags &= ~dirty;
    }
    ~two_values() { ombrel_destroy_value(&head); }

    std::string text() const {
        std::string result;
        for (const ombrel_value_node_t* node = head.m_head; node != nullptr; node = node->m_next)
            result += std::string(node->m_name) + "=" + static_cast<const char*>(node->m_data) + ";";
        return result;
    }

    ombrel_value_t head;
};

// A change is made as a whole or not at all.
OMBREL_FAILURES(Runtime, set_value) {
    const struct {
        int mode;
        const char *name, *text, *after;
    } cases[] = {{0, "a", "3", "a=1;b=2;a=3;"},
                 {1, "a", "long", "a=long;b=2;"},
                 {2, "c", "1", "c=1;b=2;"},
                 {3, "a", "9", "a=1;b=2;a=9;"}};
    for (const auto& c : cases) {
        two_values list;
        refused_when_hit(fail,
                         [&] { return ombrel_set_value_string(&list.head, c.mode, 1, c.name, c.text); });
        EXPECT_EQ(fail.hit() ? "a=1;b=2;" : c.after, list.text());
        EXPECT_EQ(fail.hit() ? 0u : dirty, list.head.m_flags & dirty);
    }
}

// The parts are set one after the other: those before and after the one that failed stay set.
OMBREL_FAILURES(Runtime, set_multiple_values) {
    two_values list;
    refused_when_hit(fail, [&] { return ombrel_multiple_set_value_string(&list.head, 1, 1, "c|d", "long"); });
    const std::string text = list.text();
    EXPECT_EQ(0u, text.find("a=1;b=2;"));
    EXPECT_TRUE(fail.hit() || text == "a=1;b=2;c=long;d=long;") << text;
}

OMBREL_FAILURES(Runtime, alloc_getenv) {
    setenv("OMBREL_TEST_B", "value", 1);
    text_or_null(fail, "value", [] { return ombrel_alloc_getenv("OMBREL_TEST_A|OMBREL_TEST_B"); });
    unsetenv("OMBREL_TEST_B");
}

OMBREL_FAILURES(Runtime, meminfo) {
    ombrel_meminfo_t machine;
    refused_when_hit(fail, [&] { return ombrel_get_meminfo(&machine); });
    ombrel_process_meminfo_t process;
    refused_when_hit(fail, [&] { return ombrel_get_process_meminfo(0, &process); });
    ombrel_container_meminfo_t container;
    fail.during([&] { return ombrel_get_container_meminfo(&container); });
    EXPECT_TRUE(!fail.hit() || ombrel_last_fault() == def_ombrel_fault_no_memory);
}

OMBREL_FAILURES(Runtime, detached_thread) {
    std::atomic<bool> entered = false;
    const auto enter = [](void* entry) { *static_cast<std::atomic<bool>*>(entry) = true; };
    const bool begun = refused_when_hit(fail, [&] { return ombrel_detached_thread_ex(enter, &entered, 0); });
    while (begun && !entered)
        ombrel_load_balance_short();
}

int serve(ombrel_service_t* service, void*) {
    ombrel_ack_service(service);
    while (ombrel_break_service(service) == 0)
        ombrel_load_balance_short();
    return 0;
}

OMBREL_FAILURE_ONCE(Runtime, open_service) {
    const auto close = [](ombrel_service_t* service) {
        EXPECT_EQ(1, ombrel_check_service(service));
        ombrel_close_service(service);
    };
    // Claims of its lock are asked for again, so that not every single failure shows.
    opened_or_hit(fail, close, [] { return ombrel_open_service_ex("tested", serve, nullptr, 0); });
}

} // namespace
} // namespace ombrel_test
