#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/socket_open.h>
#include <ombrel/ssdp.h>

#include <functional>
#include <memory>

#include "network/loopback.h"
#include "protocol/ssdp/ssdp_message.h"
#include "support/descriptor_balance.h"
#include "support/emulator.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/refused.h"
#include "support/texts.h"

namespace ombrel_test {
namespace {

using namespace ombrel::protocol;
using namespace std::string_literals;

constexpr char device[] = "urn:schemas-upnp-org:device:Basic:2", place[] = "http://127.0.0.1/d.xml";

/// Lines with their ends, and the empty one behind them.
std::string message_of(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines)
        all += line + "\r\n";
    return all + "\r\n";
}

class SsdpMessage : public balanced_test {
protected:
    SsdpMessage() { EXPECT_TRUE(reader_.open()); }
    bool read(const std::string& packet) {
        return reader_.read({reinterpret_cast<const uint8_t*>(packet.data()), packet.size()}, message_);
    }
    ssdp_reader reader_;
    ssdp_message message_;
};

const std::string group_line = "HOST: 239.255.255.250:1900", age_line = "CACHE-CONTROL: max-age=1800",
                  location_line = "LOCATION: http://h/d", usn_line = "USN: uuid:1::t", type_line = "NT: t",
                  st_line = "ST: t", alive_line = "NTS: ssdp:alive", man_line = "MAN: \"ssdp:discover\"",
                  notify = "NOTIFY * HTTP/1.1", search = "M-SEARCH * HTTP/1.1", ok = "HTTP/1.1 200 OK";

TEST_F(SsdpMessage, IsReadWhenItHasAllThatItsKindNeeds) {
    const struct {
        ssdp_kind kind;
        std::vector<std::string> lines;
    } cases[] = {
        {ssdp_kind::alive, texts(notify, group_line, age_line, location_line, type_line, alive_line, usn_line,
                                 "SERVER: a/1 UPnP/2.0 b/2", "BOOTID.UPNP.ORG: 7", "CONFIGID.UPNP.ORG: 8")},
        {ssdp_kind::byebye, texts(notify, group_line, type_line, "NTS: ssdp:byebye", usn_line)},
        {ssdp_kind::updated, texts(notify, group_line, location_line, type_line, "NTS: ssdp:update", usn_line,
                                   "BOOTID.UPNP.ORG: 7", "NEXTBOOTID.UPNP.ORG: 8")},
        {ssdp_kind::search, texts(search, group_line, man_line, st_line, "MX: 3")},
        {ssdp_kind::answer, texts(ok, age_line, "EXT:", location_line, st_line, usn_line)}};
    for (const auto& [kind, lines] : cases) {
        SCOPED_TRACE(static_cast<int>(kind));
        ASSERT_TRUE(read(message_of(lines)));
        EXPECT_EQ(kind, message_.kind);
        EXPECT_STREQ("t", message_.type);
        EXPECT_TRUE(read(message_of(lines) + "a body"));
        // Without its end, any line but those that may be missing, or with one of them twice it is none.
        const std::string all = message_of(lines);
        for (size_t size = 0; size < all.size(); size++)
            EXPECT_FALSE(read(all.substr(0, size))) << size;
        for (size_t i = 0; i < lines.size(); i++) {
            const std::string name = lines[i].substr(0, lines[i].find(':'));
            const bool may_miss = name == "SERVER" || name == "CONFIGID.UPNP.ORG" || name == "EXT" ||
                                  name == "MX" || (name == "BOOTID.UPNP.ORG" && kind == ssdp_kind::alive);
            std::vector<std::string> fewer = lines, more = lines;
            fewer.erase(fewer.begin() + static_cast<ptrdiff_t>(i));
            more.insert(more.begin() + static_cast<ptrdiff_t>(i), lines[i]);
            EXPECT_EQ(may_miss, read(message_of(fewer))) << lines[i];
            EXPECT_EQ(name == "EXT", read(message_of(more))) << lines[i];
        }
        // What is written of it reads the same.
        ASSERT_TRUE(read(message_of(lines)));
        const ssdp_message before = message_;
        char room[most_ssdp_packet];
        const size_t size = write_ssdp_message(room, before, "[ff02::c]:1900");
        ASSERT_GT(size, 0u);
        ASSERT_TRUE(read({room, size}));
        EXPECT_EQ(0, memcmp(&before, &message_, sizeof before));
        for (size_t less = 0; less < size; less++)
            EXPECT_EQ(0u, write_ssdp_message({room, less}, before, "[ff02::c]:1900"));
    }
}

TEST_F(SsdpMessage, IsRefusedWithValuesThatMakeNoSense) {
    const auto alive_with = [](const std::string& name, const std::string& value) {
        std::vector<std::string> lines =
            texts(notify, group_line, age_line, location_line, type_line, alive_line, usn_line);
        const std::string line = name + ": " + value;
        const auto same = [&](const std::string& one) { return one.starts_with(name + ":"); };
        const auto found = std::find_if(lines.begin(), lines.end(), same);
        found != lines.end() ? * found = line : (lines.push_back(line), lines.back());
        return message_of(lines);
    };
    const std::pair<std::string, std::vector<std::string>> bad[] = {
        {"NT", texts("", "a b", std::string(256, 't'), "\xc3\xa4")},
        {"USN", texts("", "a b", std::string(384, 'u'))},
        {"LOCATION",
         texts("", "h", "ftp://h/", "javascript:x", "http://h/a b", "http://" + std::string(505, 'l'))},
        {"CACHE-CONTROL",
         texts("", "max-age", "max-age=", "max-age=-1", "max-age=0", "max-age=1x", "no-cache")},
        {"NTS", texts("", "ssdp:other", "SSDP:ALIVE")}};
    for (const auto& [name, values] : bad)
        for (const std::string& value : values)
            EXPECT_FALSE(read(alive_with(name, value))) << name << value;
    // What may be missing counts as that.
    for (const auto& value : texts("", "-1", "+1", "2147483648", "x")) {
        EXPECT_TRUE(read(alive_with("BOOTID.UPNP.ORG", value)) && message_.boot_id == -1) << value;
        for (const auto& [boot, next] :
             {std::pair(std::string("7"), value), std::pair(value, std::string("7"))})
            EXPECT_FALSE(read(
                message_of(texts(notify, group_line, location_line, type_line, "NTS: ssdp:update", usn_line,
                                 "BOOTID.UPNP.ORG: " + boot, "NEXTBOOTID.UPNP.ORG: " + next))));
    }
    for (const std::string& value : {std::string(256, 's'), "\xff"s})
        EXPECT_TRUE(read(alive_with("SERVER", value)) && *message_.server == '\0') << value;
    const std::pair<const char*, int> ages[] = {
        {"max-age=1", 1}, {"no-cache, MAX-AGE = 60", 60}, {"max-age=99999999999999999999", 999999999}};
    for (const auto& [text, seconds] : ages) {
        EXPECT_TRUE(read(alive_with("CACHE-CONTROL", text))) << text;
        EXPECT_EQ(seconds, message_.max_age_s);
    }
    const std::string rest = message_of(texts(group_line, man_line, st_line));
    for (const auto& start :
         texts("", "M-SEARCH * HTTP/1.0", "M-SEARCH / HTTP/1.1", "m-search * HTTP/1.1", "GET * HTTP/1.1",
               "M-SEARCH  * HTTP/1.1", "HTTP/1.1 404 Not Found", "OPTIONS * HTTP/1.1"))
        EXPECT_FALSE(read(start + "\r\n" + rest)) << start;
    for (const auto& line :
         texts("MX: x", "MX: -1", "MX: 121", "MAN: ssdp:discover", " folded", "NAME : x", "bare\rreturn: x"))
        EXPECT_FALSE(read(
            message_of(texts(search, group_line, st_line, line.starts_with("MAN") ? line : man_line, line))))
            << line;
}

TEST(Ssdp, FindsEarlierVersionsOfTypes) {
    const struct {
        const char *target, *type;
        bool is_match;
    } cases[] = {{"ssdp:all", "x", true},
                 {"x", "x", true},
                 {"x", "y", false},
                 {"urn:a:1", "urn:a:2", true},
                 {"urn:a:2", "urn:a:1", false},
                 {"urn:a:2", "urn:a:10", true},
                 {"urn:a:1", "urn:b:2", false},
                 {"urn:a:1", "urn:a:x", false},
                 {"urn:a:", "urn:a:1", false},
                 {"uuid:1", "uuid:2", false},
                 {"urn:a:1", "urn:a:b:2", false}};
    for (const auto& each : cases)
        EXPECT_EQ(each.is_match, is_ssdp_match(each.target, each.type)) << each.target << " " << each.type;
}

/// Services on the loop-back address, at a port that nobody else listens at.
class SsdpService : public balanced_test {
protected:
    SsdpService() {
        if (refuses_multicast_interface())
            return;
        base_ = ombrel_new_event_base();
        ombrel_init_ssdp_options(&options_);
        options_.m_flags = def_ombrel_ssdp_ipv4;
        options_.m_address = "127.0.0.1";
        options_.m_port = own_port(bound(AF_INET, SOCK_DGRAM));
        options_.m_server = "os/1 UPnP/2.0 test/1";
        options_.m_boot_id = 7;
        options_.m_context = this;
        options_.m_handler = [](auto*, int event, const ombrel_ssdp_entry_t* entry, void* context) {
            const char* const words[] = {"", "added ", "changed ", "gone "};
            static_cast<SsdpService*>(context)->log_ +=
                words[event] + std::string(entry->m_usn) + " " + entry->m_location + "\n";
            return 0;
        };
    }
    ~SsdpService() override {
        if (base_ != nullptr) {
            EXPECT_EQ(0, ombrel_free_event_base(base_));
        }
    }
    void SetUp() override {
        if (base_ == nullptr)
            GTEST_SKIP() << "this emulator lets no interface be chosen for multicast";
    }

    struct closer {
        void operator()(ombrel_ssdp_t* ssdp) const { EXPECT_EQ(0, ombrel_close_ssdp(ssdp)); }
    };
    using owned_ssdp = std::unique_ptr<ombrel_ssdp_t, closer>;
    owned_ssdp open() {
        owned_ssdp made(ombrel_open_ssdp(base_, &options_));
        EXPECT_NE(nullptr, made) << ombrel_fault_text();
        return made;
    }
    void run_until(const std::function<bool()>& is_done) {
        const uint64_t end = ombrel_time_stamp_msec() + patience_ms;
        while (!is_done()) {
            ASSERT_LT(ombrel_time_stamp_msec(), end);
            ombrel_event_base_exit_loop(base_, 2);
            ombrel_event_base_dispatch(base_);
        }
    }
    /// Runs until the lines have been told, and nothing else.
    void expect_log(const std::string& lines) {
        run_until([&] { return log_.size() >= lines.size(); });
        EXPECT_EQ(lines, std::exchange(log_, ""));
    }
    static ombrel_ssdp_counts_t counts_of(const owned_ssdp& ssdp) {
        ombrel_ssdp_counts_t counts;
        EXPECT_EQ(0, ombrel_ssdp_get_counts(ssdp.get(), &counts));
        return counts;
    }

    /// A socket that plays a stranger.
    void give(int s, const std::string& packet) {
        socket_address to(AF_INET, "239.255.255.250", options_.m_port);
        const socket_address own(AF_INET, "127.0.0.1", 0);
        const auto& four = reinterpret_cast<const sockaddr_in&>(own.storage);
        ombrel_setsockopt(s, IPPROTO_IP, IP_MULTICAST_IF, &four.sin_addr, sizeof four.sin_addr);
        ombrel_sendto(s, packet.data(), packet.size(), to.get(), to.size, 0);
    }
    static std::string take(int s) {
        char packet[5000];
        const int size = ombrel_recv(s, packet, sizeof packet, 0);
        return {packet, size > 0 ? static_cast<size_t>(size) : 0};
    }
    static std::string alive(const std::string& usn, int max_age_s,
                             const std::string& location = "http://h/d") {
        return message_of(texts(notify, group_line, "CACHE-CONTROL: max-age=" + std::to_string(max_age_s),
                                "LOCATION: " + location, type_line, alive_line, "USN: " + usn));
    }

    descriptor_balance descriptors_;
    ombrel_event_base_t* base_ = nullptr;
    ombrel_ssdp_options_t options_;
    std::string log_;
};

TEST_F(SsdpService, TellsOfWhatOthersAnnounce) {
    const uint64_t begun = ombrel_time_stamp_msec();
    const owned_ssdp listener = open();
    options_.m_handler = nullptr;
    const owned_ssdp announcer = open();
    const int64_t number = ombrel_ssdp_announce(announcer.get(), device, "uuid:1::d", place, 1800);
    EXPECT_GT(number, 0);
    expect_log("added uuid:1::d "s + place + "\n");
    ombrel_ssdp_entry_t entry;
    EXPECT_EQ(1, ombrel_ssdp_get_entry(listener.get(), 0, &entry));
    EXPECT_EQ(device + " os/1 UPnP/2.0 test/1 127.0.0.1 7 1 1800"s,
              entry.m_type + " "s + entry.m_server + " " + entry.m_address + " " +
                  std::to_string(entry.m_boot_id) + " " + std::to_string(entry.m_config_id) + " " +
                  std::to_string(entry.m_max_age_s));
    const auto passed = static_cast<int64_t>(ombrel_time_stamp_msec() - begun);
    EXPECT_LE(entry.m_left_ms, 1'800'000);
    EXPECT_GE(entry.m_left_ms + passed, 1'800'000);
    EXPECT_EQ(0, ombrel_ssdp_get_entry(listener.get(), 1, &entry));
    EXPECT_EQ(0, ombrel_ssdp_find_entry(listener.get(), "uuid:2", &entry));
    EXPECT_EQ(-1, ombrel_ssdp_update(announcer.get(), 7, nullptr));
    EXPECT_EQ(0, ombrel_ssdp_update(announcer.get(), 8, "https://h/new"));
    expect_log("changed uuid:1::d https://h/new\n");
    EXPECT_EQ(1, ombrel_ssdp_find_entry(listener.get(), "uuid:1::d", &entry));
    EXPECT_EQ(8, entry.m_boot_id);
    EXPECT_EQ(0, ombrel_ssdp_withdraw(announcer.get(), number));
    EXPECT_EQ(-1, ombrel_ssdp_withdraw(announcer.get(), number));
    expect_log("gone uuid:1::d https://h/new\n");
    // A root device is three; they are withdrawn by a stop.
    EXPECT_EQ(0, ombrel_ssdp_announce_device(announcer.get(), "3", device, place, 1800));
    EXPECT_EQ(-1, ombrel_ssdp_announce_device(announcer.get(), "3", device, place, 1800));
    run_until([&] { return counts_of(listener).m_entries == 3; });
    EXPECT_EQ(1, ombrel_ssdp_find_entry(listener.get(), "uuid:3::upnp:rootdevice", &entry));
    EXPECT_EQ(1, ombrel_ssdp_find_entry(listener.get(), "uuid:3", &entry));
    bool stopped = false;
    const auto note = [](auto*, void* context) { *static_cast<bool*>(context) = true; };
    EXPECT_EQ(0, ombrel_ssdp_stop(announcer.get(), -1, note, &stopped));
    EXPECT_EQ(-1, ombrel_ssdp_stop(announcer.get(), -1, note, &stopped));
    EXPECT_EQ(-1, ombrel_ssdp_announce(announcer.get(), device, "uuid:4", place, 1800));
    run_until([&] { return stopped && counts_of(listener).m_entries == 0; });
}

TEST_F(SsdpService, ForgetsInTimeAndWithinLimits) {
    options_.m_entry_limit = 3;
    options_.m_max_age_limit_s = 2;
    const owned_ssdp listener = open();
    const owned_socket one = bound(AF_INET, SOCK_DGRAM);
    give(one, alive("uuid:1", 1000000));
    expect_log("added uuid:1 http://h/d\n");
    for (const char* bad : {"", "x", "NOTIFY * HTTP/1.1\r\n\r\n"})
        give(one, bad);
    // Nobody was asked.
    give(one, message_of(texts(ok, age_line, location_line, st_line, "USN: uuid:9")));
    give(one, alive("uuid:1", 2, "http://h/e"));
    give(one, alive("uuid:1", 2, "http://h/e"));
    give(one, message_of(texts(notify, group_line, type_line, "NTS: ssdp:byebye", "USN: uuid:2")));
    expect_log("changed uuid:1 http://h/e\n");
    expect_log("gone uuid:1 http://h/e\n");
    for (const auto& usn : texts("uuid:1", "uuid:2", "uuid:3", "uuid:4"))
        give(one, alive(usn, 1));
    run_until([&] { return counts_of(listener).m_dropped == 1; });
    EXPECT_EQ(3u, counts_of(listener).m_entries);
    EXPECT_EQ(3u, counts_of(listener).m_bad);
    EXPECT_EQ(0, ombrel_ssdp_forget_entries(listener.get()));
    log_.clear();
    give(one, alive("uuid:5", 1));
    expect_log("added uuid:5 http://h/d\n");
}

TEST_F(SsdpService, LetsNobodySpeakForOthers) {
    const owned_socket one = bound(AF_INET, SOCK_DGRAM), other(ombrel_open_udp_socket("127.0.0.2", 0));
    if (other == -1)
        GTEST_SKIP() << "the host has one loop-back address";
    const owned_ssdp listener = open();
    ombrel_ssdp_entry_t entry{};
    give(other, alive("uuid:0", 100));
    expect_log("added uuid:0 http://h/d\n");
    ombrel_ssdp_find_entry(listener.get(), "uuid:0", &entry);
    if (entry.m_address != "127.0.0.2"s)
        GTEST_SKIP() << "the host sends to groups from an address of its own choice";
    const auto started = [](int boot_id, const std::string& location) {
        return message_of(texts(notify, group_line, "CACHE-CONTROL: max-age=100", "LOCATION: " + location,
                                type_line, alive_line, "USN: uuid:1",
                                "BOOTID.UPNP.ORG: " + std::to_string(boot_id)));
    };
    const std::string gone =
        message_of(texts(notify, group_line, type_line, "NTS: ssdp:byebye", "USN: uuid:1"));
    const std::tuple<int, std::string, std::string> steps[] = {
        {one, alive("uuid:1", 100), "added uuid:1 http://h/d\n"},
        {other, gone, ""},
        {other, alive("uuid:1", 100, "http://h/e"), "changed uuid:1 http://h/e\n"}, // nobody tells starts
        {one, gone, ""},
        {other, started(5, "http://h/f"), "changed uuid:1 http://h/f\n"},
        {one, started(5, "http://h/g"), ""},
        {one, alive("uuid:1", 100, "http://h/g"), ""},
        {one, started(6, "http://h/h"), "changed uuid:1 http://h/h\n"}, // it has started anew there
        {other, started(5, "http://h/i"), ""},
        {one, gone, "gone uuid:1 http://h/h\n"},
    };
    for (const auto& [from, packet, expected] : steps) {
        give(from, packet);
        give(one, alive("uuid:2", 100));
        give(one, message_of(texts(notify, group_line, type_line, "NTS: ssdp:byebye", "USN: uuid:2")));
        expect_log(expected + "added uuid:2 http://h/d\ngone uuid:2 http://h/d\n");
    }
}

TEST_F(SsdpService, KeepsWithinItsOwnLimits) {
    options_.m_announcement_limit = 40;
    const owned_ssdp listener = open();
    options_.m_handler = nullptr;
    const owned_ssdp announcer = open();
    for (int i = 0; i < 40; i++)
        EXPECT_GT(
            ombrel_ssdp_announce(announcer.get(), device, ("uuid:" + std::to_string(i)).c_str(), place, 1800),
            0);
    const std::string longest(def_ombrel_ssdp_usn_size, 'u');
    expect_refused(
        {[&] { return ombrel_ssdp_announce(announcer.get(), device, "uuid:x", place, 1800); },
         [&] { return ombrel_ssdp_announce_device(announcer.get(), longest.c_str(), device, place, 1800); }},
        def_ombrel_fault_too_large);
    run_until([&] { return counts_of(listener).m_entries == 40; });
    for (int i = 0; i < 16; i++)
        EXPECT_EQ(0, ombrel_ssdp_search(listener.get(), ("uuid:" + std::to_string(i)).c_str(), 1));
    EXPECT_EQ(0, ombrel_ssdp_search(listener.get(), "uuid:3", 2)) << "one that goes on";
    expect_refused({[&] { return ombrel_ssdp_search(listener.get(), "uuid:20", 1); }},
                   def_ombrel_fault_too_large);
}

TEST_F(SsdpService, IsNotClosedByItsHandler) {
    options_.m_handler = [](ombrel_ssdp_t* ssdp, int, const ombrel_ssdp_entry_t*, void* context) {
        expect_refused({[=] { return ombrel_close_ssdp(ssdp); }}, def_ombrel_fault_busy);
        *static_cast<bool*>(context) = true;
        return 0;
    };
    bool was_called = false;
    options_.m_context = &was_called;
    const owned_ssdp listener = open();
    give(bound(AF_INET, SOCK_DGRAM), alive("uuid:1", 100));
    run_until([&] { return was_called; });
}

TEST_F(SsdpService, AnswersSearchesWithinLimits) {
    options_.m_address_answer_limit = 4;
    options_.m_entry_limit = 0;
    const owned_ssdp announcer = open();
    EXPECT_EQ(0, ombrel_ssdp_announce_device(announcer.get(), "1", device, place, 1800));
    const owned_socket s = bound(AF_INET, SOCK_DGRAM);
    const auto ask = [&](const std::string& target, const std::string& wait = "MX: 0") {
        give(s, message_of(texts(search, group_line, man_line, "ST: " + target, wait)));
    };
    std::string answer;
    const auto has_answer = [&] { return !(answer = take(s)).empty(); };
    // An earlier version than announced is answered as it was asked for; a later one, or one without a time,
    // is not answered.
    ask("urn:schemas-upnp-org:device:Basic:3");
    ask("urn:schemas-upnp-org:device:Basic:1", "X: 1");
    ask("uuid:2");
    ask("urn:schemas-upnp-org:device:Basic:1");
    run_until(has_answer);
    const size_t date = answer.find("DATE: "), ext = answer.find("EXT:");
    ASSERT_LT(date, ext);
    EXPECT_EQ(
        "HTTP/1.1 200 OK\r\nEXT: \r\nCACHE-CONTROL: max-age=1800\r\nLOCATION: "s + place +
            "\r\nSERVER: os/1 UPnP/2.0 test/1\r\nST: urn:schemas-upnp-org:device:Basic:1\r\nUSN: uuid:1::" +
            device + "\r\nBOOTID.UPNP.ORG: 7\r\nCONFIGID.UPNP.ORG: 1\r\n\r\n",
        answer.erase(date, ext - date));
    ask("ssdp:all");
    ask("ssdp:all"); // the same searcher's second packet
    for (int i = 0; i < 3; i++)
        run_until(has_answer);
    EXPECT_EQ(4u, counts_of(announcer).m_answers);
    // Beyond the second's share answers wait, and are given up.
    for (int i = 0; i < 60; i++)
        ask(i % 2 == 0 ? "upnp:rootdevice" : "ssdp:all", "MX: 0");
    run_until([&] { return counts_of(announcer).m_answers > 4; });
    EXPECT_LE(counts_of(announcer).m_answers, 8u) << "a second's share more";
}

TEST_F(SsdpService, Searches) {
    options_.m_flags |= def_ombrel_ssdp_no_listen;
    options_.m_wanted = "urn:schemas-upnp-org:device:Basic:1";
    const owned_ssdp searcher = open();
    options_.m_flags = def_ombrel_ssdp_ipv4;
    options_.m_handler = nullptr;
    const owned_ssdp announcer = open();
    EXPECT_EQ(0, ombrel_ssdp_announce_device(announcer.get(), "1", device, place, 1800));
    EXPECT_EQ(0, ombrel_ssdp_search(searcher.get(), "ssdp:all", 1));
    expect_log("added uuid:1::"s + device + " " + place + "\n");
    EXPECT_GE(counts_of(announcer).m_searches, 1u);
    for (const char* bad : {"", "a b", "\n"})
        EXPECT_EQ(-1, ombrel_ssdp_search(searcher.get(), bad, 1));
    EXPECT_EQ(-1, ombrel_ssdp_search(searcher.get(), "ssdp:all", 6));
    EXPECT_EQ(-1, ombrel_ssdp_announce(announcer.get(), "t", "u", "file:///etc", 1800));
    EXPECT_EQ(-1, ombrel_ssdp_announce(announcer.get(), "t", "u\r\nX: y", place, 1800));
    EXPECT_EQ(-1, ombrel_ssdp_announce(announcer.get(), "t", "u", place, 0));
}

TEST_F(SsdpService, WorksOnIpv6) {
    options_.m_flags = def_ombrel_ssdp_ipv6;
    options_.m_address = nullptr;
    options_.m_ipv6_groups = "ff01::c ff02::c"; // the first does not leave the host
    const owned_ssdp both(has_ipv6() ? ombrel_open_ssdp(base_, &options_) : nullptr);
    if (both == nullptr)
        GTEST_SKIP() << "no multicast of IPv6";
    EXPECT_GT(ombrel_ssdp_announce(both.get(), device, "uuid:6::d", place, 1), 0);
    const uint64_t end = ombrel_time_stamp_msec() + 2000;
    run_until(
        [&] { return !log_.empty() || (counts_of(both).m_sent == 0 && ombrel_time_stamp_msec() > end); });
    if (log_.empty())
        GTEST_SKIP() << "no way for multicast of IPv6";
    EXPECT_EQ("added uuid:6::d "s + place + "\n", log_);
}

TEST_F(SsdpService, IsNotOpenedWhereItCannotWork) {
    const struct {
        const char *interface_name, *address, *group;
        int fault;
    } cases[] = {{"none there", nullptr, nullptr, def_ombrel_fault_not_found},
                 {nullptr, "192.0.2.1", nullptr, def_ombrel_fault_address_not_available},
                 {nullptr, "nowhere", nullptr, def_ombrel_fault_not_supported},
                 {nullptr, "127.0.0.1", "127.0.0.1", def_ombrel_fault_invalid},
                 {nullptr, "127.0.0.1", "", def_ombrel_fault_invalid}};
    for (const auto& [interface_name, address, group, fault] : cases) {
        // An emulation lets a datagram socket have any address.
        if (fault == def_ombrel_fault_address_not_available &&
            owned_socket(ombrel_open_udp_socket(address, 0)) != -1)
            continue;
        options_.m_interface = interface_name;
        options_.m_address = address;
        options_.m_ipv4_group = group;
        EXPECT_EQ(nullptr, ombrel_open_ssdp(base_, &options_));
        EXPECT_EQ(fault, ombrel_last_fault());
    }
}

} // namespace
} // namespace ombrel_test
