// Names of days and months, in English, as texts of machines have them.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel::system {

inline constexpr size_t short_name_size = 3;

/// A name in a block of one size, which can be copied as a whole.
struct time_name {
    char text[16];
    size_t size;

    constexpr time_name(std::string_view name) : text{}, size(name.size()) {
        for (size_t i = 0; i < name.size(); i++)
            text[i] = name[i];
    }
    constexpr std::string_view view() const { return {text, size}; }
};

inline constexpr time_name week_day_names[] = {std::string_view("Sunday"),   std::string_view("Monday"),
                                               std::string_view("Tuesday"),  std::string_view("Wednesday"),
                                               std::string_view("Thursday"), std::string_view("Friday"),
                                               std::string_view("Saturday")};
inline constexpr time_name month_names[] = {
    std::string_view("January"), std::string_view("February"), std::string_view("March"),
    std::string_view("April"),   std::string_view("May"),      std::string_view("June"),
    std::string_view("July"),    std::string_view("August"),   std::string_view("September"),
    std::string_view("October"), std::string_view("November"), std::string_view("December")};

} // namespace ombrel::system
