#include <ombrel/event_buffer.h>

#include "event/event_fixture.h"
#include "support/capture.h"

namespace {

using namespace ombrel_test;

constexpr uint32_t read_bit = def_ombrel_event_read, write_bit = def_ombrel_event_write,
                   exception_bit = def_ombrel_event_exception;

class EventBuffer : public event_test {
protected:
    std::string take(recorder& event, int which = def_ombrel_event_buffer_input) {
        char part[65536];
        const ptrdiff_t size = ombrel_event_pop_buffer(&event.event, which, part, sizeof part);
        EXPECT_GE(size, 0);
        return std::string(part, size > 0 ? static_cast<size_t>(size) : 0);
    }
    socket_pair pair;
};

ptrdiff_t push_formatted(ombrel_event_t* event, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const ptrdiff_t queued = ombrel_event_push_vprintf(event, def_ombrel_event_buffer_output, format, args);
    va_end(args);
    return queued;
}

TEST_F(EventBuffer, HoldsBytesWithoutALoop) {
    recorder event(base, -1, 0);
    char bytes[8] = {};
    EXPECT_EQ(-1, ombrel_event_pop_buffer(&event.event, 1, bytes, 1));
    EXPECT_EQ(-1, ombrel_event_peek_buffer(&event.event, 2, bytes, 1, 0));
    EXPECT_EQ(0, ombrel_event_get_buffer_size(&event.event, 3));
    EXPECT_EQ(10, ombrel_event_push_buffer(&event.event, 3, "hello", 5));
    EXPECT_EQ(3, ombrel_event_push_puts(&event.event, 1, "abc"));
    EXPECT_EQ(4, ombrel_event_push_printf(&event.event, 2, "%s-%d", "n", 42));
    EXPECT_EQ(-1, ombrel_event_push_printf(&event.event, 2, nullptr));
    EXPECT_EQ(8, ombrel_event_get_buffer_size(&event.event, 1));
    EXPECT_EQ(9, ombrel_event_get_buffer_size(&event.event, 2));
    EXPECT_EQ(17, ombrel_event_get_buffer_size(&event.event, 3));
    EXPECT_EQ(3, ombrel_event_peek_buffer(&event.event, 1, bytes, 3, 5));
    EXPECT_EQ("abc", std::string(bytes, 3));
    EXPECT_EQ("helloabc", take(event, 3)) << "bit 1 chooses the input";
    EXPECT_EQ("hellon-42", take(event, 2));
    EXPECT_EQ(5, push_formatted(&event.event, "%03d%s", 7, "th"));
    EXPECT_EQ(-1, push_formatted(nullptr, "text"));
    EXPECT_EQ("007th", take(event, 2));
    EXPECT_EQ(0, ombrel_event_disable_buffer(&event.event, 1));
    EXPECT_EQ(-1, ombrel_event_pop_buffer(&event.event, 1, bytes, 1));
    EXPECT_EQ(0, ombrel_event_pop_buffer(&event.event, 2, bytes, 1));
}

TEST_F(EventBuffer, UnusableEvents) {
    capture errors(stderr);
    ombrel_event_t unassigned{};
    EXPECT_EQ(-1, ombrel_event_enable_buffer(nullptr, 3));
    EXPECT_EQ(-1, ombrel_event_get_buffer_size(&unassigned, 1));
    const std::string text = errors.text();
    EXPECT_EQ(0u, text.find("ombrel_event_enable_buffer: [ERROR] event is null !\n"
                            "ombrel_event_get_buffer_size: [ERROR] event is not initialized ! (event="));
}

TEST_F(EventBuffer, ReadableSocketsFillTheInput) {
    recorder event(base, pair.near(), def_ombrel_event_persist);
    EXPECT_EQ(0, event.add());
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, def_ombrel_event_buffer_input));
    const std::string message(100000, 'm');
    pair.send(message.substr(0, 50000));
    EXPECT_EQ(0, once());
    EXPECT_EQ(50000, ombrel_event_get_buffer_size(&event.event, 1));
    pair.send(message.substr(50000));
    EXPECT_EQ(0, once());
    std::string received = take(event);
    received += take(event);
    EXPECT_EQ(message, received);
    EXPECT_EQ((std::vector<uint32_t>{read_bit, read_bit}), event.results);
}

TEST_F(EventBuffer, HighWatermarkPausesReading) {
    recorder event(base, pair.near(), read_bit | def_ombrel_event_persist);
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 1));
    EXPECT_EQ(0, ombrel_event_set_buffer_watermark(&event.event, 1, 0, 4));
    EXPECT_EQ(0, event.add());
    pair.send("123456");
    EXPECT_EQ(0, once());
    EXPECT_EQ(4, ombrel_event_get_buffer_size(&event.event, 1));
    EXPECT_EQ(0, poll());
    EXPECT_EQ(1u, event.results.size()) << "full: the socket is not watched";
    EXPECT_EQ("1234", take(event));
    EXPECT_EQ(0, once());
    EXPECT_EQ("56", take(event));
}

TEST_F(EventBuffer, TheEndOfTheStreamIsToldOnce) {
    recorder event(base, pair.near(), read_bit | def_ombrel_event_persist);
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 1));
    EXPECT_EQ(0, event.add());
    pair.send("last");
    pair.close_far();
    EXPECT_EQ(0, once());
    if (event.results.size() == 1 && event.results[0] == read_bit) {
        EXPECT_EQ(0, once());
    }
    EXPECT_EQ(read_bit | exception_bit, event.results.back());
    const size_t calls = event.results.size();
    EXPECT_EQ(0, poll());
    EXPECT_EQ(calls, event.results.size());
    EXPECT_EQ("last", take(event));
}

TEST_F(EventBuffer, OutputIsSentFromItsWatermarkOn) {
    recorder event(base, pair.near(), def_ombrel_event_persist);
    EXPECT_EQ(0, event.add());
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 2));
    EXPECT_EQ(0, ombrel_event_set_buffer_watermark(&event.event, 2, 6, 0));
    EXPECT_EQ(5, ombrel_event_push_puts(&event.event, 2, "hello"));
    EXPECT_EQ(0, poll());
    EXPECT_EQ("", pair.receive());
    EXPECT_EQ(1, ombrel_event_push_puts(&event.event, 2, "!"));
    EXPECT_EQ(0, once());
    EXPECT_EQ("hello!", pair.receive());
    EXPECT_EQ(0, ombrel_event_get_buffer_size(&event.event, 2));
    EXPECT_EQ(0, poll());
    EXPECT_EQ(std::vector<uint32_t>{write_bit}, event.results);
}

TEST_F(EventBuffer, LargeOutputGoesOutInPartsWhileInputComesIn) {
    const std::string message(3'000'000, 'z');
    recorder event(base, pair.near(), def_ombrel_event_persist);
    std::string received;
    recorder peer(base, pair.far(), read_bit | def_ombrel_event_persist, [&](recorder&) {
        received += pair.receive();
        if (received.size() >= message.size())
            ombrel_event_base_break_loop(base);
    });
    EXPECT_EQ(0, event.add());
    EXPECT_EQ(0, peer.add(5000));
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 3));
    EXPECT_EQ(3'000'000, ombrel_event_push_buffer(&event.event, 2, message.data(), message.size()));
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_EQ(message, received);
}

TEST_F(EventBuffer, AGonePeerEndsTheOutput) {
    recorder event(base, pair.near(), def_ombrel_event_persist);
    EXPECT_EQ(0, event.add());
    pair.close_far();
    EXPECT_EQ(4, ombrel_event_push_puts(&event.event, 2, "lost"));
    EXPECT_EQ(0, once());
    EXPECT_EQ(std::vector<uint32_t>{write_bit | exception_bit}, event.results);
    EXPECT_EQ(4, ombrel_event_get_buffer_size(&event.event, 2));
    EXPECT_EQ(0, poll());
    EXPECT_EQ(1u, event.results.size());
}

TEST_F(EventBuffer, PipesWork) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    recorder reader(base, ends[0], def_ombrel_event_persist), writer(base, ends[1], def_ombrel_event_persist);
    EXPECT_EQ(0, ombrel_event_enable_buffer(&reader.event, 1));
    EXPECT_EQ(0, reader.add());
    EXPECT_EQ(0, writer.add());
    EXPECT_EQ(6, ombrel_event_push_puts(&writer.event, 2, "piped\n"));
    EXPECT_EQ(0, once());
    EXPECT_EQ(0, once());
    EXPECT_EQ("piped\n", take(reader));
    EXPECT_EQ(0, ombrel_unassign_event(&reader.event));
    EXPECT_EQ(0, ombrel_unassign_event(&writer.event));
    ::close(ends[0]);
    ::close(ends[1]);
}

} // namespace
