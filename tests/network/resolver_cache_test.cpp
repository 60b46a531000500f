#include <ombrel/resolver_cache.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/error_output.h"
#include "support/fake_names.h"
#include "support/heap_balance.h"
#include "support/threads.h"
#include "support/time_travel.h"

namespace {

using namespace std::chrono_literals;

class ResolverCache : public ombrel_test::balanced_test {};

using cache_holder = std::unique_ptr<ombrel_resolver_cache_t, int (*)(ombrel_resolver_cache_t*)>;
using answers = std::unique_ptr<ombrel_resolver_t, int (*)(ombrel_resolver_t*)>;

cache_holder open_cache(int expiry_ms = 0) {
    cache_holder cache(ombrel_open_resolver_cache_ex(expiry_ms), ombrel_close_resolver_cache);
    EXPECT_NE(nullptr, cache);
    return cache;
}

answers get(const cache_holder& cache, const char* name, int port, int timeout_ms) {
    return {ombrel_get_resolver_cache(cache.get(), name, port, timeout_ms), ombrel_close_resolver};
}

/// What a handler was told, for a test that waits for it.
class journal {
public:
    static void note(ombrel_resolver_cache_t*, int is_new, const char* name, int port, void* context) {
        auto* const self = static_cast<journal*>(context);
        const std::lock_guard guard(self->mutex_);
        self->lines_.push_back(std::string(name) + ":" + std::to_string(port) + " " + std::to_string(is_new));
        self->changed_.notify_all();
    }
    std::vector<std::string> wait_for(size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, 20s, [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

using lines = std::vector<std::string>;

/// A handler that keeps the service thread busy until it is opened. (Semaphores of the language miss wake-ups
/// in some run-times.)
class gate {
public:
    static void hold(ombrel_resolver_cache_t*, int, const char*, int, void* context) {
        auto* const self = static_cast<gate*>(context);
        self->pass(self->is_entered_);
        self->await(self->is_open_);
    }
    void await_entry() { await(is_entered_); }
    void open() { pass(is_open_); }

private:
    void pass(bool& mark) {
        const std::lock_guard guard(mutex_);
        mark = true;
        changed_.notify_all();
    }
    void await(const bool& mark) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return mark; });
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool is_entered_ = false, is_open_ = false;
};

TEST_F(ResolverCache, AnswersAWaitingGet) {
    const cache_holder cache = open_cache();
    for (int timeout : {-1, 20000, 0}) {
        const answers list = get(cache, "127.0.0.1", 80, timeout);
        ASSERT_NE(nullptr, list) << timeout;
        EXPECT_STREQ("127.0.0.1", list->m_address_text);
        EXPECT_EQ(80, list->m_port);
    }
    EXPECT_EQ(nullptr, get(cache, "127.0.0.1", 81, 0)) << "another port is another entry";
}

TEST_F(ResolverCache, AnIdleServiceSleeps) {
    const cache_holder cache = open_cache();
    ASSERT_NE(nullptr, get(cache, "127.0.0.1", 80, -1));
    const unsigned long before = ombrel_test::clock_looks;
    std::this_thread::sleep_for(60ms);
    EXPECT_GT(before + 300, ombrel_test::clock_looks);
}

TEST_F(ResolverCache, LeavesARequestBehindAGetThatDoesNotWait) {
    const cache_holder cache = open_cache();
    EXPECT_EQ(nullptr, get(cache, "[::1]:7", 80, 0));
    answers list = get(cache, "[::1]:7", 80, 0);
    for (int i = 0; i < 30000 && list == nullptr; i++) {
        std::this_thread::sleep_for(1ms);
        list = get(cache, "[::1]:7", 80, 0);
    }
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(7, list->m_port);
}

TEST_F(ResolverCache, EndsAWaitWithoutAnswer) {
    const cache_holder cache = open_cache();
    EXPECT_EQ(nullptr, get(cache, "no.such.name.invalid", 80, -1));
    EXPECT_EQ(nullptr, get(cache, "no.such.name.invalid", 80, -1)) << "a known failure is tried again";
}

TEST_F(ResolverCache, GivesUpAtTheTimeLimit) {
    const cache_holder cache = open_cache();
    gate busy;
    ASSERT_EQ(0, ombrel_request_resolver_cache_with_handler(cache.get(), "127.0.0.1", 1, gate::hold, &busy));
    busy.await_entry();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(nullptr, get(cache, "127.0.0.1", 2, 30));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 29ms);
    busy.open();
    EXPECT_NE(nullptr, get(cache, "127.0.0.1", 2, -1));
}

TEST_F(ResolverCache, TellsHandlersOfEachResolution) {
    journal seen;
    const cache_holder cache = open_cache();
    const auto request = [&](const char* name, ombrel_resolver_cache_handler_t handler) {
        EXPECT_EQ(0, ombrel_request_resolver_cache_with_handler(cache.get(), name, 9, handler, &seen));
    };
    request("127.0.0.1", journal::note);
    seen.wait_for(1);
    request("127.0.0.1", nullptr); // the entry's own handler hears of it
    seen.wait_for(2);
    request("no.such.name.invalid", journal::note);
    seen.wait_for(3);
    answers(ombrel_get_resolver_cache_with_handler(cache.get(), "::1", 9, -1, journal::note, &seen),
            ombrel_close_resolver);
    EXPECT_EQ((lines{"127.0.0.1:9 1", "127.0.0.1:9 0", "no.such.name.invalid:9 -1", "::1:9 1"}),
              seen.wait_for(4));
}

TEST_F(ResolverCache, GivesARepeatedRequestToTheNewerHandler) {
    journal older, newer;
    const cache_holder cache = open_cache();
    gate busy;
    ombrel_request_resolver_cache_with_handler(cache.get(), "127.0.0.1", 1, gate::hold, &busy);
    busy.await_entry();
    ombrel_request_resolver_cache_with_handler(cache.get(), "127.0.0.1", 2, journal::note, &older);
    ombrel_request_resolver_cache_with_handler(cache.get(), "127.0.0.1", 2, journal::note, &newer);
    ombrel_request_resolver_cache(cache.get(), "127.0.0.1", 2);
    ombrel_request_resolver_cache_with_handler(cache.get(), "127.0.0.1", 3, journal::note, &newer);
    busy.open();
    EXPECT_EQ((lines{"127.0.0.1:2 1", "127.0.0.1:3 1"}), newer.wait_for(2));
    EXPECT_EQ(lines{}, older.wait_for(0));
}

void ask_again(ombrel_resolver_cache_t* cache, int is_new, const char* name, int port, void* context) {
    const answers list(ombrel_get_resolver_cache(cache, name, port, 0), ombrel_close_resolver);
    EXPECT_NE(nullptr, list) << "the answer is there before its handler is called";
    EXPECT_EQ(
        0, ombrel_request_resolver_cache_with_handler(cache, "127.0.0.1", port + 1, journal::note, context));
    journal::note(cache, is_new, name, port, context);
}

TEST_F(ResolverCache, LetsAHandlerCallTheCache) {
    journal seen;
    const cache_holder cache = open_cache();
    ombrel_request_resolver_cache_with_handler(cache.get(), "127.0.0.1", 5, ask_again, &seen);
    EXPECT_EQ((lines{"127.0.0.1:5 1", "127.0.0.1:6 1"}), seen.wait_for(2));
}

TEST_F(ResolverCache, DropsWhatIsNotUsed) {
    const cache_holder cache = open_cache(400);
    ASSERT_NE(nullptr, get(cache, "127.0.0.1", 1, -1));
    ASSERT_NE(nullptr, get(cache, "127.0.0.1", 2, -1));
    auto used = std::chrono::steady_clock::now() - 1h;
    for (int i = 0; i < 12; i++) {
        const auto now = std::chrono::steady_clock::now();
        const answers list = get(cache, "127.0.0.1", 1, 0);
        // A machine that was too busy to use it in time proves nothing.
        if (std::chrono::steady_clock::now() - used < 300ms) {
            EXPECT_NE(nullptr, list) << "use keeps an entry";
        }
        used = now;
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_EQ(nullptr, get(cache, "127.0.0.1", 2, 0));
}

TEST_F(ResolverCache, ResolvesDirectlyWithoutCacheOrName) {
    const cache_holder none(nullptr, ombrel_close_resolver_cache), cache = open_cache();
    EXPECT_NE(nullptr, get(none, "127.0.0.1", 80, 0));
    EXPECT_NE(nullptr, get(cache, nullptr, 80, 0));
    EXPECT_EQ(-1, ombrel_request_resolver_cache(nullptr, "127.0.0.1", 80));
    EXPECT_EQ(-1, ombrel_request_resolver_cache(cache.get(), nullptr, 80));
    EXPECT_EQ(0, ombrel_close_resolver_cache(nullptr));
}

// The close comes back although nothing ends the look-up, and says what is left until something does.
TEST_F(ResolverCache, LeavesALookUpThatHangsBehind) {
    const ombrel_test::error_output errors;
    ombrel_test::hanging_names names;
    const size_t before = ombrel_get_alloc_count();
    journal seen;
    {
        const cache_holder cache = open_cache();
        EXPECT_EQ(nullptr, get(cache, "slow.test", 80, 0));
        ASSERT_TRUE(names.wait_for_one());
        for (int port = 0; port < 100; port++)
            ombrel_request_resolver_cache_with_handler(cache.get(), "slow.test", port, journal::note, &seen);
        ombrel_test::clock_looks = 0;
    }
    EXPECT_GT(100u, ombrel_test::clock_looks.load()) << "the close sleeps instead of looking again and again";
    EXPECT_EQ("ombrel_close_resolver_cache: [WARNING] a look-up does not end and is left behind ! "
              "(name=\"slow.test\", port=80, its thread and memory go when it ends)\n",
              errors.text());
    EXPECT_LT(before, ombrel_get_alloc_count());
    EXPECT_GE(before + 8, ombrel_get_alloc_count()) << "what nobody uses is freed at once";
    names.release();
    EXPECT_TRUE(ombrel_test::wait_until([=] { return ombrel_get_alloc_count() == before; }));
    EXPECT_EQ(lines{}, seen.wait_for(0));
    EXPECT_EQ(1, ombrel_test::names_asked) << "no look-up begins after the close";
}

// A table that names of one kind fill must find them all, and so it must when it shrinks.
TEST_F(ResolverCache, FindsEachOfManyNames) {
    const cache_holder cache = open_cache();
    const auto name_of = [](int i) {
        return "127.0." + std::to_string(i % 50) + "." + std::to_string(i / 50);
    };
    for (int i = 0; i < 600; i++)
        ASSERT_EQ(0, ombrel_request_resolver_cache(cache.get(), name_of(i).c_str(), i % 3));
    for (int i = 0; i < 600; i++) {
        const answers list = get(cache, name_of(i).c_str(), i % 3, -1);
        ASSERT_NE(nullptr, list) << i;
        EXPECT_EQ(name_of(i), list->m_address_text);
        EXPECT_EQ(nullptr, get(cache, name_of(i).c_str(), 3 + i % 3, 0));
    }
}

TEST_F(ResolverCache, ServesManyThreads) {
    const cache_holder cache = open_cache(2); // entries come and go all the time
    ombrel_test::in_threads(6, [&cache](int t) {
        for (int i = 0; i < 60; i++) {
            const int port = (i * 7 + t) % 20;
            if (i % 3 == 0)
                ombrel_request_resolver_cache(cache.get(), "127.0.0.1", port);
            const answers list = get(cache, "127.0.0.1", port, i % 5 == 0 ? 0 : 5000);
            EXPECT_TRUE(list == nullptr || list->m_port == port);
        }
    });
}

} // namespace
