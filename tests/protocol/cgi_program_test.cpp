// The program's side of CGI, with an environment and descriptors of a test.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/cgi.h>
#include <ombrel/fault.h>
#include <ombrel/file.h>

#include "support/heap_balance.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

const char* const environment[] = {
    "REQUEST_METHOD=POST", "PATH_INFO=/rest of it", "QUERY_STRING=a=1&b", "CONTENT_TYPE=text/plain",
    "CONTENT_LENGTH=10",   "HTTP_X_NOTE=kept",      "SERVER_NAME=here",   nullptr};

class CgiProgram : public balanced_test {
protected:
    /// What a program writes that gets a body of ten bytes, as far as `body` goes.
    std::string run(const std::string& body, const std::function<void(ombrel_cgi_t*)>& program) {
        directory_.write("in", body);
        ombrel_cgi_options_t options;
        EXPECT_EQ(0, ombrel_init_cgi_options(&options));
        options.m_environment = environment;
        options.m_input = ombrel_open_file((directory_ / "in").c_str(), def_ombrel_file_read, 0);
        options.m_output =
            ombrel_open_file((directory_ / "out").c_str(),
                             def_ombrel_file_write | def_ombrel_file_create | def_ombrel_file_truncate, 0600);
        ombrel_cgi_t* const cgi = ombrel_open_cgi(&options);
        EXPECT_NE(nullptr, cgi);
        program(cgi);
        EXPECT_EQ(0, ombrel_close_cgi(cgi));
        ombrel_close_file(options.m_input);
        ombrel_close_file(options.m_output);
        return directory_.read("out");
    }

    scratch_directory directory_;
};

int print(ombrel_cgi_t* cgi, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ombrel_cgi_vprintf(cgi, format, arguments);
    va_end(arguments);
    return result;
}

TEST_F(CgiProgram, ReadsItsRequestAndAnswers) {
    const std::string answer = run("0123456789and more", [](ombrel_cgi_t* cgi) {
        EXPECT_STREQ("POST", ombrel_cgi_get_method(cgi));
        EXPECT_STREQ("/rest of it", ombrel_cgi_get_path(cgi));
        EXPECT_STREQ("a=1&b", ombrel_cgi_get_query(cgi));
        EXPECT_STREQ("text/plain", ombrel_cgi_get_content_type(cgi));
        EXPECT_EQ(10, ombrel_cgi_get_content_length(cgi));
        EXPECT_STREQ("here", ombrel_cgi_get_variable(cgi, "SERVER_NAME"));
        EXPECT_STREQ("", ombrel_cgi_get_variable(cgi, "SERVER_PORT"));
        EXPECT_STREQ("kept", ombrel_cgi_get_field(cgi, "x-note"));
        EXPECT_EQ(nullptr, ombrel_cgi_get_field(cgi, "X-Other"));
        EXPECT_EQ(nullptr, ombrel_cgi_read_form(cgi, nullptr)); // a plain text is none
        EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
        char body[64];
        int64_t size = 0;
        for (int64_t count = 0; (count = ombrel_cgi_read(cgi, body + size, 4)) > 0;)
            size += count;
        EXPECT_EQ("0123456789", std::string(body, static_cast<size_t>(size))); // its length ends it
        EXPECT_EQ(0, ombrel_cgi_set_status(cgi, 201));
        EXPECT_EQ(-1, ombrel_cgi_set_status(cgi, 199));
        EXPECT_EQ(-1, ombrel_cgi_add_field(cgi, "X", "a\r\nSet-Cookie: b"));
        EXPECT_EQ(0, ombrel_cgi_add_field(cgi, "Content-Type", "text/plain"));
        EXPECT_EQ(0, print(cgi, "%d ", 5));
        EXPECT_EQ(0, ombrel_cgi_write(cgi, "bytes", 5));
        EXPECT_EQ(0, ombrel_cgi_flush(cgi));
        EXPECT_EQ(-1, ombrel_cgi_set_status(cgi, 200)); // the head is out
    });
    EXPECT_EQ("Status: 201 Created\r\nContent-Type: text/plain\r\n\r\n5 bytes", answer);
}

TEST_F(CgiProgram, SendsElsewhereAndTellsABodyThatIsShort) {
    const std::string answer = run("012", [](ombrel_cgi_t* cgi) {
        char body[64];
        EXPECT_EQ(3, ombrel_cgi_read(cgi, body, sizeof body));
        EXPECT_EQ(-1, ombrel_cgi_read(cgi, body, sizeof body));
        EXPECT_EQ(def_ombrel_fault_closed, ombrel_last_fault());
        EXPECT_EQ(-1, ombrel_cgi_redirect(cgi, "/a\nX: b"));
        EXPECT_EQ(0, ombrel_cgi_redirect(cgi, "/there"));
    });
    EXPECT_EQ(0u, answer.find("Status: 302 Found\r\n")) << answer;
    EXPECT_NE(std::string::npos, answer.find("Location: /there\r\n")) << answer;
}

} // namespace
} // namespace ombrel_test
