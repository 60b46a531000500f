// Random changes of a value list and of the process environment, each against a plain model.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/value.h>

#include "support/require.h"

namespace {

/// The input, taken apart; it gives zeros at its end.
class source {
public:
    source(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    bool is_empty() const { return at_ == end_; }
    unsigned number() { return is_empty() ? 0 : *at_++; }
    /// Of few characters, so that texts meet; of any others rarely.
    std::string text(const char* alphabet, size_t longest) {
        std::string result;
        for (size_t size = number() % (longest + 1); size > 0; size--) {
            const unsigned c = number();
            result += c < 224 ? alphabet[c % strlen(alphabet)] : static_cast<char>(c);
        }
        return result;
    }

private:
    const uint8_t *at_, *end_;
};

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> words;
    for (size_t at = 0; at < list.size();) {
        const size_t end = std::min(list.find('|', at), list.size());
        words.push_back(list.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

bool equal(std::string a, std::string b, bool exact) {
    for (std::string* text : {&a, &b})
        for (char& c : *text)
            if (!exact && c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
    return a == b;
}

using text = std::optional<std::string>;

const char* c_str(const text& which) {
    return which ? which->c_str() : nullptr;
}

struct entry {
    text name;
    std::string data;

    bool is_named(const text& wanted, bool exact) const {
        return wanted && name ? equal(*wanted, *name, exact) : wanted == name;
    }
    bool is_one_of(const text& wanted, bool exact) const {
        if (!wanted || !name)
            return wanted == name;
        const auto words = split(*wanted);
        return std::any_of(words.begin(), words.end(),
                           [&](const std::string& word) { return equal(word, *name, exact); });
    }
};

/// A list and its model, which go through the same changes.
class pair_of_lists {
public:
    pair_of_lists() { ombrel_init_value(&list_); }
    ~pair_of_lists() { require(ombrel_destroy_value(&list_) == 0, "a list is destroyed"); }
    pair_of_lists(const pair_of_lists&) = delete;
    pair_of_lists& operator=(const pair_of_lists&) = delete;

    void step(source& in) {
        const unsigned action = in.number() % 8;
        mode_ = static_cast<int>(in.number());
        exact_ = in.number() % 2 != 0;
        name_ = in.number() % 8 == 0 ? text() : in.text("abAB|", 6);
        data_ = in.text("01", 3);
        list_.m_flags &= ~def_ombrel_value_flag_dirty;
        changed_ = false;
        require(act(action) == 0, "a list takes every change");
        require(((list_.m_flags & def_ombrel_value_flag_dirty) != 0) == changed_,
                "the dirty bit tells a change");
        compare();
        search();
    }

private:
    int act(unsigned action) {
        const char* const name = c_str(name_);
        switch (action) {
        case 0:
            set(name_, data_);
            return ombrel_set_value(&list_, mode_, exact_, name, data_.data(), data_.size());
        case 1:
            for (const std::string& word : name_ ? split(*name_) : std::vector<std::string>())
                set(word, data_);
            if (!name_)
                set(name_, data_);
            return ombrel_multiple_set_value(&list_, mode_, exact_, name, data_.data(), data_.size());
        case 2:
            set(name_, std::to_string(mode_ - 128) + '\0');
            return ombrel_set_value_int_string(&list_, mode_, exact_, name, mode_ - 128);
        case 3:
            set(name_, std::string(data_.size(), '\0'));
            return ombrel_set_value(&list_, mode_, exact_, name, nullptr, data_.size());
        case 4:
            remove([&](const entry& one) { return one.is_named(name_, exact_); });
            return ombrel_remove_value_by_name(&list_, exact_, name);
        case 5:
            remove([&](const entry& one) { return one.is_one_of(name_, exact_) && one.data == data_; });
            return ombrel_multiple_remove_value(&list_, exact_, name, data_.data(), data_.size());
        case 6:
            remove([&](const entry& one) { return one.data == data_; });
            return ombrel_remove_value_by_data(&list_, data_.data(), data_.size());
        default:
            if (mode_ % 16 != 0)
                return 0;
            remove([](const entry&) { return true; });
            return ombrel_reset_value(&list_);
        }
    }

    void set(const text& name, const std::string& data) {
        auto at = model_.end();
        switch (mode_ & 3) {
        case def_ombrel_value_replace_by_name:
            at = find([&](const entry& one) { return one.is_named(name, exact_); });
            if (at != model_.end() && at->data.size() == data.size()) { // in place, under its own name
                changed_ |= at->data != data;
                at->data = data;
                return;
            }
            break;
        case def_ombrel_value_replace_by_data:
            at = find([&](const entry& one) { return one.data == data; });
            break;
        case def_ombrel_value_add_if_absent:
            if (find([&](const entry& one) { return one.is_named(name, exact_) && one.data == data; }) != at)
                return;
            break;
        default:
            break;
        }
        (at == model_.end() ? model_.emplace_back() : *at) = {name, data};
        changed_ = true;
    }
    template<typename Matches>
    void remove(Matches matches) {
        changed_ = std::erase_if(model_, matches) != 0;
    }
    template<typename Matches>
    std::vector<entry>::iterator find(Matches matches) {
        return std::find_if(model_.begin(), model_.end(), matches);
    }

    void compare() {
        const ombrel_value_node_t* at = list_.m_head;
        const ombrel_value_node_t* before = nullptr;
        for (const entry& one : model_) {
            require(at != nullptr && at->m_prev == before, "each entry is there, linked both ways");
            require(one.name ? at->m_name != nullptr && *one.name == at->m_name : at->m_name == nullptr,
                    "name");
            const size_t size = one.data.size();
            require(at->m_size == size && (at->m_data == nullptr) == (size == 0), "size");
            require(size == 0 || memcmp(at->m_data, one.data.data(), size) == 0, "data");
            require(size == 0 || one.data.back() == '\0' ||
                        static_cast<const char*>(at->m_data)[size] == '\0',
                    "readable as a string");
            before = at;
            at = at->m_next;
        }
        require(at == nullptr && list_.m_tail == before, "and no more");
    }

    template<typename Matches>
    const ombrel_value_node_t* node_of(Matches matches) {
        const auto found = find(matches);
        const ombrel_value_node_t* at = list_.m_head;
        for (auto i = model_.begin(); i != found; i++)
            at = at->m_next;
        return at;
    }

    void search() {
        const char* const name = c_str(name_);
        const auto by_name = [&](const entry& one) { return one.is_named(name_, exact_); };
        require(ombrel_multiple_search_value_node_by_name(list_.m_head, exact_, name) ==
                    node_of([&](const entry& one) { return one.is_one_of(name_, exact_); }),
                "one of several names is found");
        require(ombrel_get_value_node(&list_, exact_, name, data_.data(), data_.size()) ==
                    node_of([&](const entry& one) { return by_name(one) && one.data == data_; }),
                "a name with data is found");
        const ombrel_value_node_t* const named = node_of(by_name);
        size_t size = 99;
        const void* const found = ombrel_get_value_by_name(&list_, exact_, name, &size);
        require(found == (named != nullptr ? named->m_data : nullptr), "the data of a name");
        require(size == (named != nullptr ? named->m_size : 0), "their size");
        const bool is_text = found != nullptr && memchr(found, 0, size) != nullptr;
        require(ombrel_get_value_string(&list_, exact_, name) == (is_text ? found : nullptr), "their text");
    }

    ombrel_value_t list_;
    std::vector<entry> model_;
    int mode_ = 0;
    bool exact_ = false, changed_ = false;
    text name_;
    std::string data_;
};

/// Sets or removes one of two variables that nobody else has, and looks for a list of variables.
void check_environment(source& in) {
    static const char* const variables[] = {"OMBREL_FUZZ_A", "OMBREL_FUZZ_B"};
    static text values[2];
    const unsigned which = in.number() % 2;
    values[which] = in.number() % 4 == 0 ? text() : in.text("ab=| ", 5);
    const std::string assignment = variables[which] + (values[which] ? "=" + *values[which] : "");
    require(ombrel_putenv(assignment.c_str()) == 0, "the environment changes");
    std::string names;
    text first;
    for (unsigned count = in.number() % 4; count > 0; count--) {
        const unsigned kind = in.number() % 4;
        names += kind < 2 ? variables[kind] : kind == 2 ? "" : "OMBREL_FUZZ_NONE";
        names += '|';
        if (kind < 2 && !first)
            first = values[kind];
    }
    char* const found = ombrel_alloc_getenv(names.c_str());
    require(found != nullptr ? first == found : !first, "the first that is set is found");
    ombrel_check_free(found);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    {
        source in(data, size);
        pair_of_lists lists;
        for (int steps = 0; steps < 64 && !in.is_empty(); steps++) {
            if (in.number() % 8 == 0)
                check_environment(in);
            else
                lists.step(in);
        }
    }
    require(ombrel_get_alloc_count() == blocks, "nothing is left behind");
    return 0;
}
