// By one condition variable for all words, for hosts without a call that waits for a word.
#if !defined(__linux__)

#include "platform/wait_word.h"

#include <pthread.h>
#include <time.h>

namespace ombrel::platform {

namespace {

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t changed = PTHREAD_COND_INITIALIZER;

void wake_everybody() {
    pthread_mutex_lock(&mutex);
    pthread_cond_broadcast(&changed);
    pthread_mutex_unlock(&mutex);
}

timespec time_in(uint32_t milliseconds) {
    timespec when;
    clock_gettime(CLOCK_REALTIME, &when);
    when.tv_sec += static_cast<time_t>(milliseconds / 1000);
    when.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (when.tv_nsec >= 1'000'000'000) {
        when.tv_nsec -= 1'000'000'000;
        when.tv_sec++;
    }
    return when;
}

} // namespace

void wait_while_equal(const std::atomic<uint32_t>& word, uint32_t value) {
    pthread_mutex_lock(&mutex);
    while (word.load() == value)
        pthread_cond_wait(&changed, &mutex);
    pthread_mutex_unlock(&mutex);
}

void wake_waiters(const std::atomic<uint32_t>&) {
    wake_everybody();
}

void wait_while_equal(const int* word, int value, uint32_t milliseconds) {
    const timespec end = time_in(milliseconds);
    pthread_mutex_lock(&mutex);
    if (__atomic_load_n(word, __ATOMIC_RELAXED) == value)
        pthread_cond_timedwait(&changed, &mutex, &end);
    pthread_mutex_unlock(&mutex);
}

void wake_waiter(const int*) {
    wake_everybody();
}

} // namespace ombrel::platform

#endif
