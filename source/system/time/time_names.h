// Names of days and months, in English, as texts of machines have them.
#pragma once

#include <string_view>

namespace ombrel::system {

inline constexpr std::string_view week_day_names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                      "Thursday", "Friday", "Saturday"};
inline constexpr std::string_view month_names[] = {"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};

inline constexpr size_t short_name_size = 3;

} // namespace ombrel::system
