// News of the network on Windows, said by the test in the system's stead, as not every host that plays
// Windows has any.
#if defined(_WIN32)

#include <string>
#include <thread>

#include <winsock2.h>

#include <ws2ipdef.h>

#include <iphlpapi.h>
#include <netioapi.h>

#include <gtest/gtest.h>

#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/network_watch.h>

#include "support/event_turns.h"
#include "support/no_afd.h"
#include "support/replaced_import.h"

using namespace ombrel_test;

namespace {

/// What was registered, and how often that was ended.
struct played_system {
    PIPINTERFACE_CHANGE_CALLBACK on_interface;
    PUNICAST_IPADDRESS_CHANGE_CALLBACK on_address;
    PIPFORWARD_CHANGE_CALLBACK on_route;
    void* context;
    int ended;
} played;

template<auto place, typename Callback>
DWORD WINAPI note(ADDRESS_FAMILY, Callback callback, void* context, BOOLEAN, HANDLE* registration) {
    played.*place = callback;
    played.context = context;
    *registration = &played;
    return NO_ERROR;
}

DWORD WINAPI end_note(HANDLE registration) {
    played.ended += registration == &played;
    return NO_ERROR;
}

class WindowsWatch : public ::testing::Test {
protected:
    WindowsWatch() {
        played = {};
        ombrel_init_network_watch_options(&options_);
        options_.m_queue_size = 4096;
        options_.m_context = this;
        options_.m_handler = [](ombrel_network_watch_t*, const ombrel_network_change_t* change, void* self) {
            static_cast<WindowsWatch*>(self)->tell(*change);
            return 0;
        };
        watch_ = ombrel_open_network_watch(base_, &options_);
    }
    ~WindowsWatch() override { ombrel_free_event_base(base_); }

    void tell(const ombrel_network_change_t& change) {
        told_ += "?+*-!"[change.m_change];
        if (change.m_change == def_ombrel_network_lost)
            return;
        told_ += std::to_string(change.m_index);
        char text[64] = "";
        if (change.m_address != nullptr)
            inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in&>(change.m_address->m_address).sin_addr,
                      text, sizeof text);
        if (change.m_route != nullptr)
            text[0] = 'r';
        told_ += text;
        told_ += ' ';
    }
    static MIB_UNICASTIPADDRESS_ROW address(const char* text) {
        MIB_UNICASTIPADDRESS_ROW row{};
        row.InterfaceIndex = 7777;
        row.Address.Ipv4.sin_family = AF_INET;
        inet_pton(AF_INET, text, &row.Address.Ipv4.sin_addr);
        return row;
    }

    /// Whether the system can be asked about one, as it is where it tells of any.
    static bool knows_routes() {
        return GetProcAddress(GetModuleHandleA("iphlpapi.dll"), "GetIpForwardEntry2") != nullptr;
    }

    const replaced_import interfaces_{"iphlpapi.dll", "NotifyIpInterfaceChange",
                                      note<&played_system::on_interface, PIPINTERFACE_CHANGE_CALLBACK>};
    const replaced_import addresses_{"iphlpapi.dll", "NotifyUnicastIpAddressChange",
                                     note<&played_system::on_address, PUNICAST_IPADDRESS_CHANGE_CALLBACK>};
    const replaced_import routes_{"iphlpapi.dll", "NotifyRouteChange2",
                                  note<&played_system::on_route, PIPFORWARD_CHANGE_CALLBACK>};
    const replaced_import end_{"iphlpapi.dll", "CancelMibChangeNotify2", end_note};
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel_network_watch_options_t options_;
    ombrel_network_watch_t* watch_;
    std::string told_;
};

TEST_F(WindowsWatch, TellsWhatComesOnTheSystemsThreadsInItsOrder) {
    ASSERT_NE(nullptr, watch_) << ombrel_fault_text();
    EXPECT_EQ(uint32_t{def_ombrel_network_all & ~def_ombrel_network_neighbours},
              ombrel_network_watch_get_kinds(watch_));
    std::thread([] {
        MIB_IPINTERFACE_ROW link{};
        link.InterfaceIndex = 7776;
        MIB_UNICASTIPADDRESS_ROW row = address("192.0.2.1");
        MIB_IPFORWARD_ROW2 route{};
        route.InterfaceIndex = 7778;
        route.DestinationPrefix.Prefix.si_family = route.NextHop.si_family = AF_INET;
        played.on_interface(played.context, &link, MibAddInstance);
        played.on_address(played.context, &row, MibAddInstance);
        played.on_address(played.context, nullptr, MibInitialNotification);
        played.on_address(played.context, &row, MibParameterNotification);
        if (knows_routes())
            played.on_route(played.context, &route, MibAddInstance);
        played.on_address(played.context, &row, MibDeleteInstance);
        played.on_interface(played.context, &link, MibDeleteInstance);
    }).join();
    const std::string all = std::string("+7776 +7777192.0.2.1 *7777192.0.2.1 ") +
                            (knows_routes() ? "+7778r " : "") + "-7777192.0.2.1 -7776 ";
    EXPECT_TRUE(turn_until(base_, [&] { return told_.size() >= all.size(); }));
    EXPECT_EQ(all, told_);
    EXPECT_EQ(0, ombrel_close_network_watch(watch_));
    EXPECT_EQ(3, played.ended);
}

TEST_F(WindowsWatch, SaysThatSomeWereLostBehindThoseThatHadRoom) {
    ASSERT_NE(nullptr, watch_) << ombrel_fault_text();
    for (int round = 0; round < 2; round++) {
        told_.clear();
        MIB_UNICASTIPADDRESS_ROW row = address("192.0.2.2");
        for (int i = 0; i < 1000; i++)
            played.on_address(played.context, &row, MibParameterNotification);
        EXPECT_TRUE(turn_until(base_, [&] { return !told_.empty() && told_.back() == '!'; }));
        EXPECT_EQ(told_.size() - 1, told_.find('!')) << "once, and last";
        EXPECT_LE(16 * sizeof "*7777192.0.2.2", told_.size());
    }
    EXPECT_EQ(0, ombrel_close_network_watch(watch_));
}

} // namespace

#endif
