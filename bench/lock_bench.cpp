// The lock and its condition beside the platform's mutex and condition variable.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include <pthread.h>

#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>

namespace {

struct library_monitor {
    ombrel_lock_t mutex = def_ombrel_lock_initializer;
    ombrel_lock_condition_t condition = def_ombrel_lock_condition_initializer;

    void lock() { ombrel_lock(&mutex); }
    void unlock() { ombrel_unlock(&mutex); }
    void wait() { ombrel_lock_condition_wait(&condition, &mutex); }
    void wake() { ombrel_lock_condition_wakeup(&condition); }
};

struct platform_monitor {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;

    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }
    void wait() { pthread_cond_wait(&condition, &mutex); }
    void wake() { pthread_cond_signal(&condition); }
};

template<typename Monitor>
void uncontended(benchmark::State& state) {
    Monitor monitor;
    for (auto _ : state) {
        monitor.lock();
        benchmark::ClobberMemory();
        monitor.unlock();
    }
}

// One token goes back and forth between two threads.
template<typename Monitor>
struct token_game {
    Monitor monitor;
    int turn = 0;
    bool over = false;

    // Waits for the token and passes it on.
    bool play(int self) {
        monitor.lock();
        while (turn != self && !over)
            monitor.wait();
        const bool goes_on = !over;
        turn = 1 - self;
        monitor.wake();
        monitor.unlock();
        return goes_on;
    }
};

template<typename Monitor>
void hand_over(benchmark::State& state) {
    token_game<Monitor> game;
    std::thread partner([&game] {
        while (game.play(1)) {
        }
    });
    for (auto _ : state)
        game.play(0);
    game.monitor.lock();
    game.over = true;
    game.monitor.wake();
    game.monitor.unlock();
    partner.join();
}

BENCHMARK(uncontended<library_monitor>)->Name("lock uncontended|ombrel");
BENCHMARK(uncontended<platform_monitor>)->Name("lock uncontended|pthread mutex");
BENCHMARK(hand_over<library_monitor>)->Name("lock hand-over|ombrel")->UseRealTime();
BENCHMARK(hand_over<platform_monitor>)->Name("lock hand-over|pthread mutex+cond")->UseRealTime();

} // namespace
