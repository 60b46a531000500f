// Addresses to text and back, beside the C library's functions.

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <ombrel/address.h>

namespace {

constexpr size_t mix_size = 1024;

struct sample {
    std::array<uint8_t, 16> raw;
    std::string text;
};

/// What logs and access lists hold: public hosts, private networks, loop-back.
std::array<uint8_t, 16> random_ipv4(std::mt19937& random) {
    std::array<uint8_t, 16> raw{};
    for (size_t i = 0; i < 4; i++)
        raw[i] = static_cast<uint8_t>(random());
    switch (random() % 4) {
    case 0:
        raw[0] = 10;
        break;
    case 1:
        raw[0] = 192, raw[1] = 168;
        break;
    default:
        break;
    }
    return raw;
}

/// Global hosts with and without a zero run, link-local addresses, mapped IPv4 addresses.
std::array<uint8_t, 16> random_ipv6(std::mt19937& random) {
    std::array<uint8_t, 16> raw{0x20, 0x01, 0x0d, 0xb8};
    const auto fill = [&](size_t from) {
        for (size_t i = from; i < raw.size(); i++)
            raw[i] = static_cast<uint8_t>(random());
    };
    switch (random() % 4) {
    case 0:
        fill(4);
        break;
    case 1:
        raw[5] = static_cast<uint8_t>(random());
        fill(14);
        break;
    case 2:
        raw = {0xfe, 0x80};
        fill(8);
        break;
    default:
        raw = {};
        raw[10] = raw[11] = 0xff;
        fill(12);
    }
    return raw;
}

const std::vector<sample>& samples(int family) {
    static const auto make = [](int of_family) {
        std::mt19937 random(3);
        std::vector<sample> mix(mix_size);
        for (sample& s : mix) {
            char text[64];
            s.raw = of_family == AF_INET ? random_ipv4(random) : random_ipv6(random);
            s.text = inet_ntop(of_family, s.raw.data(), text, sizeof text);
        }
        return mix;
    };
    static const std::vector<sample> ipv4 = make(AF_INET), ipv6 = make(AF_INET6);
    return family == AF_INET ? ipv4 : ipv6;
}

template<typename Print>
void to_text(benchmark::State& state, int family, Print print) {
    const auto& mix = samples(family);
    char text[64];
    for (auto _ : state) {
        for (const sample& s : mix) {
            print(family, s.raw.data(), text, sizeof text);
            benchmark::DoNotOptimize(text);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(mix.size()));
}

template<typename Read>
void from_text(benchmark::State& state, int family, Read read) {
    const auto& mix = samples(family);
    std::array<uint8_t, 16> raw;
    for (auto _ : state) {
        for (const sample& s : mix) {
            benchmark::DoNotOptimize(read(family, s.text.c_str(), raw.data()));
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(mix.size()));
}

void ours_to_text(benchmark::State& state, int family) {
    to_text(state, family, ombrel_inet_ntop);
}

void theirs_to_text(benchmark::State& state, int family) {
    to_text(state, family, [](int f, const void* raw, char* text, size_t size) {
        return inet_ntop(f, raw, text, static_cast<socklen_t>(size));
    });
}

void ours_from_text(benchmark::State& state, int family) {
    from_text(state, family, ombrel_inet_pton);
}

void theirs_from_text(benchmark::State& state, int family) {
    from_text(state, family, inet_pton);
}

BENCHMARK_CAPTURE(ours_to_text, ipv4, AF_INET)->Name("IPv4 to text|ombrel");
BENCHMARK_CAPTURE(theirs_to_text, ipv4, AF_INET)->Name("IPv4 to text|inet_ntop");
BENCHMARK_CAPTURE(ours_from_text, ipv4, AF_INET)->Name("IPv4 from text|ombrel");
BENCHMARK_CAPTURE(theirs_from_text, ipv4, AF_INET)->Name("IPv4 from text|inet_pton");
BENCHMARK_CAPTURE(ours_to_text, ipv6, AF_INET6)->Name("IPv6 to text|ombrel");
BENCHMARK_CAPTURE(theirs_to_text, ipv6, AF_INET6)->Name("IPv6 to text|inet_ntop");
BENCHMARK_CAPTURE(ours_from_text, ipv6, AF_INET6)->Name("IPv6 from text|ombrel");
BENCHMARK_CAPTURE(theirs_from_text, ipv6, AF_INET6)->Name("IPv6 from text|inet_pton");

} // namespace
