#include "network/resolver_cache_entry.h"

#include <bit>
#include <cstring>

#include <ombrel/heap.h>

#include "platform/random.h"

namespace ombrel {

namespace {

constexpr const char tag[] = "ombrel_request_resolver_cache_with_handler";
constexpr size_t least_buckets = 16;

/// SipHash-1-3: fast for short texts, and nothing about it can be guessed without the secret.
class keyed_hash {
public:
    explicit keyed_hash(const uint64_t (&secret)[2])
        : v0_(secret[0] ^ 0x736F6D6570736575u), v1_(secret[1] ^ 0x646F72616E646F6Du),
          v2_(secret[0] ^ 0x6C7967656E657261u), v3_(secret[1] ^ 0x7465646279746573u) {}

    void add(uint64_t word) {
        v3_ ^= word;
        mix();
        v0_ ^= word;
    }
    uint64_t end() {
        v2_ ^= 0xFF;
        for (int i = 0; i < 3; i++)
            mix();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

private:
    void mix() {
        v0_ += v1_, v1_ = std::rotl(v1_, 13) ^ v0_, v0_ = std::rotl(v0_, 32);
        v2_ += v3_, v3_ = std::rotl(v3_, 16) ^ v2_;
        v0_ += v3_, v3_ = std::rotl(v3_, 21) ^ v0_;
        v2_ += v1_, v1_ = std::rotl(v1_, 17) ^ v2_, v2_ = std::rotl(v2_, 32);
    }

    uint64_t v0_, v1_, v2_, v3_;
};

bool same(cache_key a, cache_key b) {
    return a.port == b.port && strcmp(a.name, b.name) == 0;
}

} // namespace

cache_entry* new_cache_entry(cache_key key, const char* caller, unsigned long line) {
    const size_t name_size = strlen(key.name) + 1;
    auto* const entry =
        static_cast<cache_entry*>(ombrel_alloc_tag(sizeof(cache_entry) + name_size, caller, line));
    if (entry == nullptr)
        return nullptr;
    char* const name = reinterpret_cast<char*>(entry + 1);
    memcpy(name, key.name, name_size);
    *entry = {};
    entry->key = {name, key.port};
    return entry;
}

void free_cache_entry(cache_entry* entry) {
    ombrel_close_resolver(entry->answer);
    ombrel_free(entry);
}

uint64_t cache_table::hash(cache_key key) const {
    keyed_hash hash(secret_);
    const size_t size = strlen(key.name);
    for (size_t at = 0; at < size; at += sizeof(uint64_t)) {
        uint64_t word = 0;
        memcpy(&word, key.name + at, size - at < sizeof word ? size - at : sizeof word);
        hash.add(word);
    }
    hash.add(static_cast<uint64_t>(size) << 32 | static_cast<uint32_t>(key.port));
    return hash.end();
}

cache_entry* cache_table::find(cache_key key) const {
    if (bucket_count_ == 0)
        return nullptr;
    const uint64_t wanted = hash(key);
    cache_entry* entry = bucket_of(wanted);
    while (entry != nullptr && !(entry->hash == wanted && same(entry->key, key)))
        entry = entry->next_of_bucket;
    return entry;
}

// A table that cannot grow is only slower.
void cache_table::grow() {
    const size_t count = bucket_count_ == 0 ? least_buckets : bucket_count_ * 2;
    auto** const buckets =
        static_cast<cache_entry**>(ombrel_calloc_tag(count, sizeof(cache_entry*), tag, __LINE__));
    if (buckets == nullptr)
        return;
    if (bucket_count_ == 0)
        platform::fill_random(secret_, sizeof secret_);
    const cache_table old = *this;
    buckets_ = buckets;
    bucket_count_ = count;
    for (size_t i = 0; i < old.bucket_count_; i++) {
        for (cache_entry* entry = old.buckets_[i]; entry != nullptr;) {
            cache_entry* const next = entry->next_of_bucket;
            cache_entry*& bucket = bucket_of(entry->hash);
            entry->next_of_bucket = bucket;
            bucket = entry;
            entry = next;
        }
    }
    ombrel_check_free_tag(old.buckets_, tag, __LINE__);
}

bool cache_table::insert(cache_entry* entry) {
    if (count_ >= bucket_count_)
        grow();
    if (bucket_count_ == 0)
        return false;
    entry->hash = hash(entry->key);
    cache_entry*& bucket = bucket_of(entry->hash);
    entry->next_of_bucket = bucket;
    bucket = entry;
    count_++;
    return true;
}

void cache_table::clear() {
    drop_if([](const cache_entry&) { return true; });
    ombrel_check_free_tag(buckets_, tag, __LINE__);
    *this = {};
}

void request_queue::append(cache_entry* entry) {
    entry->next_request = nullptr;
    (first == nullptr ? first : last->next_request) = entry;
    last = entry;
}

cache_entry* request_queue::take_first() {
    cache_entry* const entry = first;
    if (entry != nullptr)
        first = entry->next_request;
    return entry;
}

} // namespace ombrel
