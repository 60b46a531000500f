// The objects that have functions of their own: each is used once through them.
#include <ombrel_tuk.hpp>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/heap_balance.h"
#include "support/scratch_directory.h"

using namespace std::string_view_literals;

namespace {

using Objects = ombrel_test::balanced_test;

TEST_F(Objects, QueueBytes) {
    const auto queue = ombrel::buffer::open();
    EXPECT_EQ(9u, queue.push("one\ntwo\nx"));
    EXPECT_EQ(0u, queue.push(""));
    EXPECT_EQ("one"sv, queue.pop_line().view());
    EXPECT_EQ("two\n"sv, queue.take(4).view());
    std::byte bytes[4];
    EXPECT_EQ(1u, queue.pop(std::span<std::byte>(bytes)).size());
    EXPECT_EQ(9u, queue.offset());
    EXPECT_FALSE(queue.take(1));
    EXPECT_FALSE(queue.pop_line());
}

TEST_F(Objects, ReadAndWriteStreamsByContexts) {
    const ombrel_test::scratch_directory folder;
    const std::string path = folder / "stream";
    const auto ctx = ombrel::ctx::make();
    EXPECT_EQ(0, ctx.set_option("depth", 3));
    EXPECT_EQ("3"sv, ctx.option("DEPTH").value_or(""));
    EXPECT_FALSE(ctx.option("none"));
    ASSERT_EQ(0, ctx.open_stream(path, "w")) << ctx.error_text().c_str();
    EXPECT_EQ(4, ctx.write("text"));
    EXPECT_EQ(6, ctx.print(" %d %s", 42, "or"sv));
    EXPECT_EQ(0, ctx.close());
    ASSERT_EQ(0, ctx.open_stream(path, "r"));
    char text[16];
    EXPECT_EQ(5, ctx.seek(5));
    EXPECT_EQ("42 or"sv, std::string_view(text, static_cast<std::size_t>(ctx.read(text, sizeof text))));
    EXPECT_EQ(0, ctx.close());
    EXPECT_NE(0, ctx.open_stream(folder / "none", "r"));
    EXPECT_EQ(def_ombrel_ctx_error_not_found, ctx.last_error());
    EXPECT_NE(""sv, ctx.error_text().c_str());
}

TEST_F(Objects, ReadAndWriteFiles) {
    const ombrel_test::scratch_directory folder;
    const std::string path = folder / "file";
    EXPECT_EQ(0, ombrel::store_file(path, "one\n\ntwo"));
    EXPECT_EQ("one\n\ntwo"sv, ombrel::load_file(path).view());
    const auto file =
        ombrel::file::open(path, def_ombrel_file_read | def_ombrel_file_write | def_ombrel_file_append);
    EXPECT_EQ(0, file.write("!"));
    EXPECT_EQ(9, file.size());
    const auto stream = ombrel::file_stream::open(path, "r+");
    std::vector<std::string> lines;
    while (const auto line = stream.read_line())
        lines.emplace_back(*line);
    EXPECT_EQ((std::vector<std::string>{"one", "", "two!"}), lines);
    EXPECT_EQ(0, stream.fault_code());
    EXPECT_EQ(3, stream.print(" %s", "ok"sv));
    EXPECT_EQ(0, stream.flush());
    EXPECT_EQ(12, file.size());
}

TEST_F(Objects, RunProgramsAndHoldThem) {
#if defined(_WIN32)
    const char* const says[] = {"cmd", "/c", "echo out& echo error>&2& exit 7", nullptr};
#else
    const char* const says[] = {"sh", "-c", "echo out; echo error >&2; exit 7", nullptr};
#endif
    auto result = ombrel::run(says);
    ASSERT_TRUE(result);
    const ombrel::process_result moved = std::move(*result);
    result.reset();
    EXPECT_EQ(7, moved.exit_code());
    EXPECT_EQ("out"sv, moved.output().substr(0, 3));
    EXPECT_EQ("error"sv, moved.error_output().substr(0, 5));
    EXPECT_FALSE(moved.is_late());
    const char* const nothing[] = {"no_such_program_here", nullptr};
    EXPECT_FALSE(ombrel::run(nothing));
    EXPECT_EQ(ombrel::last_fault(), def_ombrel_fault_not_found);
    const auto process = ombrel::process::open(says);
    EXPECT_EQ(7, process.wait()->m_exit_code);
}

TEST_F(Objects, AskAndChangeSettings) {
    const auto ini = ombrel::ini::open();
    ASSERT_EQ(0, ini.load("[a]\nx = 7\nb = yes\nr = 1.5\n"));
    EXPECT_EQ("7"sv, ini.value("a", "x").value_or(""));
    EXPECT_EQ(7, ini.integer("a", "x"));
    EXPECT_EQ(true, ini.boolean("a", std::string("b")));
    EXPECT_EQ(1.5, ini.real("a", "r"));
    EXPECT_FALSE(ini.integer("a", "x", 0, 5));
    EXPECT_EQ(ombrel::last_fault(), def_ombrel_fault_too_large);
    EXPECT_EQ(std::nullopt, ini.value("a", "none"));
    EXPECT_EQ(0, ini.set("a", "x", "8"));
    EXPECT_EQ(1, ini.remove("a", "b"));
    int keys = 0;
    EXPECT_EQ(0, ini.for_each("a", [&](const ombrel_ini_entry_t& entry) {
        keys += entry.m_kind == def_ombrel_ini_entry_key;
    }));
    EXPECT_EQ(2, keys);
    EXPECT_EQ(-1, ini.for_each("none", [](const ombrel_ini_entry_t&) {}));
    EXPECT_EQ("[a]\nx = 8\nr = 1.5\n"sv, ini.text().view());
}

TEST_F(Objects, ReadAndWriteMarkup) {
    const auto tree = ombrel::xml_tree::parse("<a n='5'><b>x</b><b>y</b></a>");
    ASSERT_TRUE(tree);
    EXPECT_EQ(5, tree.root().integer("n"));
    EXPECT_FALSE(tree.root().attribute("none"));
    std::string all;
    for (auto node = tree.root().child("b"); node; node = node.sibling("b"))
        all += node.text().view();
    EXPECT_EQ("xy", all);
    EXPECT_EQ("y"sv, tree.root().find("b[2]").text().view());
    EXPECT_TRUE(tree.root().add_element("c", "z"));

    const auto queue = ombrel::buffer::open();
    EXPECT_EQ(0, tree.write(queue));
    int elements = 0;
    auto parser = ombrel::xml_parser::open(
        [&](const ombrel_xml_event_t& event) { elements += event.m_kind == def_ombrel_xml_event_element; });
    const auto moved = std::move(parser);
    EXPECT_EQ(0, moved.push(queue.take(1000).view()));
    EXPECT_EQ(0, moved.end());
    EXPECT_EQ(4, elements);
    const auto ending = ombrel::xml_parser::open([](const ombrel_xml_event_t&) { return 7; });
    EXPECT_EQ(7, ending.push("<a/>"));

    const auto writer = ombrel::xml_writer::open(queue);
    EXPECT_EQ(0, writer.begin("a") | writer.attribute("n", "1") | writer.write_text("<"sv) | writer.end() |
                     writer.finish());
    EXPECT_EQ("<a n=\"1\">&lt;</a>\n"sv, queue.take(1000).view());
}

TEST_F(Objects, DigestMatchAndCount) {
    ombrel::digest digest("md5");
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72"sv, digest.push("a").push("bc").result());
    EXPECT_FALSE(ombrel::digest("none"));
    EXPECT_EQ(""sv, ombrel::digest("none").push("x").result());

    const ombrel::regular_match<2> match("(\\d+)-(\\d+)", "from 10-25 on");
    EXPECT_TRUE(match);
    EXPECT_EQ("10-25"sv, match[0]);
    EXPECT_EQ("25"sv, match[2]);
    EXPECT_EQ(""sv, match[3]);
    EXPECT_EQ(def_ombrel_regular_no_match, ombrel::regular_match<0>("x", "abc").result());

    const auto words = ombrel::hash<std::string_view, int>::open();
    for (const auto word : {"a"sv, "b"sv, "a"sv})
        ++*words.obtain(word);
    EXPECT_EQ(2, *words.find("a"));
    EXPECT_EQ(nullptr, words.find("c"));
    int sum = 0;
    words.for_each([&](std::string_view key, int& value) { sum += value * static_cast<int>(key.size()); });
    EXPECT_EQ(3, sum);
    EXPECT_TRUE(words.remove("a"));
    EXPECT_FALSE(words.remove("a"));
    const auto numbers = ombrel::hash<std::uint64_t, double>::open();
    EXPECT_EQ(0, numbers.set(7, 1.5));
    EXPECT_EQ(1.5, *numbers.find(7));
    EXPECT_EQ(1u, numbers.size());
}

TEST_F(Objects, CountDown) {
    using namespace std::chrono_literals;
    ombrel::timer timer(0ms);
    EXPECT_TRUE(timer.is_over());
    EXPECT_TRUE(ombrel::timer(-1h).is_over());
    timer.extend(-1h);
    EXPECT_EQ(0ms, timer.left());
    timer.extend(1h);
    EXPECT_FALSE(timer.is_over());
    EXPECT_LT(0ms, timer.left());
}

TEST_F(Objects, ServeAndGet) {
    ombrel_init_network();
    const auto base = ombrel::event_base::open();
    auto opened = ombrel::http_server::open(base);
    const ombrel::http_server server = [&] {
        opened.add_route("GET", "/hello/*", [&](ombrel::http_exchange exchange) {
            return exchange.answer_format(200, "text/plain", "%s %s", exchange.method(),
                                          exchange.path_rest());
        });
        opened.add_route(nullptr, "/none",
                         [](ombrel::http_exchange exchange) { exchange.answer(404, "text/plain", ""); });
        return std::move(opened);
    }();
    EXPECT_FALSE(opened);
    const int port = server.listen("127.0.0.1", 0);
    ASSERT_LT(0, port);
    const auto client = ombrel::http_client::open(base);
    std::string body;
    int status = 0;
    auto second = [&](ombrel::http_call call) {
        status = call.status();
        base.exit_loop();
    };
    auto first = [&](ombrel::http_call call) {
        body = call.body();
        client.get_uri(ombrel::format("http://127.0.0.1:%d/none", port), second);
    };
    EXPECT_TRUE(client.get_uri(ombrel::format("http://127.0.0.1:%d/hello/you", port), first));
    EXPECT_EQ(0, base.dispatch());
    EXPECT_EQ("GET you", body);
    EXPECT_EQ(404, status);
    std::vector<int> ports;
    for (const auto& answer : ombrel::resolver_list::open("127.0.0.1", port))
        ports.push_back(answer.m_port);
    EXPECT_EQ(std::vector<int>{port}, ports);
}

} // namespace
