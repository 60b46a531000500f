// Secrets, log-in, forms and programs of web servers.
#include <string>

#include <ombrel/cgi.h>
#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/http_auth.h>
#include <ombrel/http_form.h>
#include <ombrel/secret.h>

#include "alloc_failure/injection.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// Of the password "password".
const std::string anns = "ann:$pbkdf2-sha256$1$c2FsdA$Eg.2z/z4syxD5yJSVsT4N6hlSMkszDVICAWYfLcL4Xs\n";

OMBREL_FAILURES(Http, secrets) {
    const scratch_directory folder;
    const std::string path = folder.file("passwords", anns);
    null_when_hit(fail, ombrel_close_secret_list,
                  [] { return ombrel_open_secret_text(anns.data(), anns.size(), nullptr, nullptr); });
    ombrel_secret_list_options_t options;
    ombrel_init_secret_list_options(&options);
    options.m_look_ms = 0;
    ombrel_secret_list_t* const list =
        fail.during([&] { return ombrel_open_secret_list(path.c_str(), &options, nullptr); });
    EXPECT_EQ(fail.hit(), list == nullptr);
    EXPECT_TRUE(list != nullptr || ombrel_last_fault() == def_ombrel_fault_no_memory);
    folder.write("passwords", anns + "bob" + anns.substr(3));
    const int refreshed = fail.during([&] { return ombrel_secret_list_refresh(list); });
    EXPECT_EQ(list == nullptr || fail.hit() ? -1 : 1, refreshed);
    EXPECT_EQ(list == nullptr ? 0u : refreshed == 1 ? 2u : 1u, ombrel_secret_list_get_count(list));
    EXPECT_EQ(list == nullptr ? -1 : 1, ombrel_secret_list_check(list, "ann", "password"));
    ombrel_close_secret_list(list);
}

OMBREL_FAILURES(Http, log_in) {
    const std::string secrets = "ann:$digest$ombrel$d8fb0b1d6d6b2b0a6b1a4d3c0f4d9a11$"
                                "749a2b22fbce771b29a8d949722191065f8f2cfd0e1953fdaf85b51af35ba98c";
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    options.m_secrets = ombrel_open_secret_text(secrets.data(), secrets.size(), nullptr, nullptr);
    ombrel_http_auth_server_t* const server =
        fail.during([&] { return ombrel_open_http_auth_server(&options); });
    EXPECT_EQ(fail.hit(), server == nullptr);
    ombrel_http_auth_client_t* const client =
        fail.during([] { return ombrel_open_http_auth_client("ann", "pw", nullptr); });
    EXPECT_EQ(fail.hit(), client == nullptr);
    if (server != nullptr && client != nullptr) {
        char text[def_ombrel_http_auth_value_size];
        const char* const value = text;
        EXPECT_LT(0, ombrel_http_auth_server_challenge(server, 0, nullptr, text, sizeof text));
        if (done_or_refused(
                fail, [&] { return ombrel_http_auth_client_take(client, &value, 1); }, 1) == 1) {
            EXPECT_LT(0, ombrel_http_auth_client_answer(client, "GET", "/", text, sizeof text));
            ombrel_http_auth_result_t result;
            const int passed =
                fail.during([&] { return ombrel_http_auth_server_check(server, text, "GET", "/", &result); });
            EXPECT_EQ(fail.hit() ? 0 : 1, passed);
            EXPECT_EQ(fail.hit() ? def_ombrel_http_auth_stale : def_ombrel_http_auth_granted,
                      result.m_outcome);
        }
    }
    ombrel_close_http_auth_client(client);
    ombrel_close_http_auth_server(server);
    ombrel_close_secret_list(options.m_secrets);
}

/// The parts of a body that were kept, when there was memory for them.
void read_form(injection& fail, const char* type, const std::string& body, size_t parts) {
    ombrel_http_form_t* const form = fail.during([=] { return ombrel_open_http_form(type, nullptr); });
    EXPECT_EQ(fail.hit(), form == nullptr);
    if (form != nullptr &&
        done_or_refused(fail, [&] { return ombrel_http_form_push(form, body.data(), body.size()); }) == 0 &&
        done_or_refused(fail, [=] { return ombrel_http_form_finish(form); }) == 0) {
        EXPECT_EQ(parts, ombrel_http_form_get_count(form));
    } else if (form != nullptr) {
        EXPECT_EQ(def_ombrel_http_form_fault_memory, ombrel_http_form_get_fault(form));
    }
    ombrel_close_http_form(form);
}

OMBREL_FAILURES(Http, forms) {
    std::string plain;
    for (int i = 0; i < 20; i++)
        plain += "&a=" + std::string(100, 'x');
    read_form(fail, def_ombrel_http_form_urlencoded, plain, 20);
    read_form(fail, "multipart/form-data; boundary=b",
              "--b\r\nContent-Disposition: form-data; name=a\r\n\r\nx\r\n--b--", 1);
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_http_form_writer_t writer;
    EXPECT_EQ(0, ombrel_init_http_form_writer(&writer, buffer, def_ombrel_http_form_multipart));
    for (int i = 0; i < 3; i++) {
        const size_t before = ombrel_get_buffer_size(buffer);
        const bool is_done =
            refused_when_hit(fail, [&] { return ombrel_http_form_writer_put_field(&writer, "a", "x", 1); });
        EXPECT_EQ(is_done, ombrel_get_buffer_size(buffer) > before);
    }
    ombrel_close_buffer(buffer);
}

OMBREL_FAILURES(Http, programs_of_servers) {
    const char* const environment[] = {"REQUEST_METHOD=GET", "QUERY_STRING=a=1", nullptr};
    const scratch_directory folder;
    ombrel_cgi_options_t options;
    ombrel_init_cgi_options(&options);
    options.m_environment = environment;
    options.m_output =
        ombrel_open_file((folder / "answer").c_str(), def_ombrel_file_write | def_ombrel_file_create, 0600);
    ombrel_cgi_t* const cgi = fail.during([&] { return ombrel_open_cgi(&options); });
    EXPECT_EQ(fail.hit(), cgi == nullptr);
    if (cgi != nullptr) {
        const bool has_field = refused_when_hit(fail, [=] { return ombrel_cgi_add_field(cgi, "X-A", "b"); });
        null_when_hit(fail, ombrel_close_http_form, [=] {
            ombrel_http_form_t* const form = ombrel_cgi_read_form(cgi, nullptr);
            const bool is_whole = ombrel_http_form_find(form, "a", 0) != nullptr;
            if (!is_whole)
                ombrel_close_http_form(form);
            return is_whole ? form : nullptr;
        });
        const bool is_written = done_or_refused(fail, [=] { return ombrel_cgi_printf(cgi, "%d", 7); }) == 0;
        EXPECT_EQ(0, ombrel_close_cgi(cgi));
        const std::string answer = folder.read("answer");
        EXPECT_EQ(has_field, answer.find("X-A: b") != std::string::npos);
        EXPECT_EQ(is_written ? "\r\n7" : "\r\n", answer.substr(answer.rfind("\n") - 1));
    }
    ombrel_close_file(options.m_output);
    ombrel_event_base_t* const base = ombrel_new_event_base();
    null_when_hit(fail, ombrel_close_cgi_service,
                  [&] { return ombrel_open_cgi_service(base, folder.path().c_str(), nullptr); });
    ombrel_free_event_base(base);
}

} // namespace
} // namespace ombrel_test
