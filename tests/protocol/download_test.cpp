#include <ombrel/download.h>

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/global_break.h>

#include "core/heap_ptr.h"
#include "protocol/download/download_digest.h"
#include "protocol/download/http_reply.h"
#include "protocol/download/uri_reference.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"
#include "support/texts.h"

namespace ombrel_test {
namespace {

using namespace ombrel::protocol;
using ombrel::fault_code;

TEST(DownloadParts, ReferencesAreResolved) {
    const char* const base = "https://h:1/a/b/c?q#f";
    for (const auto& [reference, expected] : {std::pair{"http://x/../y", "http://x/y"},
                                              {"//o/p", "https://o/p"},
                                              {"/d", "https://h:1/d"},
                                              {"d", "https://h:1/a/b/d"},
                                              {"?z", "https://h:1/a/b/c?z"},
                                              {"../d/./e/..", "https://h:1/a/d/"},
                                              {"../../../../d", "https://h:1/d"},
                                              {"d#e", "https://h:1/a/b/d"},
                                              {"/..", "https://h:1/"},
                                              {"/d?x=/../y", "https://h:1/d?x=/../y"},
                                              {"a:1", "https://h:1/a/b/a:1"},
                                              {"file:///etc", "file:///etc"},
                                              {"//o", "https://o"},
                                              {"./..", "https://h:1/a/"}}) {
        const ombrel::heap_ptr<char> uri(resolve_uri_reference(base, reference, {"test", 1}));
        EXPECT_STREQ(expected, uri.get()) << reference;
    }
    const ombrel::heap_ptr<char> uri(resolve_uri_reference("http://h", "d", {"test", 1}));
    EXPECT_STREQ("http://h/d", uri.get());
}

TEST(DownloadParts, DigestsAreReadStrictly) {
    const std::string md5(32, 'a'), sha1(40, 'B'), sha256(64, '0');
    wanted_digest wanted;
    for (const auto& [text, algorithm] :
         {std::pair{"md5:" + md5, "md5"}, {"sha1:" + sha1, "sha1"}, {"sha256:" + sha256, "sha256"}}) {
        EXPECT_TRUE(parse_wanted_digest(text.c_str(), wanted));
        EXPECT_STREQ(algorithm, wanted.algorithm->m_name);
    }
    for (const std::string& text :
         texts(md5, "md5:" + sha1, "sha1:" + md5, "crc32:00000000", "sha256:" + sha256 + "0", "SHA1:" + sha1,
               "md5:g" + md5.substr(1), ":"))
        EXPECT_FALSE(parse_wanted_digest(text.c_str(), wanted)) << text;
    const std::string list = "rubbish\n00000000  a\n" + md5 + "  b\n" + sha1 + " *./a\n" + md5 + "  a\n";
    for (const auto& [name, digits] :
         {std::pair{"a", std::string(40, 'b')}, {"b", md5}, {"c", std::string()}}) {
        digest_search search(name);
        search.push(list.data(), list.size());
        EXPECT_EQ(digits, search.end().text);
    }
}

TEST(DownloadParts, InfoIsReadAsItWasWritten) {
    part_info info, again;
    set_source(info, "http://u:p@h/");
    for (const auto& [tag, changed, size, is_told_apart] : {std::tuple{"\"a b\"", "Sun", int64_t{5}, false},
                                                            {"", "1.000000002", int64_t{0}, true},
                                                            {"", "", int64_t{-1}, false}}) {
        info.resource = {size, is_told_apart, {}, {}, false};
        info.resource.entity_tag.set(tag);
        info.resource.changed.set(changed);
        char text[part_info_room];
        const std::string whole(text, format_part_info(info, text));
        ASSERT_TRUE(parse_part_info(whole, again));
        EXPECT_EQ(std::make_tuple(std::string(info.source), std::string(tag), std::string(changed), size,
                                  is_told_apart),
                  std::make_tuple(std::string(again.source), std::string(again.resource.entity_tag.get()),
                                  std::string(again.resource.changed.get()), again.resource.size,
                                  again.resource.is_told_apart));
        EXPECT_EQ(size != -1, again.resource.has_validator());
        EXPECT_EQ(std::string::npos, whole.find("u:p"));
        for (size_t cut = 0; cut < whole.size() - 1; cut++)
            EXPECT_FALSE(parse_part_info(whole.substr(0, cut), again) &&
                         cut < whole.size() - 1 - strlen(changed))
                << cut;
        EXPECT_FALSE(parse_part_info(whole + "x", again));
    }
    info.resource.entity_tag.set("a\nb");
    EXPECT_TRUE(info.resource.entity_tag.get().empty());
    info.resource.entity_tag.set(std::string(256, 'x'));
    EXPECT_TRUE(info.resource.entity_tag.get().empty());
}

using field_map = std::map<std::string, std::string>;

const char* find_field(void* from, const char* name) {
    const auto& fields = *static_cast<field_map*>(from);
    const auto found = fields.find(name);
    return found != fields.end() ? found->second.c_str() : nullptr;
}

TEST(DownloadParts, AnswersOfHttpAreJudged) {
    resource_info known;
    known.size = 100;
    known.entity_tag.set("\"a\"");
    ombrel_download_options_t options;
    ombrel_init_download_options(&options);
    constexpr auto body = reply_use::body, redirect = reply_use::redirect, over = reply_use::over;
    const struct {
        int status;
        field_map fields;
        int64_t offset;
        reply_use use;
        source_end end;
        int64_t begins = -1, total = -1; ///< what the sink is told
        int wait_ms = -1;
    } cases[] = {
        {200, {}, 0, body, source_end::whole, 0, 7},
        {200, {}, 50, body, source_end::whole, 0, 7},
        {203, {}, 0, body, source_end::whole, 0, 7},
        {206, {{"Content-Range", "bytes 50-99/100"}}, 50, body, source_end::whole, 50, 100},
        {206, {{"Content-Range", "bytes 50-99/*"}}, 50, body, source_end::whole, 50, 100},
        {206, {{"Content-Range", "bytes 49-99/100"}}, 50, over, source_end::anew},
        {206, {{"Content-Range", "bytes 0-99/100"}}, 0, over, source_end::anew},
        {206, {}, 50, over, source_end::anew},
        {416, {{"Content-Range", "bytes */100"}, {"ETag", "\"a\""}}, 100, over, source_end::whole, 100, 100},
        {416, {{"Content-Range", "bytes */100"}, {"ETag", "\"b\""}}, 100, over, source_end::anew},
        {416, {{"Content-Range", "bytes */90"}}, 100, over, source_end::anew},
        {416, {}, 100, over, source_end::anew},
        {416, {}, 0, over, source_end::refused},
        {302, {{"Location", "/x"}}, 0, redirect, source_end::failed},
        {302, {}, 0, over, source_end::refused},
        {304, {}, 0, over, source_end::refused},
        {204, {}, 0, over, source_end::refused},
        {404, {}, 0, over, source_end::refused},
        {501, {}, 0, over, source_end::refused},
        {503, {{"Retry-After", "3"}}, 0, over, source_end::failed, -1, -1, 3000},
        {429, {{"Retry-After", "99999999999"}}, 0, over, source_end::failed, -1, -1, 1'000'000'000},
        {500, {{"Retry-After", "Sun, 06 Nov 1994 08:49:37 GMT"}}, 0, over, source_end::failed, -1, -1, 0},
        {502, {{"Retry-After", "soon"}}, 0, over, source_end::failed, -1, -1, 0},
    };
    for (const auto& one : cases) {
        source_answer told{-1, {}}, answer;
        const source_request request{options, "http://h/", one.offset, &known};
        const source_sink sink = {[](void* context, const source_answer& begun) {
                                      return *static_cast<source_answer*>(context) = begun, true;
                                  },
                                  nullptr, &told};
        download_watch watch(options);
        transfer_error error;
        int wait_ms = -1;
        field_map fields = one.fields;
        const reply_verdict verdict =
            judge_reply({request, sink, watch, error, wait_ms}, {one.status, 7, find_field, &fields}, answer);
        EXPECT_EQ(one.use, verdict.use) << one.status;
        EXPECT_EQ(one.end, verdict.end) << one.status;
        const source_answer& heard = verdict.use == body ? answer : told;
        EXPECT_EQ(one.begins, one.begins >= 0 ? heard.offset : told.offset) << one.status;
        EXPECT_EQ(one.total, one.begins >= 0 ? heard.resource.size : -1) << one.status;
        EXPECT_EQ(one.wait_ms, wait_ms) << one.status;
        EXPECT_EQ(one.use == over && (one.end == source_end::refused || one.end == source_end::failed),
                  static_cast<bool>(error))
            << one.status;
    }
    const http_conditions conditions = conditions_of({options, "http://h/", 50, &known});
    EXPECT_STREQ("bytes=50-", conditions.range);
    EXPECT_STREQ("\"a\"", conditions.if_range);
}

class Download : public balanced_test {
protected:
    Download() { ombrel_init_download_options(&options_); }

    std::string path(const char* name) const { return folder_ / name; }
    void write(const char* name, const std::string& text) const { folder_.write(name, text); }
    std::string read(const char* name) const {
        return ombrel_file_exists(path(name).c_str()) == 1 ? folder_.read(name) : "none";
    }
    int run() { return ombrel_download_file(path("from").c_str(), path("to").c_str(), &options_, &result_); }

    scratch_directory folder_;
    ombrel_download_options_t options_;
    ombrel_download_result_t result_;
};

TEST_F(Download, AHandlerHearsOfAllAndMayEndIt) {
    struct listener {
        std::vector<int> phases;
        int64_t done = 0;
        int end_at;
    } heard{{}, 0, -1};
    options_.m_handler = [](const ombrel_download_state_t* state, void* context) {
        auto& to = *static_cast<listener*>(context);
        EXPECT_LE(to.done, state->m_done);
        EXPECT_TRUE(std::string(state->m_uri).ends_with("from"));
        to.done = state->m_done;
        if (to.phases.empty() || to.phases.back() != state->m_phase)
            to.phases.push_back(state->m_phase);
        return state->m_phase == to.end_at ? 7 : 0;
    };
    options_.m_context = &heard;
    write("from", std::string(100'000, 'x'));
    ASSERT_EQ(0, run());
    EXPECT_EQ((std::vector<int>{def_ombrel_download_connecting, def_ombrel_download_receiving,
                                def_ombrel_download_storing}),
              heard.phases);
    EXPECT_EQ(std::make_tuple(100'000, 100'000, 0, 0, 1),
              std::make_tuple(result_.m_done, result_.m_total, result_.m_resumed, result_.m_reason,
                              result_.m_attempts));
    for (const int phase : {def_ombrel_download_connecting, def_ombrel_download_receiving,
                            def_ombrel_download_storing, def_ombrel_download_pausing}) {
        heard = {{}, 0, phase};
        write("to", "old");
        if (phase == def_ombrel_download_pausing)
            ombrel_remove_file(path("from").c_str());
        options_.m_size_limit = -1;
        const int ended = run();
        EXPECT_EQ(phase == def_ombrel_download_pausing ? -1 : 7,
                  ended); // what is not there is not asked for again
        EXPECT_EQ("old", read("to"));
    }
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_EQ(1, result_.m_attempts);
    write("from", "x");
    options_.m_handler = nullptr;
    ombrel_set_global_break();
    EXPECT_EQ(-1, run());
    ombrel_clear_global_break();
    EXPECT_EQ(def_ombrel_fault_interrupted, ombrel_last_fault());
    EXPECT_EQ(def_ombrel_download_reason_broken, result_.m_reason);
    options_.m_whole_ms = 0;
    EXPECT_EQ(-1, run());
    EXPECT_EQ(def_ombrel_fault_timed_out, ombrel_last_fault());
}

TEST_F(Download, AFileThatChangedIsNotGoneOnWith) {
    options_.m_handler = [](const ombrel_download_state_t* state, void*) {
        return state->m_done >= 40'000 ? 1 : 0;
    };
    for (const bool changes : {false, true}) {
        write("from", std::string(100'000, 'x'));
        ASSERT_EQ(1, run());
        ASSERT_LT(0, result_.m_done);
        const std::string content = changes ? std::string(100'000, 'y') : read("from");
        if (changes)
            write("from", content);
        const auto handler = std::exchange(options_.m_handler, nullptr);
        EXPECT_EQ(0, run());
        options_.m_handler = handler;
        EXPECT_EQ(content, read("to"));
        EXPECT_EQ(changes, result_.m_resumed == 0);
        EXPECT_EQ("none", read("to.part-download"));
        EXPECT_EQ("none", read("to.part-download.info"));
    }
}

TEST_F(Download, WhatComesWithoutInfoIsDropped) {
    write("from", "new");
    write("to.part-download", "old bytes that are more");
    for (const char* const info : {"", "ombrel download 1\n", "rubbish"}) {
        write("to.part-download.info", info);
        EXPECT_EQ(0, run());
        EXPECT_EQ("new", read("to"));
        write("to.part-download", "o");
    }
    options_.m_flags = def_ombrel_download_no_replace;
    EXPECT_EQ(-1, run());
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ(def_ombrel_download_reason_target, result_.m_reason);
}

TEST_F(Download, NonsenseIsRefused) {
    const std::function<void(ombrel_download_options_t&)> mistakes[] = {
        [](auto& options) { options.m_flags = 8; },
        [](auto& options) { options.m_digest = "md5:"; },
        [](auto& options) { options.m_mode = 010000; },
        [](auto& options) { options.m_first_pause_ms = 0; },
        [](auto& options) { options.m_pause_factor = 0; },
        [](auto& options) { options.m_schemes = "ftp|https"; },
        [](auto& options) {
            options.m_digest = "md5:00000000000000000000000000000000", options.m_digest_list = "x";
        }};
    write("from", "x");
    for (const auto& spoil : mistakes) {
        ombrel_init_download_options(&options_);
        spoil(options_);
        EXPECT_EQ(-1, run());
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
        EXPECT_EQ(def_ombrel_download_reason_argument, result_.m_reason);
    }
    EXPECT_EQ(-1, ombrel_download_file(nullptr, "x", nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_download_file("x", "", nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_download_file("pipe:echo", path("to").c_str(), nullptr, nullptr));
    EXPECT_EQ("none", read("to"));
}

} // namespace
} // namespace ombrel_test
