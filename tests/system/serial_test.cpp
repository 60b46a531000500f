// Serial ports, played by pairs of terminals: they have settings but no line.
#include <cstring>
#include <unistd.h>

#include <ombrel/fault.h>
#include <ombrel/pseudo_terminal.h>
#include <ombrel/serial.h>

#include "support/descriptor_balance.h"
#include "support/emulator.h"
#include "support/heap_balance.h"
#include "support/refused.h"
#include "system/in_terminal.h"

using namespace ombrel_test;

namespace {

class Serial : public balanced_test {
public:
    Serial() {
        EXPECT_EQ(0, ombrel_init_terminal_pair(&pair_));
        EXPECT_EQ(0, ombrel_init_serial_options(&options_));
    }
    ~Serial() override { ombrel_uninit_terminal_pair(&pair_); }

protected:
    /// What stty tells of the port.
    std::string settings(const char* how) const {
        in_terminal stty({"stty", "-F", pair_.m_name, how});
        EXPECT_EQ(0, stty.finish());
        return stty.shown();
    }

    descriptor_balance descriptors_;
    ombrel_terminal_pair_t pair_;
    ombrel_serial_options_t options_;
};

} // namespace

TEST_F(Serial, SettingsAreWhatOthersSeeAndAreGivenBack) {
    const std::string before = settings("-g");
    const struct {
        uint32_t speed;
        int stop_bits, flow;
        const char* word;
    } table[] = {{9600, 1, def_ombrel_serial_flow_none, " -cstopb "},
                 {4000000, 2, def_ombrel_serial_flow_hardware, " crtscts"},
                 {123456, 1, def_ombrel_serial_flow_software, " ixon "}};
    for (const auto& one : table) {
        if (one.speed != 9600 && knows_plain_terminals_alone())
            GTEST_SKIP() << "this emulator knows the usual speeds alone";
        options_.m_speed = one.speed;
        options_.m_stop_bits = one.stop_bits;
        options_.m_flow = one.flow;
        ombrel_serial_t* port = ombrel_open_serial(pair_.m_name, &options_);
        ASSERT_NE(nullptr, port) << ombrel_fault_text();
        const std::string seen = settings("-a");
        EXPECT_NE(std::string::npos, seen.find(one.word)) << seen;
        if (one.speed != 123456) { // which it does not know
            EXPECT_EQ(0u, seen.find("speed " + std::to_string(one.speed) + " baud")) << seen;
        }
        ombrel_serial_options_t read;
        EXPECT_EQ(0, ombrel_serial_get_options(port, &read));
        EXPECT_EQ(0, memcmp(&options_, &read, sizeof read));
        EXPECT_EQ(0, ombrel_close_serial(port));
        EXPECT_EQ(before, settings("-g"));
    }
}

TEST_F(Serial, BytesPassAsTheyAreWithinLimits) {
    ombrel_serial_t* port = ombrel_open_serial(pair_.m_name, nullptr);
    ASSERT_NE(nullptr, port);
    std::string all, arrived;
    for (int byte = 0; byte < 256; byte++)
        all += static_cast<char>(byte);
    char part[512];
    EXPECT_EQ(256, ombrel_serial_write(port, all.data(), all.size(), patience_ms));
    EXPECT_EQ(256, read(pair_.m_master, part, sizeof part));
    EXPECT_EQ(0, memcmp(all.data(), part, 256));
    EXPECT_EQ(1, ombrel_serial_drain(port, patience_ms));
    EXPECT_EQ(def_ombrel_serial_timeout, ombrel_serial_read(port, part, sizeof part, 10));
    EXPECT_EQ(256, write(pair_.m_master, all.data(), all.size()));
    while (arrived.size() < all.size()) {
        const int64_t bytes = ombrel_serial_read(port, part, 100, patience_ms);
        ASSERT_LT(0, bytes);
        arrived.append(part, static_cast<size_t>(bytes));
    }
    EXPECT_EQ(all, arrived);

    EXPECT_EQ(2, write(pair_.m_master, "ab", 2));
    while (ombrel_serial_get_waiting(port, def_ombrel_serial_input) < 2)
        usleep(1000);
    EXPECT_EQ(0, ombrel_serial_discard(port, def_ombrel_serial_both));
    EXPECT_EQ(0, ombrel_serial_get_waiting(port, def_ombrel_serial_both));
    const std::string much(1 << 20, 'x');
    const int64_t written = ombrel_serial_write(port, much.data(), much.size(), 20);
    EXPECT_LT(0, written);
    EXPECT_GT(static_cast<int64_t>(much.size()), written);
    close(pair_.m_master);
    pair_.m_master = -1;
    EXPECT_EQ(0, ombrel_serial_read(port, part, sizeof part, patience_ms)); // hung up
    EXPECT_EQ(-1, ombrel_serial_write(port, "x", 1, patience_ms));
    EXPECT_EQ(0, ombrel_close_serial(port));
}

TEST_F(Serial, APortIsOnesAloneAndSettingsAreNeverTakenForOthers) {
    ombrel_serial_t* port = ombrel_open_serial(pair_.m_name, &options_);
    ASSERT_NE(nullptr, port);
    options_.m_is_shared = 1;
    EXPECT_EQ(nullptr, ombrel_open_serial(pair_.m_name, &options_));
    EXPECT_EQ(def_ombrel_fault_busy, ombrel_last_fault());
    // A pseudo-terminal has 8 bits and no parity.
    options_.m_parity = def_ombrel_serial_parity_even;
    options_.m_speed = 300;
    EXPECT_EQ(-1, ombrel_serial_set_options(port, &options_));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    ombrel_serial_options_t now;
    EXPECT_EQ(0, ombrel_serial_get_options(port, &now));
    EXPECT_EQ(115200u, now.m_speed);
    uint32_t lines;
    EXPECT_EQ(-1, ombrel_serial_get_lines(port, &lines));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_serial_set_lines(port, def_ombrel_serial_rts, 0));
    EXPECT_EQ(-1, ombrel_serial_set_lines(port, def_ombrel_serial_cts, 0));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(knows_plain_terminals_alone() ? -1 : 0, ombrel_serial_send_break(port, 1));
    EXPECT_LE(0, ombrel_serial_get_descriptor(port));
    ombrel_close_serial(port);

    options_.m_parity = def_ombrel_serial_parity_none;
    ombrel_serial_t* both[2];
    for (ombrel_serial_t*& one : both)
        EXPECT_NE(nullptr, one = ombrel_open_serial(pair_.m_name, &options_));
    for (ombrel_serial_t* one : both)
        ombrel_close_serial(one);
    const struct {
        const char* name;
        int fault;
    } table[] = {{"/dev/null", def_ombrel_fault_not_supported},
                 {"/ombrel/no/port", def_ombrel_fault_not_found},
                 {"/", def_ombrel_fault_not_supported},
                 {nullptr, def_ombrel_fault_invalid}};
    for (const auto& one : table) {
        EXPECT_EQ(nullptr, ombrel_open_serial(one.name, nullptr));
        EXPECT_EQ(one.fault, ombrel_last_fault());
    }
}

TEST_F(Serial, RefusesNonsense) {
    ombrel_serial_t* port = ombrel_open_serial(pair_.m_name, &options_);
    ASSERT_NE(nullptr, port);
    const struct {
        int ombrel_serial_options_t::*field;
        int good, bad;
    } limits[] = {
        {&ombrel_serial_options_t::m_data_bits, 8, 4}, {&ombrel_serial_options_t::m_data_bits, 8, 9},
        {&ombrel_serial_options_t::m_parity, 0, -1},   {&ombrel_serial_options_t::m_parity, 0, 5},
        {&ombrel_serial_options_t::m_stop_bits, 1, 0}, {&ombrel_serial_options_t::m_stop_bits, 1, 3},
        {&ombrel_serial_options_t::m_flow, 0, -1},     {&ombrel_serial_options_t::m_flow, 0, 3}};
    char text[8];
    ombrel_serial_options_t bad = options_, read = options_;
    const auto expect_bad = [&] {
        EXPECT_EQ(nullptr, ombrel_open_serial(pair_.m_name, &bad));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
        expect_refused({[&] { return ombrel_serial_set_options(port, &bad); },
                        [&] { return ombrel_format_serial_format(text, sizeof text, &bad); }});
    };
    for (const auto& one : limits) {
        bad.*one.field = one.bad;
        expect_bad();
        bad.*one.field = one.good;
    }
    bad.m_speed = 0;
    expect_bad();
    uint32_t lines;
    char byte = 'x';
    expect_refused({[] { return ombrel_init_serial_options(nullptr); },
                    [] { return ombrel_parse_serial_format("8N1", nullptr, nullptr); },
                    [&] { return ombrel_parse_serial_format("8", &read, nullptr); },
                    [&] { return ombrel_format_serial_format(nullptr, 8, &options_); },
                    [&] { return ombrel_format_serial_format(text, 0, &options_); },
                    [&] { return ombrel_format_serial_format(text, sizeof text, nullptr); },
                    [&] { return ombrel_serial_set_options(nullptr, &options_); },
                    [&] { return ombrel_serial_set_options(port, nullptr); },
                    [&] { return ombrel_serial_get_options(nullptr, &read); },
                    [&] { return ombrel_serial_get_options(port, nullptr); },
                    [&] { return ombrel_serial_read(nullptr, &byte, 1, 0); },
                    [&] { return ombrel_serial_read(port, nullptr, 1, 0); },
                    [&] { return ombrel_serial_write(nullptr, &byte, 1, 0); },
                    [&] { return ombrel_serial_write(port, nullptr, 1, 0); },
                    [] { return ombrel_serial_drain(nullptr, 0); },
                    [] { return ombrel_serial_discard(nullptr, def_ombrel_serial_both); },
                    [&] { return ombrel_serial_discard(port, 0); },
                    [&] { return ombrel_serial_discard(port, 4); },
                    [] { return ombrel_serial_get_waiting(nullptr, def_ombrel_serial_both); },
                    [&] { return ombrel_serial_get_waiting(port, 0); },
                    [&] { return ombrel_serial_get_waiting(port, 4); },
                    [&] { return ombrel_serial_get_lines(nullptr, &lines); },
                    [&] { return ombrel_serial_get_lines(port, nullptr); },
                    [] { return ombrel_serial_set_lines(nullptr, def_ombrel_serial_rts, 0); },
                    [] { return ombrel_serial_send_break(nullptr, 1); },
                    [&] { return ombrel_serial_send_break(port, 0); },
                    [&] { return ombrel_serial_send_break(port, 60001); },
                    [] { return ombrel_serial_get_descriptor(nullptr); },
                    [] { return ombrel_walk_serial_ports(nullptr, nullptr); }});
    EXPECT_EQ(0, ombrel_serial_read(port, nullptr, 0, patience_ms));
    EXPECT_EQ(0, ombrel_serial_write(port, nullptr, 0, patience_ms));
    EXPECT_EQ(0, ombrel_close_serial(port));
    EXPECT_EQ(0, ombrel_close_serial(nullptr));
}

TEST_F(Serial, FormatsAreReadAndWritten) {
    size_t fault_at = 9;
    char text[4];
    for (const char* good : {"8N1", "7E2", "5o1", "6m1", "7S2"}) {
        EXPECT_EQ(0, ombrel_parse_serial_format(good, &options_, &fault_at)) << good;
        EXPECT_EQ(3, ombrel_format_serial_format(text, sizeof text, &options_));
        EXPECT_STRCASEEQ(good, text);
    }
    const struct {
        const char* text;
        size_t at;
    } table[] = {{"", 0}, {"9N1", 0}, {"8", 1}, {"8X1", 1}, {"8N", 2}, {"8N3", 2}, {"8N11", 3}, {nullptr, 0}};
    for (const auto& bad : table) {
        EXPECT_EQ(-1, ombrel_parse_serial_format(bad.text, &options_, &fault_at));
        EXPECT_EQ(bad.at, fault_at);
    }
    EXPECT_EQ(7, options_.m_data_bits);          // that of the last good one
    for (const size_t size : {1u, 2u, 3u, 4u}) { // cut to fit, and terminated
        EXPECT_EQ(static_cast<int>(size) - 1, ombrel_format_serial_format(text, size, &options_));
        EXPECT_EQ(std::string("7S2").substr(0, size - 1), text);
    }
}

TEST_F(Serial, PortsAreListedInOrderUntilTheHandlerSaysStop) {
    struct walk {
        std::vector<std::string> names;
        int stop_after;
    } all{{}, 1000}, one{{}, 1};
    const auto handler = [](const ombrel_serial_port_t* port, void* context) {
        auto* to = static_cast<walk*>(context);
        EXPECT_NE(nullptr, port->m_description);
        to->names.emplace_back(port->m_name);
        return static_cast<int>(to->names.size()) == to->stop_after ? 42 : 0;
    };
    EXPECT_EQ(0, ombrel_walk_serial_ports(handler, &all));
    for (const std::string& name : all.names)
        EXPECT_EQ(0, access(name.c_str(), F_OK) == 0 ? 0 : errno == ENOENT ? 0 : errno) << name;
    EXPECT_EQ(all.names.empty() ? 0 : 42, ombrel_walk_serial_ports(handler, &one));
}
