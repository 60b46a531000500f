// What makes no sense is refused by each call of each family, and nothing comes of it.
#include <ombrel/cgi.h>
#include <ombrel/download.h>
#include <ombrel/event_base.h>
#include <ombrel/ftp.h>
#include <ombrel/ftp_server.h>
#include <ombrel/http_client.h>
#include <ombrel/http_directory.h>
#include <ombrel/http_field.h>
#include <ombrel/http_parser.h>
#include <ombrel/http_server.h>
#include <ombrel/http_writer.h>
#include <ombrel/nmea.h>
#include <ombrel/secret.h>
#include <ombrel/ssdp.h>
#include <ombrel/tftp.h>
#include <ombrel/tftp_server.h>
#include <ombrel/wake_on_lan.h>

#include "support/heap_balance.h"
#include "support/refused.h"

using namespace ombrel_test;

namespace {

class Arguments : public balanced_test {
protected:
    ~Arguments() override { ombrel_free_event_base(base_); }

    ombrel_event_base_t* base_ = ombrel_new_event_base();
    char buffer_[64] = "kept";
    size_t at_ = 0;
};

TEST_F(Arguments, OfRecordsToBeInitialised) {
    expect_refused({
        [] { return ombrel_init_cgi_options(nullptr); },
        [] { return ombrel_init_cgi_service_options(nullptr); },
        [] { return ombrel_init_download_options(nullptr); },
        [] { return ombrel_init_ftp_options(nullptr); },
        [] { return ombrel_init_ftp_server_options(nullptr); },
        [] { return ombrel_init_http_client_options(nullptr); },
        [] { return ombrel_init_http_client_request(nullptr, "http://localhost/"); },
        [] { return ombrel_init_http_directory_options(nullptr); },
        [] { return ombrel_init_http_parser_options(nullptr); },
        [] { return ombrel_init_http_server_options(nullptr); },
        [] { return ombrel_init_http_set_cookie(nullptr); },
        [] { return ombrel_init_nmea_options(nullptr); },
        [] { return ombrel_init_secret_list_options(nullptr); },
        [] { return ombrel_init_ssdp_options(nullptr); },
        [] { return ombrel_init_tftp_options(nullptr); },
        [] { return ombrel_init_tftp_server_options(nullptr); },
        [] { return ombrel_init_wake_options(nullptr); },
    });
}

TEST_F(Arguments, OfTheTextsOfHttp) {
    ombrel_http_text_t text{};
    ombrel_http_parameter_t parameter;
    ombrel_http_cookie_t cookie;
    ombrel_http_set_cookie_t set_cookie;
    ombrel_http_entity_tag_t tag;
    ombrel_instant_t instant;
    ombrel_http_media_t media;
    ombrel_http_range_t range;
    ombrel_http_authority_t authority;
    ombrel_http_target_t target;
    const ombrel_http_text_t word{"GET", 3};
    const char* const offers[] = {"text/html", nullptr};
    int64_t total;
    expect_refused({
        [&] { return ombrel_next_http_element(nullptr, 1, &at_, &text); },
        [&] { return ombrel_next_http_element("a", 1, nullptr, &text); },
        [&] { return ombrel_next_http_element("a", 1, &at_, nullptr); },
        [&] { return ombrel_next_http_parameter(nullptr, 1, ';', &at_, &parameter); },
        [&] { return ombrel_next_http_parameter("a=b", 3, ';', nullptr, &parameter); },
        [&] { return ombrel_next_http_parameter("a=b", 3, ';', &at_, nullptr); },
        [&] { return ombrel_get_http_parameter("a=b", 3, nullptr, buffer_, sizeof buffer_); },
        [&] { return ombrel_get_http_parameter("a=b", 3, "a", nullptr, sizeof buffer_); },
        [&] { return ombrel_unquote_http_text(nullptr, 1, buffer_, sizeof buffer_); },
        [&] { return ombrel_unquote_http_text("a", 1, nullptr, sizeof buffer_); },
        [&] { return ombrel_parse_http_media(nullptr, 1, &media); },
        [&] { return ombrel_parse_http_media("a/b", 3, nullptr); },
        [&] { return ombrel_get_http_quality(-1, "a/b", 3, "a/b"); },
        [&] { return ombrel_get_http_quality(def_ombrel_http_accept_media, nullptr, 1, "a/b"); },
        [&] { return ombrel_get_http_quality(def_ombrel_http_accept_media, "a/b", 3, nullptr); },
        [&] { return ombrel_choose_http_offer(def_ombrel_http_accept_media, "a/b", 3, nullptr, 1); },
        [&] { return ombrel_choose_http_offer(def_ombrel_http_accept_media, "*/*", 3, offers, 2); },
        [&] { return ombrel_parse_http_ranges(nullptr, 1, 9, &range, 1); },
        [&] { return ombrel_parse_http_ranges("bytes=1-", 8, 9, nullptr, 1); },
        [&] { return ombrel_parse_http_ranges("bytes=1-", 8, -1, &range, 1); },
        [&] { return ombrel_parse_http_ranges("bytes=1-", 8, 9, &range, 0); },
        [&] { return ombrel_parse_http_content_range(nullptr, 1, &range, &total); },
        [&] { return ombrel_parse_http_content_range("bytes 0-1/2", 11, nullptr, &total); },
        [&] { return ombrel_parse_http_content_range("bytes 0-1/2", 11, &range, nullptr); },
        [&] { return ombrel_next_http_entity_tag(nullptr, 1, &at_, &tag); },
        [&] { return ombrel_next_http_entity_tag("\"a\"", 3, nullptr, &tag); },
        [&] { return ombrel_next_http_entity_tag("\"a\"", 3, &at_, nullptr); },
        [&] { return ombrel_read_http_date(nullptr, 1, &instant); },
        [&] { return ombrel_read_http_date("Sun, 06 Nov 1994 08:49:37 GMT", 29, nullptr); },
        [&] { return ombrel_check_http_conditions(nullptr, 1, nullptr, nullptr); },
        [&] { return ombrel_check_http_range_condition(nullptr, nullptr, nullptr); },
        [&] { return ombrel_next_http_cookie(nullptr, 1, &at_, &cookie); },
        [&] { return ombrel_next_http_cookie("a=b", 3, nullptr, &cookie); },
        [&] { return ombrel_next_http_cookie("a=b", 3, &at_, nullptr); },
        [&] { return ombrel_parse_http_set_cookie(nullptr, 1, &set_cookie); },
        [&] { return ombrel_parse_http_set_cookie("a=b", 3, nullptr); },
        [&] { return ombrel_parse_http_authority(nullptr, 1, &authority); },
        [&] { return ombrel_parse_http_authority("a:1", 3, nullptr); },
        [&] { return ombrel_split_http_target({}, word, &target); },
        [&] { return ombrel_split_http_target(word, {}, &target); },
        [&] { return ombrel_split_http_target(word, word, nullptr); },
        [&] { return ombrel_decode_http_text(nullptr, 1, 0, buffer_, sizeof buffer_); },
        [&] { return ombrel_decode_http_text("a", 1, 0, nullptr, sizeof buffer_); },
        [&] { return ombrel_clean_http_path(nullptr, 1, buffer_, sizeof buffer_); },
        [&] { return ombrel_clean_http_path("/a", 2, nullptr, sizeof buffer_); },
        [&] { return ombrel_http_fields_clear(nullptr); },
        [&] { return ombrel_http_fields_get_at(nullptr, 0, &text, &text); },
    });
    EXPECT_STREQ("kept", buffer_);
    EXPECT_EQ(0u, at_);
    ombrel_http_fields_t* const fields = ombrel_open_http_fields(100);
    expect_refused({[&] { return ombrel_http_fields_get_at(fields, -1, &text, &text); }});
    ombrel_close_http_fields(fields);
}

TEST_F(Arguments, OfParserAndWriter) {
    ombrel_http_event_t event;
    ombrel_http_writer_t writer;
    ombrel_http_parser_t* const parser = ombrel_open_http_parser(def_ombrel_http_requests, nullptr);
    expect_refused({
        [&] { return ombrel_http_parser_reset(nullptr); },
        [&] { return ombrel_http_parser_end(nullptr, &event); },
        [&] { return ombrel_http_parser_end(parser, nullptr); },
        [&] { return ombrel_http_parser_set_body_limit(nullptr, 1); },
        [&] { return ombrel_http_parser_get_state(nullptr); },
        [&] { return ombrel_init_http_writer(nullptr, buffer_, sizeof buffer_); },
        [&] { return ombrel_init_http_writer(&writer, nullptr, sizeof buffer_); },
    });
    ombrel_close_http_parser(parser);
    // What is refused at its place is no part of the message, of which nothing comes any more.
    char message[256];
    const ombrel_instant_t far_away{INT64_MAX, 0};
    const auto expect_spoilt = [&](auto call) {
        ombrel_http_writer_t begun;
        ASSERT_EQ(0, ombrel_init_http_writer(&begun, message, sizeof message));
        ASSERT_EQ(0, ombrel_http_writer_request(&begun, "PUT", "/"));
        expect_refused(
            {[&] { return call(&begun); }, [&] { return ombrel_http_writer_field(&begun, "A", "b"); }});
        EXPECT_EQ(-1, ombrel_http_writer_get_size(&begun));
    };
    expect_spoilt([](auto* w) { return ombrel_http_writer_request(w, "GET", "/"); });
    expect_spoilt([](auto* w) { return ombrel_http_writer_sized_field(w, nullptr, 0, "b", 1); });
    expect_spoilt([](auto* w) { return ombrel_http_writer_sized_field(w, "A", 1, nullptr, 1); });
    expect_spoilt([&](auto* w) { return ombrel_http_writer_date_field(w, nullptr, &far_away); });
    expect_spoilt([&](auto* w) { return ombrel_http_writer_date_field(w, "Date", &far_away); });
    expect_spoilt([](auto* w) { return ombrel_http_writer_chunk_line(w, 1); });
    expect_spoilt([](auto* w) { return ombrel_http_writer_last_chunk(w); });
    expect_spoilt([](auto* w) { return ombrel_http_writer_end_trailers(w); });
    ombrel_http_set_cookie_t cookie;
    ombrel_init_http_set_cookie(&cookie);
    cookie.m_name = cookie.m_value = {"a", 1};
    cookie.m_expires = INT64_MAX;
    expect_refused({[&] { return ombrel_format_http_set_cookie(&cookie, message, sizeof message); }});
}

int answer_none(ombrel_http_exchange_t*, void*) {
    return -1;
}

TEST_F(Arguments, OfServerAndClientOfHttp) {
    ombrel_http_server_counts_t counts;
    ombrel_http_client_counts_t client_counts;
    ombrel_http_server_t* const server = ombrel_open_http_server(base_, nullptr);
    ombrel_http_client_t* const client = ombrel_open_http_client(base_, nullptr);
    ombrel_http_client_request_t request;
    ombrel_init_http_client_request(&request, "http://localhost/");
    size_t size = 9;
    const char *name = nullptr, *value = nullptr;
    ombrel_http_exchange_t* const none = nullptr;
    expect_refused({
        [&] { return ombrel_open_http_server(nullptr, nullptr); },
        [&] { return ombrel_http_server_get_counts(nullptr, &counts); },
        [&] { return ombrel_http_server_get_counts(server, nullptr); },
        [&] { return ombrel_http_exchange_answer_printf(none, 200, "a/b", "%d", 1); },
        [&] { return ombrel_http_exchange_begin_answer(none, 200, "a/b", 1, answer_none, nullptr, nullptr); },
        [&] { return ombrel_http_exchange_end_answer(none); },
        [&] { return ombrel_http_exchange_read_body(none, nullptr, nullptr); },
        [&] { return ombrel_http_exchange_hold_body(none, 1); },
        [&] { return ombrel_http_exchange_take_socket(none, buffer_, sizeof buffer_, &size); },
        [&] { return ombrel_http_exchange_get_parameter(none, "a", buffer_, sizeof buffer_); },
        [&] { return ombrel_http_exchange_get_field(none, "Host"); },
        [&] { return ombrel_http_exchange_get_field_at(none, 0, &name, &value); },
        [&] { return ombrel_http_exchange_get_body(none, &size); },
        [&] { return ombrel_http_exchange_set_user(none, "name"); },
        [&] { return ombrel_open_http_client(nullptr, nullptr); },
        [&] { return ombrel_http_client_call(nullptr, &request); },
        [&] { return ombrel_http_client_call(client, nullptr); },
        [&] { return ombrel_http_client_call(client, &request); }, // nobody is told of its end
        [&] { return ombrel_http_client_get_counts(nullptr, &client_counts); },
        [&] { return ombrel_http_client_get_counts(client, nullptr); },
        [&] { return ombrel_http_client_drop_idle(nullptr); },
    });
    EXPECT_EQ(nullptr, ombrel_http_exchange_get_path(none));
    EXPECT_EQ(nullptr, ombrel_http_call_get_field(nullptr, "Host"));
    EXPECT_EQ(nullptr, ombrel_http_call_take_body(nullptr, &size));
    EXPECT_EQ(0u, size);
    ombrel_transfer_error_t error{};
    EXPECT_EQ(nullptr, ombrel_fetch_http_ex(nullptr, nullptr, 1000, &error));
    EXPECT_EQ(def_ombrel_fault_invalid, error.m_fault);
    ombrel_close_http_client(client);
    ombrel_close_http_server(server);
}

TEST_F(Arguments, OfFtp) {
    ombrel_ftp_options_t options;
    ombrel_init_ftp_options(&options);
    options.m_flags = 1u << 31;
    ombrel_ftp_t* const ftp = ombrel_open_ftp(nullptr);
    const ombrel_instant_t far_away{INT64_MAX, 0};
    size_t count;
    const uint32_t both = def_ombrel_ftp_resume | def_ombrel_ftp_text;
    expect_refused({
        [&] { return ombrel_open_ftp(&options); },
        [&] { return ombrel_ftp_get_directory(ftp, nullptr, 1); },
        [&] { return ombrel_ftp_get_directory(ftp, buffer_, 0); },
        [&] { return ombrel_ftp_get_time(ftp, "a", nullptr); },
        [&] { return ombrel_ftp_set_time(ftp, "a", nullptr); },
        [&] { return ombrel_ftp_set_time(ftp, "a", &far_away); },
        [&] { return ombrel_ftp_begin_list(ftp, "a", -1); },
        [&] { return ombrel_ftp_get_entry(ftp, "a", nullptr); },
        [&] { return ombrel_alloc_ftp_list(ftp, "a", -1, &count); },
        [&] { return ombrel_alloc_ftp_list(ftp, "a", def_ombrel_ftp_list_names + 1, &count); },
        [&] { return ombrel_ftp_begin_store_unique(ftp, "a\r\nb", 0); },
        [&] { return ombrel_ftp_download(ftp, "a", nullptr, 0); },
        [&] { return ombrel_ftp_download(ftp, "a", "b", both); },
        [&] { return ombrel_ftp_upload(ftp, nullptr, "a", 0); },
        [&] { return ombrel_ftp_upload(ftp, "a", "b", 1u << 31); },
    });
    EXPECT_STREQ("a path or flags that make no sense", ombrel_ftp_get_error(ftp)->m_text);
    ombrel_close_ftp(ftp);
    ombrel_ftp_server_t* const server = ombrel_open_ftp_server(base_, nullptr);
    ombrel_ftp_account_t account{};
    ombrel_ftp_server_counts_t counts;
    expect_refused({
        [&] { return ombrel_ftp_server_add_account(nullptr, &account); },
        [&] { return ombrel_ftp_server_add_account(server, nullptr); },
        [&] { return ombrel_ftp_server_remove_account(nullptr, "name"); },
        [&] { return ombrel_ftp_server_remove_account(server, nullptr); },
        [&] { return ombrel_ftp_server_load_accounts(nullptr, "none", nullptr); },
        [&] { return ombrel_ftp_server_load_accounts(server, nullptr, nullptr); },
        [&] { return ombrel_alloc_ftp_server_url(nullptr, 0); },
        [&] { return ombrel_ftp_server_get_counts(nullptr, &counts); },
        [&] { return ombrel_ftp_server_get_counts(server, nullptr); },
    });
    ombrel_close_ftp_server(server);
}

TEST_F(Arguments, OfTftp) {
    ombrel_tftp_options_t options;
    ombrel_init_tftp_options(&options);
    options.m_block_size = 7;
    ombrel_tftp_t* const tftp = ombrel_open_tftp(nullptr);
    ombrel_tftp_server_options_t served;
    ombrel_init_tftp_server_options(&served);
    served.m_directory = ".";
    ombrel_tftp_server_counts_t counts;
    expect_refused({
        [&] { return ombrel_open_tftp(&options); },
        [&] { return ombrel_tftp_wait(nullptr, 0); },
        [&] { return ombrel_tftp_wait(tftp, 0); }, // nothing is under way
        [&] { return ombrel_tftp_finish(nullptr); },
        [&] { return ombrel_tftp_retrieve(tftp, "127.0.0.1", 69, "a", nullptr, nullptr); },
        [&] { return ombrel_tftp_store(tftp, "127.0.0.1", 69, "a", 1, nullptr, nullptr); },
        [&] { return ombrel_open_tftp_server(nullptr, &served); },
        [&] { return ombrel_open_tftp_server(base_, nullptr); },
        [&] { return ombrel_tftp_server_stop(nullptr, 0, nullptr, nullptr); },
        [&] { return ombrel_tftp_server_get_counts(nullptr, &counts); },
    });
    ombrel_close_tftp(tftp);
}

TEST_F(Arguments, OfSsdp) {
    ombrel_ssdp_options_t options;
    ombrel_init_ssdp_options(&options);
    options.m_interface = "none such";
    ombrel_ssdp_entry_t entry;
    expect_refused({
        [&] { return ombrel_open_ssdp(nullptr, nullptr); },
        [&] { return ombrel_ssdp_announce(nullptr, "a", "b", "http://a/", 1800); },
        [&] { return ombrel_ssdp_withdraw(nullptr, 1); },
        [&] { return ombrel_ssdp_update(nullptr, 1, nullptr); },
        [&] { return ombrel_ssdp_search(nullptr, "ssdp:all", 1); },
        [&] { return ombrel_ssdp_get_entry(nullptr, 0, &entry); },
        [&] { return ombrel_ssdp_find_entry(nullptr, "a", &entry); },
        [&] { return ombrel_ssdp_forget_entries(nullptr); },
        [&] { return ombrel_ssdp_stop(nullptr, 0, nullptr, nullptr); },
    });
    expect_refused({[&] { return ombrel_open_ssdp(base_, &options); }}, def_ombrel_fault_not_found);
}

TEST_F(Arguments, OfCgi) {
    char byte;
    expect_refused({
        [] { return ombrel_cgi_get_variable(nullptr, "PATH"); },
        [] { return ombrel_cgi_get_field(nullptr, "Host"); },
        [] { return ombrel_cgi_get_method(nullptr); },
        [] { return ombrel_cgi_get_path(nullptr); },
        [] { return ombrel_cgi_get_query(nullptr); },
        [] { return ombrel_cgi_get_content_type(nullptr); },
        [&] { return ombrel_cgi_read(nullptr, &byte, 1); },
        [] { return ombrel_cgi_read_form(nullptr, nullptr); },
        [] { return ombrel_cgi_redirect(nullptr, "/"); },
        [] { return ombrel_cgi_write(nullptr, "a", 1); },
        [] { return ombrel_cgi_printf(nullptr, "a"); },
        [] { return ombrel_cgi_flush(nullptr); },
    });
}

TEST_F(Arguments, OfNmeaSecretsAndWakeUps) {
    ombrel_nmea_options_t options;
    ombrel_init_nmea_options(&options);
    options.m_length_limit = 15;
    const auto none = [](const ombrel_nmea_sentence_t*, void*) { return 0; };
    ombrel_nmea_sentence_t sentence{};
    ombrel_nmea_counts_t counts;
    const char* text;
    size_t size, fault_at = 9;
    uint8_t mac[6] = {7};
    ombrel_wake_password_t password;
    ombrel_secret_list_options_t listed;
    ombrel_init_secret_list_options(&listed);
    listed.m_line_limit = 0;
    ombrel_nmea_reader_t* const reader = ombrel_open_nmea_reader(nullptr, none, nullptr);
    ASSERT_NE(nullptr, reader);
    expect_refused({
        [&] { return ombrel_open_nmea_reader(nullptr, nullptr, nullptr); },
        [&] { return ombrel_open_nmea_reader(&options, none, nullptr); },
        [&] { return ombrel_nmea_reader_push(nullptr, "$", 1); },
        [&] { return ombrel_nmea_reader_get_counts(nullptr, &counts); },
        [&] { return ombrel_nmea_reader_get_counts(reader, nullptr); },
        [&] { return ombrel_parse_nmea_sentence(nullptr, 1, nullptr, &sentence); },
        [&] { return ombrel_parse_nmea_sentence("$", 1, nullptr, nullptr); },
        [&] { return ombrel_parse_nmea_sentence("$", 1, &options, &sentence); },
        [&] { return ombrel_nmea_sentence_get_field(nullptr, 0, &text, &size); },
        [&] { return ombrel_nmea_sentence_get_field(&sentence, 0, &text, &size); }, // nothing was read
        [&] { return ombrel_nmea_sentence_get_field(&sentence, 0, nullptr, &size); },
        [&] { return ombrel_nmea_sentence_get_field(&sentence, 0, &text, nullptr); },
        [&] { return ombrel_parse_mac_address(nullptr, mac, &fault_at); },
        [&] { return ombrel_parse_mac_address("00:11:22:33:44:55", nullptr, &fault_at); },
        [&] { return ombrel_format_mac_address(buffer_, sizeof buffer_, nullptr); },
        [&] { return ombrel_parse_wake_password(nullptr, &password, &fault_at); },
        [&] { return ombrel_parse_wake_password("00:11:22:33:44:55", nullptr, &fault_at); },
        [&] { return ombrel_open_secret_text("", 0, &listed, nullptr); },
    });
    EXPECT_EQ(0u, fault_at);
    EXPECT_EQ(7, mac[0]);
    ombrel_close_nmea_reader(reader);
}

} // namespace
