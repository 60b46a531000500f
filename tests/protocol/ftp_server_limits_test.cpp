#include <ombrel/ftp_server.h>

#include "protocol/ftp_server_dialogue.h"
#include "support/time_travel.h"

using namespace ombrel_test;

namespace {

class FtpServerLimits : public ftp_server_dialogue {};

TEST_F(FtpServerLimits, MeetsHostileDataConnections) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    time_travel travel;
    open();
    top_.write("root/big", std::string(20000000, 'x'));
    const owned_socket s = logged_in();
    const auto port = [&] {
        const std::string told = ask_text(s, "EPSV");
        return std::stoi(told.substr(told.find("|||") + 3));
    };
    const auto passes = [&](long seconds) { // of which the server hears by what else happens
        travel.skip_seconds(seconds);
        return codes_of(answer(s));
    };
    port();
    EXPECT_EQ("150", ask(s, "RETR big")); // never made
    EXPECT_EQ("425", passes(31));
    EXPECT_EQ("200", ask(s, "PORT 127,0,0,1,250,7"));
    EXPECT_EQ("150 425", [&] {
        say(s, "RETR big\r\n");
        return codes_of(answer(s, 2));
    }()); // nobody listens
    int where = port();
    const owned_socket stranger(
        ombrel_open_connect_socket_ex(AF_INET, "127.0.0.2", 0, "127.0.0.1", where, 10000));
    if (stranger != -1) {
        EXPECT_EQ("150", ask(s, "NLST"));
        EXPECT_EQ("", hear_all(stranger)) << "somebody else";
        const owned_socket own = connect(where);
        EXPECT_EQ("big\r\n", hear_all(own));
        EXPECT_EQ("226", codes_of(answer(s)));
    }
    where = port(); // made twice
    const owned_socket first = connect(where);
    turn();
    const owned_socket second(ombrel_open_connect_socket("127.0.0.1", where, 1000));
    EXPECT_EQ("150", ask(s, "NLST"));
    EXPECT_EQ("big\r\n", hear_all(first));
    EXPECT_EQ("226", codes_of(answer(s)));
    for (const char* line : {"RETR big", "STOR part"}) { // it takes and gives nothing
        const owned_socket stalled = data(s);
        EXPECT_EQ("150", ask(s, line));
        say(stalled, "some");
        EXPECT_EQ("426", passes(61)) << line;
    }
    EXPECT_EQ("some", top_.read("root/part")) << "what came stays";
    owned_socket gone = data(s); // breaks off
    EXPECT_EQ("150", ask(s, "RETR big"));
    gone.close();
    EXPECT_EQ("426", codes_of(answer(s)));
    EXPECT_EQ(5u, counts().m_broken);
}

TEST_F(FtpServerLimits, GivesUpAndTellsWhatIsUnderWay) {
    options_.m_data_ms = -1;
    open();
    top_.write("root/big", std::string(20000000, 'x'));
    const owned_socket s = logged_in();
    const struct {
        std::string said;
        const char* codes;
        size_t count;
    } all[] = {
        {"ABOR\r\n", "426 226", 2},
        {"\xff\xf4\xff\xf2"
         "ABOR\r\n",
         "426 226", 2},
        {"STAT\r\nNOOP\r\nPWD\r\nabor\r\nNOOP\r\n", "211 426 200 257 226 200", 6},
    };
    for (const auto& one : all) {
        const owned_socket held = data(s);
        EXPECT_EQ("150", ask(s, "RETR big"));
        say(s, one.said);
        EXPECT_EQ(one.codes, codes_of(answer(s, one.count)));
    }
    say(s, "EPSV\r\nRETR big\r\nABOR\r\nNOOP\r\n"); // and nobody comes for the data
    EXPECT_EQ("229 150 426 226 200", codes_of(answer(s, 5)));
    const owned_socket held = data(s);
    EXPECT_EQ("150", ask(s, "RETR big"));
    const std::string urgent = "\xff\xf4\xff\xf2"
                               "ABOR\r\n";
    EXPECT_EQ(10, ombrel_sys_send(s, urgent.data(), urgent.size(), MSG_OOB)); // the last byte is urgent
    EXPECT_EQ("426", codes_of(answer(s)).substr(0, 3));
}

TEST_F(FtpServerLimits, KeepsItsLimits) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    time_travel travel;
    options_.m_client_limit = 4;
    options_.m_account_limit = 1;
    options_.m_rate = 1000;
    options_.m_login_pause_ms = 60000;
    options_.m_login_ms = 10000000;
    options_.m_idle_ms = 20000000;
    open();
    const owned_socket silent = greeted(), idle = logged_in(), wrong = greeted();
    const owned_socket fourth = greeted(), fifth = connect(port_);
    EXPECT_EQ("421", codes_of(hear_all(fifth)));
    EXPECT_EQ("331", ask(wrong, "USER ann"));
    for (const long pause : {60, 120, 240, 480}) {
        say(wrong, "PASS pw\r\nUSER ann\r\n"); // one session alone
        travel.skip_seconds(pause - 30);
        for (int i = 0; i < 100; i++)
            turn();
        char none[1];
        EXPECT_EQ(def_ombrel_socket_would_block, ombrel_recv_now(wrong, none, 1)) << pause;
        travel.skip_seconds(30);
        EXPECT_EQ("530 331", codes_of(answer(wrong, 2)));
    }
    top_.write("root/file", std::string(700, 'x'));
    owned_socket from = data(idle);
    EXPECT_EQ("150", ask(idle, "RETR file"));
    std::string got;
    for (int second = 0; second < 20 && got.size() < 700; second++) { // 200 at a time, as no more may pile up
        travel.skip_seconds(1);
        got += hear(from, [](const std::string& heard) { return heard.size() >= 200; });
        for (int i = 0; i < 100; i++)
            turn();
    }
    EXPECT_EQ(700u, got.size());
    EXPECT_EQ("226", codes_of(answer(idle)));
    {
        const owned_socket to = data(idle);
        EXPECT_EQ("150", ask(idle, "STOR up"));
        EXPECT_EQ(700, ombrel_send(to, got.data(), got.size(), 10000));
    }
    for (int second = 0; second < 4; second++, travel.skip_seconds(1))
        for (int i = 0; i < 100; i++)
            turn();
    EXPECT_EQ("226", codes_of(answer(idle)));
    EXPECT_EQ(got, top_.read("root/up"));
    travel.skip_seconds(10001);
    EXPECT_EQ("421", codes_of(hear_all(silent)));
    travel.skip_seconds(20001);
    EXPECT_EQ("421", codes_of(hear_all(idle)));
    EXPECT_TRUE(turn_until([&] { return travel.skip_seconds(1), counts().m_clients == 0; }));
}

TEST_F(FtpServerLimits, CarriesOutCommandsInATorrent) {
    open();
    const owned_socket s = logged_in();
    std::string torrent, heard;
    for (int i = 0; i < 10000; i++)
        torrent += i % 2 == 0 ? "NOOP\r\n" : "PWD\r\n";
    char bytes[65536];
    for (size_t at = 0; heard.size() < 5000 * (11 + 27);) {
        const int sent =
            at < torrent.size() ? ombrel_send_now(s, torrent.data() + at, torrent.size() - at) : 0;
        at += static_cast<size_t>(std::max(sent, 0));
        turn();
        const int count = ombrel_recv_now(s, bytes, sizeof bytes);
        heard.append(bytes, static_cast<size_t>(std::max(count, 0)));
        ASSERT_NE(-1, sent);
    }
    EXPECT_EQ(40000u - 1, codes_of(heard).size());
    EXPECT_LT(ombrel_get_alloc_size(), 16u << 20);
}

TEST_F(FtpServerLimits, OutlivesClientsThatGoAtAnyStep) {
    open();
    top_.write("root/big", std::string(5000000, 'x'));
    const char* const steps[] = {"USER ann",  "PASS pw", "EPSV", "connect", "RETR big", "EPSV", "connect",
                                 "STOR part", "EPSV",    "NLST", "EPSV",    "connect",  "QUI"};
    for (size_t last = 0; last <= std::size(steps); last++)
        for (const bool resets : {false, true}) {
            owned_socket s = greeted(), held;
            std::string told;
            for (size_t i = 0; i < last; i++) {
                if (strcmp(steps[i], "connect") == 0)
                    held = connect(std::stoi(told.substr(told.find("|||") + 3)));
                else if (strcmp(steps[i], "QUI") == 0)
                    say(s, steps[i]);
                else
                    told = ask_text(s, steps[i]);
                if (told.substr(0, 3) == "150" && held != -1) {
                    held.close();
                    answer(s);
                }
                if (told.substr(0, 3) == "150" && strcmp(steps[i], "NLST") == 0)
                    ask(s, "ABOR"), turn(), hear(s, [](const std::string&) { return true; });
            }
            ombrel_set_linger_socket(s, resets ? 1 : 0, 0);
            s.close(), held.close();
            EXPECT_TRUE(turn_until_gone()) << last;
        }
    EXPECT_EQ(0u, counts().m_moving);
}

TEST_F(FtpServerLimits, StopsWhenTransfersAreDone) {
    for (const bool waits : {true, false}) {
        open();
        top_.write("root/big", std::string(20000000, 'x'));
        owned_socket idle = logged_in(), busy = logged_in("eve"), from = data(busy), late = connect(0);
        EXPECT_EQ("150", ask(busy, "RETR big"));
        bool has_stopped = false;
        const auto told = [](ombrel_ftp_server_t*, void* context) { *static_cast<bool*>(context) = true; };
        EXPECT_EQ(0, ombrel_ftp_server_stop(server_, waits ? -1 : 0, told, &has_stopped));
        EXPECT_EQ(-1, ombrel_ftp_server_stop(server_, 0, nullptr, nullptr));
        EXPECT_EQ("421", codes_of(hear_all(idle)).substr(0, 3));
        EXPECT_EQ(waits, hear_all(from).size() == 20000000);
        EXPECT_EQ(waits ? "226 421" : "", codes_of(hear_all(busy)));
        idle.close(), busy.close();
        EXPECT_TRUE(turn_until([&] { return has_stopped; }));
        EXPECT_EQ(-1, ombrel_open_connect_socket("127.0.0.1", port_, 1000));
        EXPECT_EQ(0, ombrel_close_ftp_server(std::exchange(server_, nullptr)));
    }
}

TEST_F(FtpServerLimits, LetsHandlersObjectAndAccountsGo) {
    static int objected_to;
    options_.m_handler = [](ombrel_ftp_server_t* server, const ombrel_ftp_server_event_t* event, void*) {
        EXPECT_EQ(-1, ombrel_close_ftp_server(server));
        EXPECT_EQ(-1, ombrel_ftp_server_remove_account(server, "ann"));
        return event->m_kind == objected_to ? 1 : 0;
    };
    open();
    const struct {
        int kind;
        const char* codes;
    } all[] = {{0, "220 331 230 257 550 200 221"},
               {def_ombrel_ftp_server_event_connected, "421"},
               {def_ombrel_ftp_server_event_logged_in, "220 331 530 530 530 530 221"},
               {def_ombrel_ftp_server_event_changed, "220 331 230 257 421"},
               {def_ombrel_ftp_server_event_refused, "220 331 230 550 421"}};
    for (const auto& one : all) {
        objected_to = one.kind;
        remove_all(top_ / "root/d");
        const bool refuses = one.kind == def_ombrel_ftp_server_event_refused;
        EXPECT_EQ(one.codes, talk(std::string("USER ann\nPASS pw\n") + (refuses ? "" : "MKD d\n") +
                                  "CWD none\nTYPE I\nQUIT\n"));
    }
    objected_to = 0;
    top_.write("root/big", std::string(20000000, 'x'));
    const owned_socket idle = logged_in(), busy = logged_in(), from = data(busy), eve = logged_in("eve");
    EXPECT_EQ("150", ask(busy, "RETR big"));
    EXPECT_EQ(-1, ombrel_ftp_server_remove_account(server_, "nobody"));
    EXPECT_EQ(0, ombrel_ftp_server_remove_account(server_, "ann"));
    EXPECT_EQ("421", codes_of(hear_all(idle)));
    EXPECT_EQ("426 421", codes_of(hear_all(busy)));
    EXPECT_EQ("257", ask(eve, "PWD"));
    EXPECT_EQ("220 331 530", talk("USER ann\nPASS pw\n"));
}

TEST_F(FtpServerLimits, ServesOthersWhilePasswordsAreChecked) {
    const ombrel_secret_options_t strong{def_ombrel_secret_strong, nullptr, 100000};
    char secret[def_ombrel_secret_text_size];
    ASSERT_LT(0, ombrel_make_secret(secret, sizeof secret, "sam", "pw", &strong));
    open();
    const owned_socket other = logged_in();
    const struct {
        const char *password, *codes;
        bool goes; // the account, meanwhile
    } cases[] = {{"px", "530 530", false}, {"pw", "230 257", false}, {"pw", "530 530", true}};
    add("sam", secret, 7);
    for (const auto& [password, codes, goes] : cases) {
        const owned_socket s = greeted();
        int served = 0;
        char byte;
        EXPECT_EQ("331", ask(s, "USER sam"));
        say(s, std::string("PASS ") + password + "\r\nPWD\r\n");
        for (; ombrel_recv_now(s, &byte, 1) == def_ombrel_socket_would_block && served < 1000; served++) {
            EXPECT_EQ("200", ask(other, "NOOP"));
            EXPECT_EQ(goes && served == 2 ? 0 : -1,
                      ombrel_ftp_server_remove_account(server_, goes && served == 2 ? "sam" : "nobody"));
        }
        EXPECT_LE(8, served) << codes;
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        EXPECT_EQ(codes, codes_of(byte + hear_all(s))) << password;
    }
    add("sam", secret, 7);
    say(other, "USER sam\r\nPASS pw\r\n"); // under way when the server is closed
}

TEST_F(FtpServerLimits, ReadsAccountsOfAFileOrNone) {
    open();
    const std::string root = top_ / "root", ann = "carl:" + secret_of("carl") + ":" + root;
    const struct {
        std::string text;
        int64_t result;
        size_t line;
        int reason;
    } all[] = {
        {"", 0, 0, 0},
        {"# none\n\n\r\n", 0, 0, 0},
        {ann + ":rwd\r\n#\nftp:" + secret_of("ftp") + ":" + root + ":", 2, 0, 0},
        {ann + ":d", -1, 1, def_ombrel_ftp_account_fault_twice},
        {"\nmax:" + secret_of("max") + ":" + root + ":r\ncarl:y", -1, 3, def_ombrel_ftp_account_fault_fields},
        {"x", -1, 1, def_ombrel_ftp_account_fault_fields},
        {"x:y:z", -1, 1, def_ombrel_ftp_account_fault_fields},
        {"x:y:" + root + ":r", -1, 1, def_ombrel_ftp_account_fault_secret},
        {"x::" + root + ":r", -1, 1, def_ombrel_ftp_account_fault_secret},
        {":" + secret_of("x") + ":" + root + ":r", -1, 1, def_ombrel_ftp_account_fault_name},
        {"a b:" + secret_of("x") + ":" + root + ":r", -1, 1, def_ombrel_ftp_account_fault_name},
        {std::string(65, 'x') + ":" + secret_of("x") + ":" + root + ":r", -1, 1,
         def_ombrel_ftp_account_fault_name},
        {"x:" + secret_of("x") + ":" + root + "/none:r", -1, 1, def_ombrel_ftp_account_fault_directory},
        {"x:" + secret_of("x") + ":" + root + ":rr", -1, 1, def_ombrel_ftp_account_fault_rights},
        {"x:" + secret_of("x") + ":" + root + ":rx", -1, 1, def_ombrel_ftp_account_fault_rights},
        {"x:" + secret_of("x") + ":" + root + ":r" + std::string(1, '\0') + "\n", -1, 1,
         def_ombrel_ftp_account_fault_fields},
        {std::string(1100000, '#'), -1, 0, 0},
    };
    for (const auto& one : all) {
        ombrel_ftp_account_fault_t fault;
        EXPECT_EQ(one.result,
                  ombrel_ftp_server_load_accounts(server_, top_.file("accounts", one.text).c_str(), &fault))
            << one.text.substr(0, 200);
        EXPECT_EQ(one.line, fault.m_line) << one.text.substr(0, 200);
        EXPECT_EQ(one.reason, fault.m_reason)
            << one.text.substr(0, 200) << ombrel_ftp_account_fault_text(&fault);
    }
    EXPECT_EQ(-1, ombrel_ftp_server_remove_account(server_, "max")) << "none of a file that is wrong";
}

TEST(FtpServerOptions, RefusesNonsense) {
    const heap_balance balance;
    ombrel_event_base_t* const base = ombrel_new_event_base();
    using options = ombrel_ftp_server_options_t;
    void (*const wrong[])(options&) = {[](options& o) { o.m_flags = 2; },
                                       [](options& o) { o.m_greeting = "a\nb"; },
                                       [](options& o) { o.m_client_limit = 0; },
                                       [](options& o) { o.m_rate = -1; },
                                       [](options& o) { o.m_idle_ms = 0; },
                                       [](options& o) { o.m_login_ms = 0; },
                                       [](options& o) { o.m_progress_ms = 0; },
                                       [](options& o) { o.m_data_ms = 0; },
                                       [](options& o) { o.m_login_attempts = 0; },
                                       [](options& o) { o.m_login_pause_ms = -1; },
                                       [](options& o) { o.m_line_limit = 63; },
                                       [](options& o) { o.m_last_passive_port = 9; },
                                       [](options& o) { o.m_passive_address = "::1"; }};
    for (const auto spoil : wrong) {
        options given;
        ombrel_init_ftp_server_options(&given);
        spoil(given);
        EXPECT_EQ(nullptr, ombrel_open_ftp_server(base, &given)) << &spoil - wrong;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(nullptr, ombrel_open_ftp_server(nullptr, nullptr));
    EXPECT_EQ(0, ombrel_close_ftp_server(nullptr));
    EXPECT_EQ(-1, ombrel_ftp_server_listen(nullptr, nullptr, 0));
    ombrel_free_event_base(base);
}

} // namespace
