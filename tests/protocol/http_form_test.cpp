#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/http_form.h>

namespace {

const char multipart[] = "multipart/form-data; boundary=\"b:1\"";

/// One text for all of a part: "name|file name|type|data", with "-" for what is not there.
std::string shown(const ombrel_http_form_part_t& part, const std::string& data) {
    const auto text = [](const char* given) { return std::string(given != nullptr ? given : "-"); };
    return text(part.m_name) + "|" + text(part.m_file_name) + "|" + text(part.m_content_type) + "|" + data;
}

struct reading {
    int result;
    int fault;
    int64_t offset;
    std::string parts;
};

int collect(ombrel_http_form_t*, int event, const ombrel_http_form_part_t* part, const void* data,
            size_t size, void* context) {
    static std::string bytes;
    auto& found = *static_cast<std::string*>(context);
    EXPECT_EQ(event == def_ombrel_http_form_data, size > 0);
    if (event == def_ombrel_http_form_begin)
        bytes.clear();
    if (event == def_ombrel_http_form_data)
        bytes.append(static_cast<const char*>(data), size);
    if (event == def_ombrel_http_form_end)
        found += shown(*part, bytes) + "\n";
    return bytes == "stop" ? 7 : 0;
}

/// Reads a body in pieces, kept or by the handler.
reading read(const std::string& body, const char* type, size_t piece, bool with_handler,
             ombrel_http_form_options_t options) {
    reading made{};
    options.m_handler = with_handler ? collect : nullptr;
    options.m_context = &made.parts;
    ombrel_http_form_t* const form = ombrel_open_http_form(type, &options);
    if (form == nullptr)
        return {-1, -1, -1, ""};
    for (size_t at = 0; at < body.size() && made.result == 0; at += piece)
        made.result = ombrel_http_form_push(form, body.data() + at, std::min(piece, body.size() - at));
    if (made.result == 0)
        made.result = ombrel_http_form_finish(form);
    else
        EXPECT_EQ(made.result, ombrel_http_form_push(form, "x", 1)) << "it stays so";
    made.fault = ombrel_http_form_get_fault(form);
    made.offset = ombrel_http_form_get_offset(form);
    for (size_t i = 0; i < ombrel_http_form_get_count(form); i++) {
        const ombrel_http_form_part_t& part = *ombrel_http_form_get_part(form, i);
        EXPECT_EQ('\0', part.m_data[part.m_size]);
        made.parts += shown(part, {part.m_data, part.m_size}) + "\n";
    }
    ombrel_close_http_form(form);
    return made;
}

ombrel_http_form_options_t usual(uint32_t flags = 0) {
    ombrel_http_form_options_t options;
    ombrel_init_http_form_options(&options);
    options.m_flags = flags;
    return options;
}

/// The parts of a body, which must come out alike however it comes.
std::string parts_of(const std::string& body, const char* type, uint32_t flags = 0) {
    const reading whole = read(body, type, body.size() + 1, false, usual(flags));
    EXPECT_EQ(0, whole.result) << body << ombrel_http_form_fault_text(whole.fault) << whole.offset;
    for (const size_t piece : {1u, 2u, 3u, 7u, 300u})
        for (const bool with_handler : {false, true})
            EXPECT_EQ(whole.parts, read(body, type, piece, with_handler, usual(flags)).parts) << body;
    return whole.parts;
}

/// The fault of a body and its offset, likewise.
std::pair<int, int64_t> fault_of(const std::string& body, const char* type,
                                 const ombrel_http_form_options_t& options = usual()) {
    const reading whole = read(body, type, body.size() + 1, true, options);
    for (const size_t piece : {1u, 5u}) {
        const reading pieces = read(body, type, piece, true, options);
        EXPECT_EQ(std::pair(whole.fault, whole.result), std::pair(pieces.fault, pieces.result)) << body;
    }
    return {whole.fault, whole.offset};
}

TEST(HttpForm, ReadsPlainForms) {
    const struct {
        const char *body, *expected;
        uint32_t flags;
    } cases[] = {{"", "", 0},
                 {"a=b", "a|-|-|b\n", 0},
                 {"a=b&c=d+e&%41%2b%26=%3D+=%C3%a4", "a|-|-|b\nc|-|-|d e\nA+&|-|-|= =\xC3\xA4\n", 0},
                 {"&&a&=&=x&b==&", "a|-|-|\n|-|-|\n|-|-|x\nb|-|-|=\n", 0},
                 {"a=1&a=2;3", "a|-|-|1\na|-|-|2;3\n", 0},
                 {"a%=1%&b=%g%1&c=%1z%%41%4", "a%|-|-|1%\nb|-|-|%g%1\nc|-|-|%1z%A%4\n",
                  def_ombrel_http_form_keep_bad_escapes}};
    for (const auto& each : cases)
        EXPECT_EQ(each.expected, parts_of(each.body, def_ombrel_http_form_urlencoded, each.flags));
    const std::string with_nul = parts_of("a=x%00y", "Application/X-WWW-Form-Urlencoded; charset=UTF-8",
                                          def_ombrel_http_form_allow_nul);
    EXPECT_EQ(std::string("a|-|-|x\0y\n", 10), with_nul);
}

TEST(HttpForm, ReadsMultipartForms) {
    const std::string form = "Content-Disposition: form-data; name=";
    const struct {
        std::string body, expected;
    } cases[] = {
        {"--b:1--", ""},
        {"--b:1--\r\n", ""},
        {"\r\n--b:1 \t\r\n" + form + "a\r\n\r\nx\r\n--b:1--\r\n", "a|-|-|x\n"},
        {"--b:1\r\n" + form + "\"a\"\r\n\r\n\r\n--b:1\r\n" + form + "\"\"\r\n\r\n--b:1--\r\n",
         "a|-|-|\n|-|-|\n"},
        {"--b:1\r\n" + form + "\"a\"\r\n\r\n--b:\r\n--b:2\r\r\n-\r\n\r\n--b:1--\r\n",
         "a|-|-|--b:\r\n--b:2\r\r\n-\r\n\n"},
        {"--b:1\r\n" + form + "\"a\"\r\n\r\nx\r\n\r\n--b:1--\r\n", "a|-|-|x\r\n\n"},
        {"--b:1\r\nContent-Type:text/plain; a=b \t\r\nx-y:\r\ncontent-disposition: Form-Data ; x=y; "
         "filename=\"C:\\dir\\\\a\\\"b.txt\" ;NAME=\"f%22\"\r\n\r\nz\n\r\n--b:1--",
         "f%22|C:\\dir\\a\"b.txt|text/plain; a=b|z\n\n"},
        {"--b:1\r\n" + form + "f; filename=\"\"\r\nContent-Transfer-Encoding: Binary\r\n\r\n\r\n--b:1--",
         "f||-|\n"},
        {"--b:1\r\n" + form + "f; filename=plain; filename*=UTF-8''%C3%A4\r\n\r\n\r\n--b:1--",
         "f|plain|-|\n"},
        {"--b:1\r\n" + form + "f; filename*=utf-8'de'%C3%A4%20\r\n\r\n\r\n--b:1--", "f|\xC3\xA4 |-|\n"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(each.expected, parts_of(each.body, multipart)) << each.body;
    }
    const std::string zeros(1000, '\0');
    EXPECT_EQ("f|g|-|" + zeros + "\n",
              parts_of("--b:1\r\n" + form + "f; filename=g\r\n\r\n" + zeros + "\r\n--b:1--", multipart));
}

TEST(HttpForm, TellsWhatIsWrongAndWhere) {
    const std::string head = "--b:1\r\nContent-Disposition: form-data; name=a\r\n";
    const auto long_of = [](size_t size) { return std::string(size, 'x'); };
    const struct {
        bool is_plain;
        std::string body;
        int fault;
        int64_t offset;
    } cases[] = {
        {true, "a=%", def_ombrel_http_form_fault_escape, 3},
        {true, "a=%4", def_ombrel_http_form_fault_escape, 4},
        {true, "a=%4&", def_ombrel_http_form_fault_escape, 4},
        {true, "a=%%41", def_ombrel_http_form_fault_escape, 3},
        {true, "%G=1", def_ombrel_http_form_fault_escape, 1},
        {true, "a%00=1", def_ombrel_http_form_fault_nul, 3},
        {true, "a=1%00&b=2", def_ombrel_http_form_fault_nul, 5},
        {true, long_of(257) + "=1", def_ombrel_http_form_fault_name_limit, 256},
        {false, "", def_ombrel_http_form_fault_end, 0},
        {false, "x--b:1--", def_ombrel_http_form_fault_boundary, 0},
        {false, "\r\n\r\n--b:1--", def_ombrel_http_form_fault_boundary, 2},
        {false, "--b:2", def_ombrel_http_form_fault_boundary, 4},
        {false, "--b:1x", def_ombrel_http_form_fault_boundary, 5},
        {false, "--b:1\n", def_ombrel_http_form_fault_boundary, 5},
        {false, "--b:1 -", def_ombrel_http_form_fault_boundary, 6},
        {false, "--b:1\r\r\n", def_ombrel_http_form_fault_boundary, 6},
        {false, "--b:1-x", def_ombrel_http_form_fault_boundary, 6},
        {false, "--b:1--x", def_ombrel_http_form_fault_boundary, 7},
        {false, "--b:1--\r\n\r", def_ombrel_http_form_fault_boundary, 9},
        {false, "--b:1-", def_ombrel_http_form_fault_end, 6},
        {false, head, def_ombrel_http_form_fault_end, static_cast<int64_t>(head.size())},
        {false, head + "\r\nx\r\n--b:1", def_ombrel_http_form_fault_end, 57},
        {false, "--b:1\r\n\r\n", def_ombrel_http_form_fault_name, 8},
        {false, head + head.substr(7) + "\r\n", def_ombrel_http_form_fault_name, -1},
        {false, "--b:1\r\nContent-Disposition: form-data\r\n\r\n", def_ombrel_http_form_fault_name, -1},
        {false, "--b:1\r\nContent-Disposition: attachment; name=a\r\n\r\n", def_ombrel_http_form_fault_name,
         -1},
        {false, "--b:1\r\nContent-Disposition: form-data; name=a; name=b\r\n\r\n",
         def_ombrel_http_form_fault_name, -1},
        {false, "--b:1\r\nContent-Disposition: form-data; name=\"a\r\n\r\n", def_ombrel_http_form_fault_name,
         -1},
        {false, "--b:1\r\nContent-Disposition: form-data; name=a; filename*=UTF-8''%00\r\n\r\n",
         def_ombrel_http_form_fault_name, -1},
        {false, "--b:1\r\nContent-Disposition: form-data; name=" + long_of(257) + "\r\n\r\n",
         def_ombrel_http_form_fault_name_limit, -1},
        {false, head + "Content-Transfer-Encoding: base64\r\n\r\n", def_ombrel_http_form_fault_encoding, -1},
        {false, head + "Content-Type: a\r\nContent-Type: b\r\n\r\n", def_ombrel_http_form_fault_head, -1},
        {false, head + "X y: z\r\n\r\n", def_ombrel_http_form_fault_head, -1},
        {false, head + " folded\r\n\r\n", def_ombrel_http_form_fault_head, -1},
        {false, head + "X: a\nY: b\r\n\r\n", def_ombrel_http_form_fault_head, -1},
        {false, head + "X: a\rY", def_ombrel_http_form_fault_head, -1},
        {false, head + "X: \x01\r\n\r\n", def_ombrel_http_form_fault_head, -1},
        {false, head + std::string("X: \0\r\n\r\n", 8), def_ombrel_http_form_fault_nul, -1},
        {false, head + "X: " + long_of(4096), def_ombrel_http_form_fault_head_limit, 4103},
        {false, head + "\r\n" + std::string("a\0", 2) + "\r\n--b:1--", def_ombrel_http_form_fault_nul, -1},
        {true, "a=stop", def_ombrel_http_form_fault_handler, -1},
    };
    for (const auto& each : cases) {
        const auto [fault, offset] =
            fault_of(each.body, each.is_plain ? def_ombrel_http_form_urlencoded : multipart);
        EXPECT_EQ(each.fault, fault) << each.body << " at " << offset;
        EXPECT_EQ(each.offset >= 0 ? each.offset : offset, offset) << each.body;
        EXPECT_STRNE("unknown", ombrel_http_form_fault_text(fault));
    }
    EXPECT_STREQ("unknown", ombrel_http_form_fault_text(17));
}

TEST(HttpForm, KeepsItsLimits) {
    const std::string
        plain = "a=12345&b=",
        file = "--b:1\r\nContent-Disposition: form-data; name=a; filename=b\r\n\r\n12345\r\n--b:1--";
    const struct {
        bool is_plain, is_over;
        void (*limit)(ombrel_http_form_options_t&, size_t);
        size_t limit_value;
        int fault;
    } cases[] = {
        {true, false, [](auto& it, size_t n) { it.m_part_limit = n; }, 2, 0},
        {true, true, [](auto& it, size_t n) { it.m_part_limit = n; }, 1,
         def_ombrel_http_form_fault_part_limit},
        {true, false, [](auto& it, size_t n) { it.m_value_limit = n; }, 5, 0},
        {true, true, [](auto& it, size_t n) { it.m_value_limit = n; }, 4,
         def_ombrel_http_form_fault_value_limit},
        {true, false, [](auto& it, size_t n) { it.m_body_limit = static_cast<int64_t>(n); }, 10, 0},
        {true, true, [](auto& it, size_t n) { it.m_body_limit = static_cast<int64_t>(n); }, 9,
         def_ombrel_http_form_fault_body_limit},
        {false, false,
         [](auto& it, size_t n) { it.m_file_limit = static_cast<int64_t>(n), it.m_value_limit = 0; }, 5, 0},
        {false, true, [](auto& it, size_t n) { it.m_file_limit = static_cast<int64_t>(n); }, 4,
         def_ombrel_http_form_fault_file_limit},
    };
    for (const auto& each : cases) {
        ombrel_http_form_options_t options = usual();
        each.limit(options, each.limit_value);
        const auto [fault, offset] =
            fault_of(each.is_plain ? plain : file,
                     each.is_plain ? def_ombrel_http_form_urlencoded : multipart, options);
        EXPECT_EQ(each.fault, fault) << each.limit_value;
    }
    std::string many;
    for (int i = 0; i < 200; i++)
        many += "&";
    for (int i = 0; i < 200; i++)
        many += "a&";
    ombrel_http_form_options_t options = usual();
    options.m_keep_limit = 10'000;
    EXPECT_EQ(def_ombrel_http_form_fault_keep_limit,
              read(many, def_ombrel_http_form_urlencoded, 100, false, options).fault)
        << "records count";
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
}

TEST(HttpForm, KnowsItsTypes) {
    const struct {
        const char* type;
        int fault;
    } cases[] = {{"text/plain", def_ombrel_fault_not_supported},
                 {"multipart/mixed; boundary=a", def_ombrel_fault_not_supported},
                 {"", def_ombrel_fault_not_supported},
                 {nullptr, def_ombrel_fault_invalid},
                 {"multipart/form-data", def_ombrel_fault_violation},
                 {"multipart/form-data; boundary=\"\"", def_ombrel_fault_violation},
                 {"multipart/form-data; boundary=\"a \"", def_ombrel_fault_violation},
                 {"multipart/form-data; boundary=\"a\\b\"", def_ombrel_fault_violation},
                 {"multipart/form-data; boundary=a; boundary=b", def_ombrel_fault_violation},
                 {"multipart/form-data; "
                  "boundary=0123456789012345678901234567890123456789012345678901234567890123456789x",
                  def_ombrel_fault_violation},
                 {"Multipart/Form-Data; charset=x; "
                  "Boundary=0123456789012345678901234567890123456789012345678901234567890123456789",
                  0},
                 {"multipart/form-data; boundary=\"a b\"", 0}};
    for (const auto& each : cases) {
        ombrel_http_form_t* const form = ombrel_open_http_form(each.type, nullptr);
        EXPECT_EQ(each.fault, form != nullptr ? 0 : ombrel_last_fault()) << each.type;
        ombrel_close_http_form(form);
    }
    for (int c = 1; c < 256; c++) {
        const std::string type =
            "multipart/form-data; boundary=\"a" + std::string(1, static_cast<char>(c)) + "z\"";
        const bool may_be = isalnum(c) != 0 ? c < 128 : strchr("'()+_,-./:=? ", c) != nullptr;
        ombrel_http_form_t* const form = ombrel_open_http_form(type.c_str(), nullptr);
        EXPECT_EQ(may_be, form != nullptr) << c;
        ombrel_close_http_form(form);
    }
    const ombrel_http_form_options_t unknown = usual(4);
    EXPECT_EQ(nullptr, ombrel_open_http_form(def_ombrel_http_form_urlencoded, &unknown));
}

TEST(HttpForm, IsReadAsItIsWritten) {
    std::string bytes;
    for (int i = 0; i < 256; i++)
        bytes += static_cast<char>(i);
    for (const int kind : {def_ombrel_http_form_plain, def_ombrel_http_form_multipart}) {
        const bool is_plain = kind == def_ombrel_http_form_plain;
        ombrel_buffer_t* const buffer = ombrel_open_buffer();
        ombrel_http_form_writer_t writer;
        ASSERT_EQ(0, ombrel_init_http_form_writer(&writer, buffer, kind));
        EXPECT_EQ(0, ombrel_http_form_writer_put_field(&writer, "a&\"=\n\\", bytes.data(), bytes.size()));
        EXPECT_EQ(0, ombrel_http_form_writer_put_field(&writer, "", nullptr, 0));
        EXPECT_EQ(is_plain ? -1 : 0,
                  ombrel_http_form_writer_begin_file(&writer, "f", "x\"\xC3\xA4.bin", nullptr));
        EXPECT_EQ(-1, ombrel_http_form_writer_begin_file(&writer, "f", "g", "text/plain\r\nX: y"));
        if (!is_plain)
            ombrel_push_buffer(buffer, bytes.data(), bytes.size());
        EXPECT_EQ(0, ombrel_http_form_writer_finish(&writer));
        EXPECT_EQ(-1, ombrel_http_form_writer_put_field(&writer, "late", "", 0));
        std::string body(ombrel_get_buffer_size(buffer), 0);
        ombrel_pop_buffer_ex(buffer, body.data(), body.size(), 1);
        const std::string name = is_plain ? "a&\"=\n\\" : "a&%22=%0A\\";
        EXPECT_EQ(name + "|-|-|" + bytes + "\n|-|-|\n" +
                      (is_plain ? "" : "f|x%22\xC3\xA4.bin|application/octet-stream|" + bytes + "\n"),
                  parts_of(body, writer.m_content_type, def_ombrel_http_form_allow_nul));
        ombrel_close_buffer(buffer);
    }
}

TEST(HttpForm, FindsPartsByName) {
    ombrel_http_form_t* const form = ombrel_open_http_form(def_ombrel_http_form_urlencoded, nullptr);
    EXPECT_EQ(0, ombrel_http_form_push(form, "a=1&b=2&a=3", 11));
    EXPECT_EQ(0, ombrel_http_form_finish(form));
    EXPECT_EQ(-1, ombrel_http_form_push(form, "x", 1));
    EXPECT_STREQ("3", ombrel_http_form_find(form, "a", 1)->m_data);
    EXPECT_STREQ("2", ombrel_http_form_find(form, "b", 0)->m_data);
    EXPECT_EQ(nullptr, ombrel_http_form_find(form, "a", 2));
    EXPECT_EQ(nullptr, ombrel_http_form_find(form, "A", 0));
    EXPECT_EQ(nullptr, ombrel_http_form_find(nullptr, "a", 0));
    EXPECT_EQ(nullptr, ombrel_http_form_get_part(form, 3));
    ombrel_close_http_form(form);
    EXPECT_EQ(-1, ombrel_http_form_push(nullptr, "", 0) | ombrel_http_form_finish(nullptr));
    EXPECT_EQ(-1, ombrel_http_form_get_offset(nullptr));
    EXPECT_EQ(0, ombrel_http_form_get_fault(nullptr) + ombrel_close_http_form(nullptr));
    EXPECT_EQ(-1, ombrel_init_http_form_options(nullptr));
    EXPECT_EQ(-1, ombrel_init_http_form_writer(nullptr, nullptr, 0));
    EXPECT_EQ(-1, ombrel_http_form_writer_finish(nullptr));
}

TEST(HttpForm, MakesSafeNamesOfFiles) {
    const struct {
        std::string given;
        const char* expected;
    } cases[] = {{"a.txt", "a.txt"},
                 {"../../etc/passwd", "passwd"},
                 {"C:\\dir\\a b.txt", "a b.txt"},
                 {"..", "_"},
                 {"", "_"},
                 {"/", "_"},
                 {".htaccess", "htaccess"},
                 {"a. . ", "a"},
                 {"CON", "_CON"},
                 {"com1.txt", "_com1.txt"},
                 {"com0", "com0"},
                 {"console", "console"},
                 {"a:b|c\n*?<>\"", "a_b_c______"},
                 {std::string(300, 'x'), "xxxxxxxxxxxxxx"},
                 {"1234567890123\xC3\xA4", "1234567890123"},
                 {"123456789012\xC3\xA4z", "123456789012\xC3\xA4"}};
    for (const auto& each : cases) {
        char name[16];
        const int size = ombrel_format_http_form_file_name(name, sizeof name, each.given.c_str());
        EXPECT_STREQ(each.expected, name) << each.given;
        EXPECT_EQ(std::string(name).size(), static_cast<size_t>(size));
    }
    char name[15];
    EXPECT_EQ(-1, ombrel_format_http_form_file_name(name, sizeof name, "a"));
}

} // namespace
