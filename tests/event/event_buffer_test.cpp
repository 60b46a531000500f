#include <ombrel/event_buffer.h>

#include <cstdarg>

#include <ombrel/pipe.h>

#include "event/event_fixture.h"

namespace {

using namespace ombrel_test;

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
    EXPECT_EQ(0, ombrel_event_push_puts(&event.event, 3, nullptr));
    EXPECT_EQ(0, ombrel_event_push_puts(&event.event, 0, "for neither"));
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
    ombrel_event_t unassigned{};
    EXPECT_EQ(0u, errors_of([&] {
                      EXPECT_EQ(-1, ombrel_event_enable_buffer(nullptr, 3));
                      EXPECT_EQ(-1, ombrel_event_get_buffer_size(&unassigned, 1));
                  })
                      .find("ombrel_event_enable_buffer: [ERROR] event is null !\n"
                            "ombrel_event_get_buffer_size: [ERROR] event is not initialized ! (event="));
}

TEST_F(EventBuffer, ReadableSocketsFillTheInput) {
    recorder event(base, pair.near(), persist);
    EXPECT_EQ(0, event.add());
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 1));
    const std::string half(50000, 'm');
    for (const int total : {50000, 100000}) {
        pair.send(half);
        once();
        EXPECT_EQ(total, ombrel_event_get_buffer_size(&event.event, 1));
    }
    const std::string first = take(event);
    EXPECT_EQ(half + half, first + take(event));
    EXPECT_EQ((results{on_read, on_read}), event.results);
}

TEST_F(EventBuffer, AFullInputPausesAndTheEndOfTheStreamIsToldOnce) {
    recorder event(base, pair.near(), on_read | persist);
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 1));
    EXPECT_EQ(0, ombrel_event_set_buffer_watermark(&event.event, 1, 0, 4));
    EXPECT_EQ(0, event.add());
    pair.send("123456");
    once();
    EXPECT_EQ(4, ombrel_event_get_buffer_size(&event.event, 1));
    poll();
    EXPECT_EQ(1u, event.results.size()) << "full: the socket is not watched";
    EXPECT_EQ("1234", take(event));
    pair.close_far();
    while (event.results.back() == on_read && event.results.size() < 4)
        ASSERT_NO_FATAL_FAILURE(once());
    EXPECT_EQ(on_read | on_exception, event.results.back());
    const size_t calls = event.results.size();
    poll();
    EXPECT_EQ(calls, event.results.size());
    EXPECT_EQ("56", take(event));
}

TEST_F(EventBuffer, AWatermarkIsOfTheChosenSides) {
    recorder event(base, -1, 0);
    const struct {
        int which;
        size_t output, input;
    } steps[] = {{0, 1, 0}, {1, 1, 21}, {2, 32, 21}, {3, 33, 23}};
    for (const auto& [which, output, input] : steps) {
        const auto step = static_cast<size_t>(which);
        EXPECT_EQ(0, ombrel_event_set_buffer_watermark(&event.event, which, 30 + step, 20 + step));
        EXPECT_EQ(output, event.event.m_output_watermark);
        EXPECT_EQ(input, event.event.m_input_watermark);
    }
}

// What is taken makes room for as much again, whatever of it comes in one part.
TEST_F(EventBuffer, AnInputIsFilledUpToItsWatermarkAndNoFurther) {
    recorder event(base, pair.near(), persist);
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 1));
    EXPECT_EQ(0, ombrel_event_set_buffer_watermark(&event.event, 1, 0, 40000));
    EXPECT_EQ(0, event.add());
    pair.send(std::string(50000, 'm'));
    std::vector<char> taken(40000);
    for (const size_t size : {1, 5000, 3999, 40000}) {
        once();
        ASSERT_EQ(40000, ombrel_event_get_buffer_size(&event.event, 1)) << size;
        EXPECT_EQ(static_cast<ptrdiff_t>(size), ombrel_event_pop_buffer(&event.event, 1, taken.data(), size));
    }
    once();
    EXPECT_EQ(1000, ombrel_event_get_buffer_size(&event.event, 1)) << "the rest";
}

TEST_F(EventBuffer, OutputIsSentFromItsWatermarkOn) {
    recorder event(base, pair.near(), persist);
    EXPECT_EQ(0, event.add());
    EXPECT_EQ(0, ombrel_event_enable_buffer(&event.event, 2));
    EXPECT_EQ(0, ombrel_event_set_buffer_watermark(&event.event, 2, 6, 0));
    EXPECT_EQ(5, ombrel_event_push_puts(&event.event, 2, "hello"));
    poll();
    EXPECT_EQ("", pair.receive());
    EXPECT_EQ(1, ombrel_event_push_puts(&event.event, 2, "!"));
    once();
    EXPECT_EQ("hello!", pair.receive());
    EXPECT_EQ(0, ombrel_event_get_buffer_size(&event.event, 2));
    poll();
    EXPECT_EQ(results{on_write}, event.results);
}

TEST_F(EventBuffer, LargeOutputGoesOutInPartsWhileInputComesIn) {
    const std::string message(3'000'000, 'z');
    recorder event(base, pair.near(), persist);
    std::string received;
    recorder peer(base, pair.far(), on_read | persist, [&](recorder&) {
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

// Room that one event has filled is none for another with the same socket, which is not told anything.
TEST_F(EventBuffer, EventsThatShareASocketShareItsRoom) {
    ombrel_set_tx_socket_buffer_size(pair.near(), 4096);
    const std::string message(1'000'000, 'm');
    socket_pair other;
    recorder first(base, pair.near(), persist), second(base, pair.near(), persist),
        bystander(base, other.near(), on_read | persist);
    add({&first, &second, &bystander});
    for (recorder* event : {&first, &second})
        EXPECT_EQ(1'000'000, ombrel_event_push_buffer(&event->event, 2, message.data(), message.size()));
    other.send("x");
    while (first.results.empty())
        ASSERT_NO_FATAL_FAILURE(once());
    poll(2);
    for (const recorder* event : {&first, &second})
        for (const uint32_t result : event->results)
            EXPECT_EQ(on_write, result);
}

TEST_F(EventBuffer, AGonePeerEndsTheOutput) {
    recorder event(base, pair.near(), persist);
    EXPECT_EQ(0, event.add());
    pair.close_far();
    // The refusal of what was sent first may come back later.
    do {
        EXPECT_EQ(4, ombrel_event_push_puts(&event.event, 2, "lost"));
        once();
    } while (event.results.back() == on_write && event.results.size() < 1000);
    EXPECT_EQ(on_write | on_exception, event.results.back());
    EXPECT_EQ(4, ombrel_event_get_buffer_size(&event.event, 2));
    const size_t calls = event.results.size();
    poll();
    EXPECT_EQ(calls, event.results.size());
}

TEST_F(EventBuffer, PipesWork) {
    int ends[2];
    ASSERT_EQ(0, ombrel_pipe(ends));
    {
        recorder reader(base, ends[0], persist), writer(base, ends[1], persist);
        EXPECT_EQ(0, ombrel_event_enable_buffer(&reader.event, 1));
        add({&reader, &writer});
        EXPECT_EQ(6, ombrel_event_push_puts(&writer.event, 2, "piped\n"));
        once(2);
        EXPECT_EQ("piped\n", take(reader));
    }
    EXPECT_EQ(0, ombrel_destroy_pipe(ends));
}

} // namespace
