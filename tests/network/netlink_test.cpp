// Messages of the kernel's, and news of a network that a thread has for itself.
#if defined(__linux__)

#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <linux/if.h>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/network_watch.h>

#include "platform/linux/netlink_record.h"

using namespace ombrel::platform;

namespace {

std::string word(uint32_t value, size_t size) {
    return std::string(reinterpret_cast<const char*>(&value) +
                           (std::endian::native == std::endian::big ? 4 - size : 0),
                       size);
}

/// An attribute, of a length that may be another than its own.
std::string attribute(unsigned type, const std::string& content, unsigned length = 0) {
    const auto own = static_cast<unsigned>(content.size() + 4);
    return word(length != 0 ? length : own, 2) + word(type, 2) + content +
           std::string((4 - own % 4) % 4, '\0');
}

const std::string link_head = word(0, 4) + word(7, 4) + word(0x1043, 4) + word(0, 4);
const std::string route_head = std::string("\x02\x18\0\0\xfe\x03\0\x01", 8) + word(0, 4);
const std::string name = attribute(3, std::string("v0\0", 3)), four(4, 'x');

std::string hop(unsigned length, const std::string& attributes) {
    return word(length, 2) + std::string(2, '\0') + word(9, 4) + attributes;
}

template<typename Record>
netlink_reading read(netlink_reading (&reader)(netlink_bytes, Record&), const std::string& bytes) {
    // Of its own size, so that sanitizers see a step too far.
    const std::vector<uint8_t> alone(bytes.begin(), bytes.end());
    Record record;
    return reader({alone.data(), alone.size()}, record);
}

TEST(Netlink, NoLengthIsBelieved) {
    const struct {
        bool is_good;
        std::string message;
    } links[] = {
        {true, link_head + name},
        {true, link_head + name + attribute(4, word(1500, 4)) + attribute(999, four)},
        {true, link_head + name + attribute(1, std::string(32, 'm'))},
        {false, link_head.substr(0, 15)},
        {false, link_head},
        {false, link_head + attribute(3, "v0")},
        {false, link_head + attribute(3, "")},
        {false, link_head + attribute(3, std::string(1, '\0'))},
        {false, link_head + name + attribute(4, word(1500, 2))},
        {false, link_head + name + attribute(1, std::string(33, 'm'))},
        {false, link_head + name + attribute(4, four, 3)},
        {false, link_head + name + attribute(4, four, 9)},
        {false, link_head + name + attribute(4, four, 65535)},
        {false, link_head + name + four.substr(0, 3)},
        {false, link_head + name + attribute(23, std::string(100, '\0'))},
        {false, link_head + name + attribute(18, attribute(1, "veth"))},
        {false, link_head + name + attribute(18, attribute(1, "", 400))},
    };
    for (const auto& [is_good, message] : links)
        EXPECT_EQ(is_good ? netlink_reading::taken : netlink_reading::malformed, read(read_link, message))
            << &message - &links[0].message;
    const std::string gateway = attribute(5, four);
    const struct {
        bool is_good;
        std::string message;
    } routes[] = {
        {true, route_head + attribute(1, four)},
        {true, route_head + attribute(9, hop(16, gateway) + hop(8, ""))},
        {true,
         route_head +
             attribute(
                 9, hop(30, attribute(18, std::string("\x0a\0", 2) + std::string(16, 'g')).substr(0, 22)))},
        {false, route_head + attribute(1, four + "x")},
        {false, route_head + attribute(5, four.substr(0, 3))},
        {false, route_head + attribute(9, hop(0, gateway))},
        {false, route_head + attribute(9, hop(7, gateway))},
        {false, route_head + attribute(9, hop(17, gateway))},
        {false, route_head + attribute(9, hop(16, gateway) + "abc")},
        {false, route_head + attribute(9, hop(13, gateway))},
        {false, route_head + attribute(18, "x")},
        {false, route_head + attribute(18, std::string("\x0a\0", 2) + four)},
        {false, std::string("\x02\x21", 2) + route_head.substr(2)},
    };
    for (const auto& [is_good, message] : routes)
        EXPECT_EQ(is_good ? netlink_reading::taken : netlink_reading::malformed, read(read_route, message));
    EXPECT_EQ(netlink_reading::passed_over, read(read_route, "\x1c" + route_head.substr(1)));
    EXPECT_EQ(netlink_reading::passed_over, read(read_link, "\x07" + link_head.substr(1)))
        << "a bridge's port";
    EXPECT_EQ(netlink_reading::malformed,
              read(read_neighbour, std::string("\x02\0\0\0", 4) + word(3, 4) + four));
}

/// Runs a piece in a network that has a loop-back interface alone, which is down; false where none may be
/// made.
bool in_own_network(const std::function<void()>& piece) {
    bool is_own = false;
    std::thread([&] {
        is_own = unshare(CLONE_NEWNET) == 0;
        if (is_own)
            piece();
    }).join();
    return is_own;
}

void set_loopback(bool up) {
    const int s = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    memcpy(request.ifr_name, "lo", 3);
    request.ifr_flags = static_cast<short>(up ? IFF_UP : 0);
    EXPECT_EQ(0, ioctl(s, SIOCSIFFLAGS, &request));
    close(s);
}

/// What a watch told, and what its handler does about it.
struct heard {
    std::string text;
    size_t close_at = 0, stop_at = 0, told = 0;
};

int note(ombrel_network_watch_t* watch, const ombrel_network_change_t* change, void* context) {
    auto& all = *static_cast<heard*>(context);
    all.text += std::string{"?ia?r???n??????*"[change->m_kind], "?+*-!"[change->m_change]};
    if (++all.told == all.close_at)
        ombrel_close_network_watch(watch);
    return all.told == all.stop_at ? 7 : 0;
}

void run(ombrel_event_base_t* base) {
    for (int turns = 0; turns < 3; turns++)
        ombrel_event_base_loop(base, def_ombrel_event_loop_non_block);
}

void watch_loopback() {
    set_loopback(true); // a base needs it
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_network_watch_options_t options;
    ombrel_init_network_watch_options(&options);
    options.m_handler = note;
    options.m_queue_size = 4096;
    for (const auto& [close_at, stop_at] : {std::pair<size_t, size_t>{0, 0}, {1, 0}, {0, 2}}) {
        heard all;
        all.close_at = close_at;
        all.stop_at = stop_at;
        options.m_context = &all;
        ombrel_network_watch_t* const watch = ombrel_open_network_watch(base, &options);
        if (watch == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported)
            GTEST_SKIP() << "this emulator lists no neighbours";
        ASSERT_NE(nullptr, watch) << ombrel_fault_text();
        EXPECT_EQ(def_ombrel_network_all, ombrel_network_watch_get_kinds(watch));
        set_loopback(false);
        run(base);
        set_loopback(true);
        run(base);
        const size_t last = close_at + stop_at;
        if (last != 0) {
            EXPECT_EQ(last, all.told) << all.text;
        } else {
            for (const char* const event : {"i*", "a+", "a-", "r+", "r-"})
                EXPECT_NE(std::string::npos, all.text.find(event)) << event << " in " << all.text;
            EXPECT_EQ(std::string::npos, all.text.find("i+")) << "it was known";
            all.text.clear();
            for (int i = 0; i < 200; i++)
                set_loopback(i % 2 == 0);
            run(base);
            EXPECT_NE(std::string::npos, all.text.find('!')) << "more came than there was room for";
        }
        if (close_at == 0)
            ombrel_close_network_watch(watch);
    }
    ombrel_free_event_base(base);
}

TEST(NetworkWatch, TellsChangesUntilItIsClosedOrItsHandlerHasEnough) {
    if (!in_own_network(watch_loopback))
        GTEST_SKIP() << "no network of one's own may be made";
}

} // namespace

#endif
