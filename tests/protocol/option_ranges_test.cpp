// What each field of the families' options may hold, at both ends.
#include <cstring>
#include <string>

#include <ombrel/event_base.h>
#include <ombrel/ftp_server.h>
#include <ombrel/http_auth.h>
#include <ombrel/http_client.h>
#include <ombrel/http_directory.h>
#include <ombrel/http_field.h>
#include <ombrel/http_parser.h>
#include <ombrel/http_server.h>
#include <ombrel/nmea.h>
#include <ombrel/secret.h>
#include <ombrel/ssdp.h>
#include <ombrel/tftp.h>
#include <ombrel/tftp_server.h>
#include <ombrel/wake_on_lan.h>

#include "support/heap_balance.h"
#include "support/option_ranges.h"

using namespace ombrel_test;

namespace {

class OptionRanges : public balanced_test {
protected:
    ~OptionRanges() override { ombrel_free_event_base(base_); }

    ombrel_event_base_t* const base_ = ombrel_new_event_base();
};

constexpr uint32_t unknown_flag = 1u << 31;

TEST_F(OptionRanges, OfHttp) {
    using server_t = ombrel_http_server_options_t;
    auto server = ranges_of<server_t>(ombrel_init_http_server_options, [this](const server_t& options) {
        ombrel_http_server_t* const opened = ombrel_open_http_server(base_, &options);
        return opened != nullptr && ombrel_close_http_server(opened) == 0;
    });
    const std::string longest(128, 'n'), longer(129, 'n');
    server.set(&server_t::m_name, longest.c_str(), true);
    server.set(&server_t::m_name, longer.c_str(), false);
    server.set(&server_t::m_name, "a\nb", false);
    server.within(&server_t::m_head_limit, 128, 1 << 20);
    server.within(&server_t::m_field_limit, 1, 1000);
    server.at_least(&server_t::m_output_limit, 4096);
    server.at_least(&server_t::m_client_limit, 1);

    using client_t = ombrel_http_client_options_t;
    auto client = ranges_of<client_t>(ombrel_init_http_client_options, [this](const client_t& options) {
        ombrel_http_client_t* const opened = ombrel_open_http_client(base_, &options);
        return opened != nullptr && ombrel_close_http_client(opened) == 0;
    });
    client.set(&client_t::m_agent, "", true);
    client.set(&client_t::m_agent, "a\x01", false);
    for (size_t client_t::*const limit : {&client_t::m_connection_limit, &client_t::m_host_limit,
                                          &client_t::m_head_limit, &client_t::m_field_limit})
        client.at_least(limit, 1);
    client.at_least(&client_t::m_redirect_limit, 0);

    using parser_t = ombrel_http_parser_options_t;
    auto parser = ranges_of<parser_t>(ombrel_init_http_parser_options, [](const parser_t& options) {
        ombrel_http_parser_t* const opened = ombrel_open_http_parser(def_ombrel_http_requests, &options);
        return opened != nullptr && ombrel_close_http_parser(opened) == 0;
    });
    parser.set(&parser_t::m_flags, unknown_flag, false);
    for (size_t parser_t::*const limit :
         {&parser_t::m_start_line_limit, &parser_t::m_field_line_limit, &parser_t::m_field_count_limit,
          &parser_t::m_head_limit, &parser_t::m_chunk_line_limit, &parser_t::m_trailer_limit})
        parser.at_least(limit, 1);

    using directory_t = ombrel_http_directory_options_t;
    auto directory =
        ranges_of<directory_t>(ombrel_init_http_directory_options, [](const directory_t& options) {
            ombrel_http_directory_t* const opened = ombrel_open_http_directory(".", &options);
            return opened != nullptr && ombrel_close_http_directory(opened) == 0;
        });
    const std::string charset(40, 'c'), long_charset(41, 'c');
    directory.set(&directory_t::m_flags, unknown_flag, false);
    directory.within(&directory_t::m_range_limit, 0, 64);
    directory.within(&directory_t::m_entry_limit, 0, 100'000);
    directory.set(&directory_t::m_charset, charset.c_str(), true);
    directory.set(&directory_t::m_charset, long_charset.c_str(), false);
    directory.set(&directory_t::m_charset, "", false);
    directory.set(&directory_t::m_index_name, "..", false);
}

TEST_F(OptionRanges, OfLogIns) {
    using server_t = ombrel_http_auth_server_options_t;
    ombrel_secret_list_t* const secrets = ombrel_open_secret_text("", 0, nullptr, nullptr);
    auto server = ranges_of<server_t>(ombrel_init_http_auth_server_options, [=](server_t options) {
        options.m_secrets = secrets;
        ombrel_http_auth_server_t* const opened = ombrel_open_http_auth_server(&options);
        return opened != nullptr && ombrel_close_http_auth_server(opened) == 0;
    });
    const std::string realm(128, 'r'), long_realm(129, 'r');
    server.set(&server_t::m_realm, realm.c_str(), true);
    server.set(&server_t::m_realm, long_realm.c_str(), false);
    server.set(&server_t::m_schemes, 0, false);
    server.set(&server_t::m_schemes, unknown_flag | def_ombrel_http_auth_md5, false);
    server.at_least(&server_t::m_lifetime_ms, 1);
    server.within(&server_t::m_nonce_limit, 1, 1'000'000);
    EXPECT_EQ(0, ombrel_close_secret_list(secrets));

    using client_t = ombrel_http_auth_client_options_t;
    std::string name = "ann", password = "pw";
    auto client = ranges_of<client_t>(ombrel_init_http_auth_client_options, [&](const client_t& options) {
        ombrel_http_auth_client_t* const opened =
            ombrel_open_http_auth_client(name.c_str(), password.c_str(), &options);
        return opened != nullptr && ombrel_close_http_auth_client(opened) == 0;
    });
    client.set(&client_t::m_schemes, def_ombrel_http_auth_any, true);
    client.set(&client_t::m_schemes, 0, false);
    client.set(&client_t::m_schemes, unknown_flag | def_ombrel_http_auth_md5, false);
    const auto with = [&](const std::string& other_name, const std::string& other_password, bool is_good) {
        name = other_name, password = other_password;
        client.change([](client_t&) {}, is_good);
    };
    with(std::string(def_ombrel_secret_name_max, 'n'), "", true);
    with(std::string(def_ombrel_secret_name_max + 1, 'n'), "pw", false);
    with("a\tb", "pw", false);
    with("ann", std::string(def_ombrel_secret_password_max, 'p'), true);
    with("ann", std::string(def_ombrel_secret_password_max + 1, 'p'), false);
    with("ann", "p\tw", true);
    with("ann", "p\nw", false);
    name = "a:b", password = "pw";
    client.set(&client_t::m_basic_at_once, 1, false);
    name = "ann";
    client.change([](client_t& o) { o.m_basic_at_once = 1, o.m_schemes = def_ombrel_http_auth_md5; }, false);
    client.change([](client_t& o) { o.m_basic_at_once = 1, o.m_schemes = def_ombrel_http_auth_any; }, true);

    using list_t = ombrel_secret_list_options_t;
    auto list = ranges_of<list_t>(ombrel_init_secret_list_options, [](const list_t& options) {
        ombrel_secret_list_t* const opened = ombrel_open_secret_text("", 0, &options, nullptr);
        return opened != nullptr && ombrel_close_secret_list(opened) == 0;
    });
    list.set(&list_t::m_flags, def_ombrel_secret_list_more, true);
    list.set(&list_t::m_flags, unknown_flag, false);
    list.within(&list_t::m_size_limit, 1, UINT32_MAX - 1);
    list.at_least(&list_t::m_line_limit, 1);
    list.at_least(&list_t::m_secret_limit, 1);
}

TEST_F(OptionRanges, OfFtp) {
    using server_t = ombrel_ftp_server_options_t;
    auto server = ranges_of<server_t>(ombrel_init_ftp_server_options, [this](const server_t& options) {
        ombrel_ftp_server_t* const opened = ombrel_open_ftp_server(base_, &options);
        return opened != nullptr && ombrel_close_ftp_server(opened) == 0;
    });
    server.set(&server_t::m_flags, unknown_flag, false);
    for (const char* const greeting : {"a\rb", "a\nb", static_cast<const char*>(nullptr)})
        server.set(&server_t::m_greeting, greeting, false);
    server.at_least(&server_t::m_client_limit, 1);
    server.within(&server_t::m_rate, 0, INT64_MAX / 1'000'000);
    for (int server_t::*const limit :
         {&server_t::m_idle_ms, &server_t::m_login_ms, &server_t::m_progress_ms, &server_t::m_data_ms}) {
        server.set(limit, 0, false);
        server.set(limit, -1, true);
        server.set(limit, 1, true);
    }
    server.within(&server_t::m_login_attempts, 1, 100);
    server.within(&server_t::m_login_pause_ms, 0, 60'000);
    server.within(&server_t::m_line_limit, 64, 65'536);
    for (const auto& [first, last, is_good] : {std::tuple{0, 0, true},
                                               {1, 65535, true},
                                               {5, 5, true},
                                               {5, 4, false},
                                               {0, 5, false},
                                               {5, 65536, false},
                                               {-1, 5, false}})
        server.change(
            [f = first, l = last](server_t& o) { o.m_first_passive_port = f, o.m_last_passive_port = l; },
            is_good);
    server.set(&server_t::m_passive_address, "192.0.2.1", true);
    server.set(&server_t::m_passive_address, "::1", false);
    server.set(&server_t::m_passive_address, "localhost", false);
}

TEST_F(OptionRanges, OfTftp) {
    using client_t = ombrel_tftp_options_t;
    auto client = ranges_of<client_t>(ombrel_init_tftp_options, [](const client_t& options) {
        ombrel_tftp_t* const opened = ombrel_open_tftp(&options);
        return opened != nullptr && ombrel_close_tftp(opened) == 0;
    });
    client.within(&client_t::m_block_size, 8, 65464);
    client.within(&client_t::m_window_size, 1, def_ombrel_tftp_window_size_max);
    client.set(&client_t::m_mode, def_ombrel_tftp_netascii, true);
    client.within(&client_t::m_mode, 0, 1);
    client.at_least(&client_t::m_retry_ms, 1);
    client.at_least(&client_t::m_tries, 1);

    using server_t = ombrel_tftp_server_options_t;
    auto server = ranges_of<server_t>(ombrel_init_tftp_server_options, [this](server_t options) {
        options.m_directory = ".";
        ombrel_tftp_server_t* const opened = ombrel_open_tftp_server(base_, &options);
        return opened != nullptr && ombrel_close_tftp_server(opened) == 0;
    });
    server.set(&server_t::m_flags, unknown_flag, false);
    server.at_least(&server_t::m_transfer_limit, 1);
    server.at_least(&server_t::m_address_limit, 1);
    server.within(&server_t::m_block_size_limit, 512, 65464);
    server.within(&server_t::m_window_size_limit, 1, def_ombrel_tftp_window_size_max);
    server.at_least(&server_t::m_retry_ms, 1);
    server.at_least(&server_t::m_tries, 1);
}

TEST_F(OptionRanges, OfDatagrams) {
    using ssdp_t = ombrel_ssdp_options_t;
    auto ssdp = ranges_of<ssdp_t>(ombrel_init_ssdp_options, [this](ssdp_t options) {
        // Where no socket can be opened, what is asked is good all the same.
        options.m_interface = "none such";
        return ombrel_open_ssdp(base_, &options) == nullptr &&
               ombrel_last_fault() == def_ombrel_fault_not_found;
    });
    ssdp.set(&ssdp_t::m_flags, 0, false);
    ssdp.set(&ssdp_t::m_flags, unknown_flag | def_ombrel_ssdp_ipv4, false);
    ssdp.within(&ssdp_t::m_port, 1, 65535);
    ssdp.within(&ssdp_t::m_hops, 0, 255);
    ssdp.within(&ssdp_t::m_answer_hops, 1, 255);
    ssdp.within(&ssdp_t::m_boot_id, 0, 0x7fffffff);
    ssdp.within(&ssdp_t::m_config_id, 0, 0xffffff);
    ssdp.within(&ssdp_t::m_announcement_limit, 1, 1024);
    ssdp.at_least(&ssdp_t::m_answer_limit, 1);
    ssdp.at_least(&ssdp_t::m_address_answer_limit, 1);
    ssdp.at_least(&ssdp_t::m_address_entry_limit, 1);
    ssdp.at_least(&ssdp_t::m_max_age_limit_s, 1);

    using wake_t = ombrel_wake_options_t;
    auto wake = ranges_of<wake_t>(ombrel_init_wake_options, [](const wake_t& options) {
        constexpr uint8_t mac[6] = {1, 2, 3, 4, 5, 6};
        wake_t nowhere = options;
        nowhere.m_interface = "none such";
        return ombrel_send_wake_packet(mac, &nowhere) == -1 &&
               ombrel_last_fault() == def_ombrel_fault_not_found;
    });
    wake.set(&wake_t::m_flags, unknown_flag, false);
    wake.within(&wake_t::m_port, 1, 65535);

    using nmea_t = ombrel_nmea_options_t;
    auto nmea = ranges_of<nmea_t>(ombrel_init_nmea_options, [](const nmea_t& options) {
        const auto handler = [](const ombrel_nmea_sentence_t*, void*) { return 0; };
        ombrel_nmea_reader_t* const opened = ombrel_open_nmea_reader(&options, handler, nullptr);
        return opened != nullptr && ombrel_close_nmea_reader(opened) == 0;
    });
    nmea.set(&nmea_t::m_flags, unknown_flag, false);
    nmea.within(&nmea_t::m_length_limit, 16, def_ombrel_nmea_length_highest);
}

TEST_F(OptionRanges, OfCookies) {
    using cookie_t = ombrel_http_set_cookie_t;
    auto cookie = ranges_of<cookie_t>(ombrel_init_http_set_cookie, [](cookie_t options) {
        char text[200];
        options.m_name = {"a", 1};
        return ombrel_format_http_set_cookie(&options, text, sizeof text) > 0;
    });
    for (const auto& [value, is_good] : {std::pair{"", true},
                                         {"a=b", true},
                                         {"a b", false},
                                         {"a;b", false},
                                         {"a\"b", false},
                                         {"a\\b", false}})
        cookie.set(&cookie_t::m_value, {value, strlen(value)}, is_good);
    for (const auto& [path, is_good] :
         {std::pair{"", true}, {"/a b", true}, {"a", false}, {"/a;b", false}, {"/\x01", false}})
        cookie.set(&cookie_t::m_path, {path, strlen(path)}, is_good);
    for (const auto& [domain, is_good] :
         {std::pair{"a.example", true}, {"a b", false}, {"a;b", false}, {"a/", false}})
        cookie.set(&cookie_t::m_domain, {domain, strlen(domain)}, is_good);
    cookie.set(&cookie_t::m_same_site, def_ombrel_http_same_site_unset - 1, false);
    cookie.set(&cookie_t::m_same_site, def_ombrel_http_same_site_none, false); // by a safe way alone
    cookie.change([](cookie_t& o) { o.m_is_secure = 1, o.m_same_site = def_ombrel_http_same_site_none; },
                  true);
    cookie.change([](cookie_t& o) { o.m_is_secure = 1, o.m_same_site = def_ombrel_http_same_site_none + 1; },
                  false);
}

} // namespace
