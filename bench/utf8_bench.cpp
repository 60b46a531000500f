// Validation and counting of texts in UTF-8 beside a copy of the same memory and beside GLib; lower-case
// texts beside GLib. "memory|peer" is what validation is to keep half the pace of.

#include <cstring>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <glib.h>

#include <ombrel/charset_detect.h>
#include <ombrel/utf8.h>

namespace {

constexpr std::string_view pieces[] = {
    "Plain text of ASCII letters, as most files have it.\n",
    "Größere Übungen für ältere Söhne, und « déjà vu » à l'été.\n",
    "모든 인간은 태어날 때부터 자유로우며 그 존엄과 권리에 있어 동등하다.\n",
    "😀😃😄😁😆",
};
constexpr const char* names[] = {"ascii", "western", "korean", "emoji"};

std::string make_text(const benchmark::State& state) {
    const std::string_view piece = pieces[state.range(0)];
    std::string text;
    while (text.size() < static_cast<size_t>(state.range(1)))
        text += piece;
    return text;
}

template<typename Work>
void measure(benchmark::State& state, const std::string& text, Work work) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(work());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
    state.SetLabel(names[state.range(0)]);
}

void validate(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] { return ombrel_utf8_check(text.data(), text.size(), nullptr); });
}

void validate_by_glib(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] { return g_utf8_validate_len(text.data(), text.size(), nullptr); });
}

void copy_memory(benchmark::State& state) {
    const std::string text = make_text(state);
    std::string to = text;
    measure(state, text, [&] { return memcpy(to.data(), text.data(), text.size()); });
}

void count(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] { return ombrel_utf8_count(text.data(), text.size()); });
}

void count_by_glib(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] { return g_utf8_strlen(text.data(), static_cast<gssize>(text.size())); });
}

void lower(benchmark::State& state) {
    const std::string text = make_text(state);
    std::string to(3 * text.size() + 1, '\0');
    measure(state, text, [&] {
        return ombrel_utf8_change_case(to.data(), to.size(), text.data(), text.size(), def_ombrel_utf8_lower);
    });
}

void lower_by_glib(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] {
        char* const changed = g_utf8_strdown(text.data(), static_cast<gssize>(text.size()));
        g_free(changed);
        return changed;
    });
}

void columns(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] { return ombrel_utf8_get_columns(text.data(), text.size(), 0); });
}

void detect(benchmark::State& state) {
    const std::string text = make_text(state);
    measure(state, text, [&] {
        ombrel_charset_detection_t found;
        return ombrel_detect_charset(text.data(), text.size(), &found);
    });
}

void sizes(benchmark::internal::Benchmark* of) {
    of->ArgsProduct({{0, 1, 2, 3}, {64, 4096, 64 << 20}});
}

void large(benchmark::internal::Benchmark* of) {
    of->ArgsProduct({{0, 1, 2, 3}, {64 << 20}});
}

void one_size(benchmark::internal::Benchmark* of) {
    of->ArgsProduct({{0, 1, 2, 3}, {65536}});
}

BENCHMARK(validate)->Name("utf8 validate beside memcpy|ombrel")->Apply(large);
BENCHMARK(copy_memory)->Name("utf8 validate beside memcpy|memcpy")->Apply(large);
BENCHMARK(validate)->Name("utf8 validate|ombrel")->Apply(sizes);
BENCHMARK(validate_by_glib)->Name("utf8 validate|glib")->Apply(sizes);
BENCHMARK(count)->Name("utf8 count|ombrel")->Apply(one_size);
BENCHMARK(count_by_glib)->Name("utf8 count|glib")->Apply(one_size);
BENCHMARK(lower)->Name("utf8 lower case|ombrel")->Apply(one_size);
BENCHMARK(lower_by_glib)->Name("utf8 lower case|glib")->Apply(one_size);
BENCHMARK(columns)->Name("utf8 columns|ombrel")->Apply(one_size);
BENCHMARK(detect)->Name("charset detection|ombrel")->Apply(one_size);

} // namespace
