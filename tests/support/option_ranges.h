// What the fields of a record of options may hold.
#pragma once

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

namespace ombrel_test {

/// Options that are good but for one field at a time.
template<typename Options>
class option_ranges {
public:
    /// @param takes whether something is opened with the options; it is closed again
    option_ranges(const Options& usual, std::function<bool(const Options&)> takes)
        : usual_(usual), takes_(std::move(takes)) {}

    template<typename T>
    void within(T Options::*field, std::type_identity_t<T> least, std::type_identity_t<T> most,
                int line = __builtin_LINE()) {
        at_least(field, least, line);
        set(field, most, true, line);
        set(field, most + 1, false, line);
    }
    template<typename T>
    void at_least(T Options::*field, std::type_identity_t<T> least, int line = __builtin_LINE()) {
        set(field, least, true, line);
        if (std::is_signed_v<T> || least > 0)
            set(field, least - 1, false, line);
    }
    template<typename T>
    void set(T Options::*field, std::type_identity_t<T> value, bool is_good, int line = __builtin_LINE()) {
        change([=](Options& options) { options.*field = value; }, is_good, line);
    }
    template<typename Change>
    void change(Change change, bool is_good, int line = __builtin_LINE()) {
        Options options = usual_;
        change(options);
        EXPECT_EQ(is_good, takes_(options)) << "line " << line;
        if (!is_good) {
            EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "line " << line;
        }
    }

private:
    const Options usual_;
    const std::function<bool(const Options&)> takes_;
};

/// The usual options, and what is opened with others.
template<typename Options, typename Take>
option_ranges<Options> ranges_of(int (*init)(Options*), Take takes) {
    Options usual;
    init(&usual);
    return {usual, takes};
}

} // namespace ombrel_test
