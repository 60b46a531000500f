// A base for objects that undo something when their scope ends.
#pragma once

namespace ombrel_test {

struct no_copy {
    no_copy() = default;
    no_copy(const no_copy&) = delete;
    no_copy& operator=(const no_copy&) = delete;
};

} // namespace ombrel_test
