// Base64 in one call beside OpenSSL's libcrypto. Each of our calls makes a block of the heap for its result;
// the peer writes into memory that it is given.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <ombrel/base64.h>
#include <ombrel/heap.h>

namespace {

std::vector<unsigned char> make_bytes(const benchmark::State& state) {
    std::vector<unsigned char> bytes(static_cast<size_t>(state.range(0)) / 3 * 3);
    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
    return bytes;
}

std::string make_text(const benchmark::State& state) {
    const std::vector<unsigned char> bytes = make_bytes(state);
    std::string text(bytes.size() / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

template<typename Work>
void measure(benchmark::State& state, Work work) {
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void encode(benchmark::State& state) {
    const auto bytes = make_bytes(state);
    measure(state, [&] {
        size_t size;
        char* text = ombrel_encode_base64(bytes.data(), bytes.size(), &size);
        benchmark::DoNotOptimize(text);
        ombrel_free(text);
    });
}

void encode_by_libcrypto(benchmark::State& state) {
    const auto bytes = make_bytes(state);
    std::vector<unsigned char> text(bytes.size() / 3 * 4 + 1);
    measure(state, [&] { EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size())); });
}

void decode(benchmark::State& state) {
    const auto text = make_text(state);
    measure(state, [&] {
        size_t size;
        char* bytes = ombrel_decode_base64(text.data(), text.size(), &size);
        benchmark::DoNotOptimize(bytes);
        ombrel_free(bytes);
    });
}

void decode_by_libcrypto(benchmark::State& state) {
    const auto text = make_text(state);
    std::vector<unsigned char> bytes(text.size());
    measure(state, [&] {
        EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
    });
}

// A stream in pieces, wrapped as mail wants it, beside the peer's own stream of lines.
constexpr size_t piece = 4096;

void stream(benchmark::State& state) {
    const auto bytes = make_bytes(state);
    measure(state, [&] {
        ombrel_base64_t* coder = ombrel_open_base64();
        coder->m_line_width = 64;
        for (size_t at = 0; at < bytes.size(); at += piece) {
            ombrel_push_encode_base64(coder, bytes.data() + at, std::min(piece, bytes.size() - at));
            ombrel_free(ombrel_get_base64(coder, nullptr));
        }
        ombrel_push_encode_base64(coder, nullptr, 0);
        ombrel_close_base64(coder);
    });
}

void stream_by_libcrypto(benchmark::State& state) {
    const auto bytes = make_bytes(state);
    std::vector<unsigned char> text(2 * piece);
    EVP_ENCODE_CTX* context = EVP_ENCODE_CTX_new();
    measure(state, [&] {
        int size;
        EVP_EncodeInit(context);
        for (size_t at = 0; at < bytes.size(); at += piece)
            EVP_EncodeUpdate(context, text.data(), &size, bytes.data() + at,
                             static_cast<int>(std::min(piece, bytes.size() - at)));
        EVP_EncodeFinal(context, text.data(), &size);
    });
    EVP_ENCODE_CTX_free(context);
}

BENCHMARK(encode)->Name("base64 encode|ombrel")->Arg(16384)->Arg(1 << 20);
BENCHMARK(encode_by_libcrypto)->Name("base64 encode|libcrypto")->Arg(16384)->Arg(1 << 20);
BENCHMARK(decode)->Name("base64 decode|ombrel")->Arg(16384)->Arg(1 << 20);
BENCHMARK(decode_by_libcrypto)->Name("base64 decode|libcrypto")->Arg(16384)->Arg(1 << 20);
BENCHMARK(stream)->Name("base64 encode lines|ombrel")->Arg(1 << 20);
BENCHMARK(stream_by_libcrypto)->Name("base64 encode lines|libcrypto")->Arg(1 << 20);

} // namespace
