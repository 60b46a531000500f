// Groups of children that a program which a signal ends does not leave behind.
#pragma once

#include <cstddef>

namespace ombrel::system {

/// Puts a group, by its leader, among those that end with the program where it has an ends_groups_by_signals.
/// There is room for some dozens; others are left alone.
void add_ending_group(int leader);
/// To be called before the leader is collected, as its number may be another's then.
void remove_ending_group(int leader);

/// While it lives, a signal that ends the program ends the groups first: they are asked to, and a second
/// later ended by force. A signal for which the program has a handler is left to it, and what whoever started
/// it ignores, save requests to end, to him.
class ends_groups_by_signals {
public:
    ends_groups_by_signals();
    ~ends_groups_by_signals();
    ends_groups_by_signals(const ends_groups_by_signals&) = delete;
    ends_groups_by_signals& operator=(const ends_groups_by_signals&) = delete;

private:
    static constexpr const char* names[] = {"SIGTERM", "SIGINT", "SIGHUP", "SIGQUIT", "SIGPIPE"};
    static constexpr size_t always_caught = 2;

    int caught_[5]; ///< 0 for one that is not
};

} // namespace ombrel::system
