// Random changes of hash tables of all kinds, each against a plain model.

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include <ombrel/hash.h>
#include <ombrel/heap.h>

#include "support/require.h"

namespace {

/// The input, taken apart; it gives zeros at its end.
class source {
public:
    source(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    bool is_empty() const { return at_ == end_; }
    unsigned number() { return is_empty() ? 0 : *at_++; }
    /// Few different ones, so that they meet; some are long.
    std::string key() {
        const unsigned kind = number();
        return std::string(kind % 8 == 7 ? 250 + kind : kind % 24, static_cast<char>(number()));
    }

private:
    const uint8_t *at_, *end_;
};

class pair_of_tables {
public:
    explicit pair_of_tables(unsigned kind) : has_numbers_(kind % 2 != 0), any_case_(kind % 4 == 2) {
        static const uint8_t seed[def_ombrel_hash_seed_size] = {};
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_flags = has_numbers_ ? def_ombrel_hash_numbers : any_case_ ? def_ombrel_hash_any_case : 0;
        options.m_value_size = sizeof(uint32_t);
        options.m_seed = seed;
        table_ = ombrel_open_hash(&options);
    }
    ~pair_of_tables() { require(ombrel_close_hash(table_) == 0); }
    pair_of_tables(const pair_of_tables&) = delete;
    pair_of_tables& operator=(const pair_of_tables&) = delete;

    void step(source& in) {
        const unsigned action = in.number() % 16;
        const std::string key = has_numbers_ ? number_key(in.number()) : in.key();
        const uint32_t value = in.number() + 1;
        if (action < 6)
            put(key, value);
        else if (action < 9)
            require(remove(key) == static_cast<int>(model_.erase(folded(key))),
                    "removal tells what was there");
        else if (action == 9)
            grow(in.number() * 8);
        else if (action == 10)
            require(ombrel_hash_shrink(table_) == 0, "a table shrinks");
        else if (action == 11)
            require(ombrel_hash_reserve(table_, in.number() * 4) == 0, "a table has room");
        else if (action == 12)
            walk(in.number() % 4);
        look_up(key);
        require(ombrel_hash_get_count(table_) == model_.size(), "the number of entries");
    }

private:
    static std::string number_key(uint64_t number) {
        return {reinterpret_cast<const char*>(&number), sizeof number};
    }
    static uint64_t number_of(const std::string& key) {
        uint64_t number;
        memcpy(&number, key.data(), sizeof number);
        return number;
    }
    std::string folded(std::string key) const {
        for (char& c : key)
            c = any_case_ && c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
        return key;
    }

    void put(const std::string& key, uint32_t value) {
        require((has_numbers_ ? ombrel_hash_put_at(table_, number_of(key), &value)
                              : ombrel_hash_put(table_, key.data(), key.size(), &value)) == 0,
                "a value is put");
        model_[folded(key)] = value;
    }
    int remove(const std::string& key) {
        return has_numbers_ ? ombrel_hash_remove_at(table_, number_of(key))
                            : ombrel_hash_remove(table_, key.data(), key.size());
    }
    void look_up(const std::string& key) {
        const void* const found = has_numbers_ ? ombrel_hash_find_at(table_, number_of(key))
                                               : ombrel_hash_find(table_, key.data(), key.size());
        const auto at = model_.find(folded(key));
        require((found != nullptr) == (at != model_.end()), "a key is found if it is there");
        require(found == nullptr || memcmp(found, &at->second, sizeof at->second) == 0, "its value");
    }
    void grow(uint64_t count) {
        for (uint64_t i = 0; i < count; i++)
            put(number_key(1000 + i), static_cast<uint32_t>(i));
    }
    void walk(unsigned removed) {
        size_t met = 0;
        const size_t count = model_.size();
        ombrel_hash_walk_t walk;
        for (ombrel_init_hash_walk(&walk, table_); ombrel_hash_walk_step(&walk) == 1; met++) {
            const std::string key = has_numbers_
                                        ? number_key(walk.m_number)
                                        : folded({static_cast<const char*>(walk.m_key), walk.m_key_size});
            require(model_.count(key) == 1, "what is met is there");
            if (met % 4 >= removed)
                continue;
            require(ombrel_hash_walk_remove(&walk) == 0, "a walk removes");
            model_.erase(key);
        }
        require(met == count, "all are met once");
    }

    const bool has_numbers_, any_case_;
    ombrel_hash_t* table_;
    std::map<std::string, uint32_t> model_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    {
        source in(data, size);
        pair_of_tables tables(in.number());
        for (int steps = 0; steps < 256 && !in.is_empty(); steps++)
            tables.step(in);
    }
    require(ombrel_get_alloc_count() == blocks, "nothing is left behind");
    return 0;
}
