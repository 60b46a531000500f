#include <ombrel/crc.h>
#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>

#include <array>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <zlib.h>

namespace {

std::vector<unsigned char> input(const benchmark::State& state) {
    std::vector<unsigned char> bytes(static_cast<size_t>(state.range(0)));
    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
    return bytes;
}

template<typename Work>
void measure(benchmark::State& state, Work work) {
    const std::vector<unsigned char> bytes = input(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(work(bytes.data(), bytes.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// One table of 256 entries and a step for each byte, as most programs have it.
template<typename Register>
class table_loop {
public:
    explicit table_loop(Register polynomial) {
        for (size_t byte = 0; byte < 256; byte++) {
            auto crc = static_cast<Register>(byte);
            for (int bit = 0; bit < 8; bit++)
                crc = static_cast<Register>(crc >> 1 ^ ((crc & 1) != 0 ? polynomial : 0));
            table_[byte] = crc;
        }
    }
    Register operator()(const unsigned char* data, size_t size) const {
        Register crc = 0;
        for (; size > 0; size--, data++)
            crc = static_cast<Register>(crc >> 8 ^ table_[(crc ^ *data) & 255]);
        return crc;
    }

private:
    std::array<Register, 256> table_;
};

void crc16_ombrel(benchmark::State& state) {
    measure(state,
            [](const unsigned char* data, size_t size) { return ombrel_crc16_ccitt(0, 0, data, size); });
}
void crc16_table(benchmark::State& state) {
    measure(state, table_loop<uint16_t>(0x8408));
}
void crc32_ombrel(benchmark::State& state) {
    measure(state,
            [](const unsigned char* data, size_t size) { return ombrel_crc32_ieee_802_3(0, 0, data, size); });
}
void crc32_zlib(benchmark::State& state) {
    measure(state, [](const unsigned char* data, size_t size) { return crc32_z(0, data, size); });
}
void crc64_ombrel(benchmark::State& state) {
    measure(state, [](const unsigned char* data, size_t size) { return ombrel_crc64_iso(0, 0, data, size); });
}
void crc64_table(benchmark::State& state) {
    measure(state, table_loop<uint64_t>(0xD800000000000000));
}

template<typename Context, Context* (*init)(Context*), const void* (*push)(Context*, const void*, size_t),
         const char* (*digest)(Context*, void*)>
void digest_ombrel(benchmark::State& state) {
    measure(state, [](const unsigned char* data, size_t size) {
        Context ctx;
        unsigned char out[32];
        push(init(&ctx), data, size);
        digest(&ctx, out);
        return out[0];
    });
}

// The context and the algorithm are fetched once: what is measured is the hashing.
void digest_libcrypto(benchmark::State& state, const char* name) {
    EVP_MD* algorithm = EVP_MD_fetch(nullptr, name, nullptr);
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    measure(state, [=](const unsigned char* data, size_t size) {
        unsigned char out[32];
        EVP_DigestInit_ex(ctx, algorithm, nullptr);
        EVP_DigestUpdate(ctx, data, size);
        EVP_DigestFinal_ex(ctx, out, nullptr);
        return out[0];
    });
    EVP_MD_CTX_free(ctx);
    EVP_MD_free(algorithm);
}

void md5_ombrel(benchmark::State& state) {
    digest_ombrel<ombrel_md5_t, ombrel_init_md5, ombrel_md5_push, ombrel_md5_digest>(state);
}
void sha1_ombrel(benchmark::State& state) {
    digest_ombrel<ombrel_sha1_t, ombrel_init_sha1, ombrel_sha1_push, ombrel_sha1_digest>(state);
}
void sha256_ombrel(benchmark::State& state) {
    digest_ombrel<ombrel_sha256_t, ombrel_init_sha256, ombrel_sha256_push, ombrel_sha256_digest>(state);
}

void block_sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(16 << 10)->Arg(1 << 20);
}

BENCHMARK(crc16_ombrel)->Name("CRC-16|ombrel")->Apply(block_sizes);
BENCHMARK(crc16_table)->Name("CRC-16|table loop")->Apply(block_sizes);
BENCHMARK(crc32_ombrel)->Name("CRC-32|ombrel")->Apply(block_sizes);
BENCHMARK(crc32_zlib)->Name("CRC-32|zlib")->Apply(block_sizes);
BENCHMARK(crc64_ombrel)->Name("CRC-64|ombrel")->Apply(block_sizes);
BENCHMARK(crc64_table)->Name("CRC-64|table loop")->Apply(block_sizes);
BENCHMARK(md5_ombrel)->Name("MD5|ombrel")->Apply(block_sizes);
BENCHMARK_CAPTURE(digest_libcrypto, md5, "MD5")->Name("MD5|libcrypto")->Apply(block_sizes);
BENCHMARK(sha1_ombrel)->Name("SHA-1|ombrel")->Apply(block_sizes);
BENCHMARK_CAPTURE(digest_libcrypto, sha1, "SHA1")->Name("SHA-1|libcrypto")->Apply(block_sizes);
BENCHMARK(sha256_ombrel)->Name("SHA-256|ombrel")->Apply(block_sizes);
BENCHMARK_CAPTURE(digest_libcrypto, sha256, "SHA256")->Name("SHA-256|libcrypto")->Apply(block_sizes);

} // namespace
