// The bell: what a thread that waits in a line is woken by.
#pragma once

namespace ombrel {

/// A ring on its way to one waiter. It is decided with the guard of the waiter's line held and sent without
/// it, so that the waiter does not run into the held guard. The waiter may be gone by then: of its bell only
/// the address is used, and a pipe's write end goes with the ring, which closes it.
class ringing {
public:
    ringing() = default;

    /// To be called once: false when the waiter cannot be woken.
    bool send();

private:
    friend class bell;
    ringing(const int* word, int found) : word_(word), found_(found) {}

    const int* word_ = nullptr;
    int found_ = 0;
};

/// One word, with which a waiter goes through these states:
/// - unhung: nobody waits, or the waiter has no pipe and must look by itself;
/// - awake: the waiter will look at what it waits for before it sleeps;
/// - asleep: the waiter sleeps on the word;
/// - a pipe's write end, from 0 on: the waiter sleeps on the pipe's other end;
/// - rung: the waiter was told to look, once for each wait.
/// It is changed with the guard of the waiter's line held, but for the steps between awake and asleep.
class bell {
public:
    /// Begins a wait.
    void hang() { value_ = awake; }
    void unhang() { value_ = unhung; }

    /// Without the guard this is only a hint, save that a rung bell stays rung.
    bool is_rung() const { return __atomic_load_n(&value_, __ATOMIC_RELAXED) == rung; }

    /// Sleeps for a short time, until the bell is rung.
    void sleep(int milliseconds);

    /// Rings by the pipe from now on; a negative end unhangs the bell. False when it has been rung before:
    /// the end stays the caller's.
    bool connect(int write_end);

    /// The write end, if the bell has one, which is the caller's from now on; else negative.
    int disconnect() { return value_ >= 0 ? take(unhung) : -1; }

    ringing ring() { return {&value_, take(rung)}; }

private:
    friend class ringing;
    enum : int { unhung = -1, awake = -2, asleep = -3, rung = -4 };

    bool step(int from, int to) {
        return __atomic_compare_exchange_n(&value_, &from, to, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
    }
    int take(int left_behind) { return __atomic_exchange_n(&value_, left_behind, __ATOMIC_RELAXED); }

    int value_;
};

} // namespace ombrel
