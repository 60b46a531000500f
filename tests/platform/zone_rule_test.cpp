// Rules of summer time beside those of the C library.
#include <ctime>
#include <random>

#include <ombrel/environment.h>

#include "platform/seam_support.h"
#include "platform/zone_rule.h"

using namespace ombrel_test;

namespace {

constexpr const char* rules[] = {"CET-1CEST,M3.5.0,M10.5.0/3",
                                 "EST5EDT,M3.2.0,M11.1.0",
                                 "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0",
                                 "NST03:30:15NDT2:30,J60/0:30:10,J300/-1",
                                 "AAA-3BBB,59/2,300/26:00",
                                 "AAA24BBB-24,M1.1.3,M12.5.6/-167",
                                 "IST-1GMT0,M10.5.0,M3.5.0/1",
                                 "<-03>3",
                                 "UTC0"};

TEST(ZoneRule, IsReadAndAppliedAsByTheCLibrary) {
#if defined(_WIN32)
    GTEST_SKIP() << "the C library of this host knows no such rules";
#else
    std::mt19937_64 source(5);
    for (const char* const text : rules) {
        platform::zone_rule rule;
        ASSERT_TRUE(platform::read_zone_rule(text, rule)) << text;
        ombrel_putenv((std::string("TZ=") + text).c_str());
        tzset();
        for (int i = 0; i < 5000; i++) {
            const auto moment = static_cast<time_t>(source() % 0x7FFFFFFF);
            tm expected{};
            localtime_r(&moment, &expected);
            const platform::zone_state& state = rule.at(moment);
            ASSERT_EQ(expected.tm_gmtoff, state.offset) << text << ' ' << moment;
            ASSERT_EQ(expected.tm_isdst > 0, state.is_summer);
            ASSERT_STREQ(expected.tm_zone, state.name);
        }
    }
    ombrel_putenv("TZ");
    tzset();
#endif
}

TEST(ZoneRule, RefusesWhatIsNone) {
    for (const char* const text : {"",
                                   "A1",
                                   "AB1",
                                   "ABC",
                                   "ABC+",
                                   "ABC25",
                                   "ABC1:60",
                                   "<AB1",
                                   "<AB>1",
                                   "ABC1D",
                                   "ABC1DEF,",
                                   "ABC1DEF,M3.5.0",
                                   "ABC1DEF,M13.1.0,M1.1.0",
                                   "ABC1DEF,M1.6.0,M1.1.0",
                                   "ABC1DEF,M1.1.7,M1.1.0",
                                   "ABC1DEF,J0,J1",
                                   "ABC1DEF,366,1",
                                   "ABC1DEF,1/168,1",
                                   "ABC1DEF,1,2,",
                                   "Europe/Berlin",
                                   ":Europe/Berlin",
                                   "ABC99999999999999999999"}) {
        platform::zone_rule rule;
        EXPECT_FALSE(platform::read_zone_rule(text, rule)) << text;
    }
    platform::zone_rule rule;
    EXPECT_FALSE(platform::read_zone_rule(nullptr, rule));
    ASSERT_TRUE(platform::read_zone_rule("EST+5EDT", rule)); // that of the United States
    EXPECT_EQ(-4 * 3600, rule.at(1'720'000'000).offset);
    EXPECT_EQ(-5 * 3600, rule.at(1'700'000'000).offset);
}

TEST(ZoneRule, KeepsWholeCharactersOfAName) {
    platform::zone_state zone{};
    const std::string name = std::string(46, 'x') + "\xC3\xA4";
    platform::set_zone_name(zone, name.data(), name.size());
    EXPECT_EQ(std::string(46, 'x'), zone.name);
    platform::set_zone_name(zone, name.data() + 1, name.size() - 1);
    EXPECT_EQ(name.substr(1), zone.name);
    const std::string no_beginning(100, '\x80');
    platform::set_zone_name(zone, no_beginning.data(), no_beginning.size());
    EXPECT_STREQ("", zone.name) << "no whole character stands before the end";
}

} // namespace
