#include <cstdlib>
#include <string>

#include <ombrel/value.h>

#include "support/heap_balance.h"

namespace {

class ValueTest : public ombrel_test::balanced_test {
protected:
    ValueTest() { ombrel_init_value(&list_); }
    ~ValueTest() override { EXPECT_EQ(0, ombrel_destroy_value(&list_)); }

    void add(const char* name, const char* text) {
        EXPECT_EQ(0, ombrel_set_value_string(&list_, def_ombrel_value_append, 1, name, text));
    }
    /// "name=text" of every entry in order; each link is checked on the way.
    std::string content() const {
        std::string all;
        const ombrel_value_node_t* before = nullptr;
        for (const auto* at = list_.m_head; at != nullptr; before = at, at = at->m_next) {
            EXPECT_EQ(at->m_prev, before);
            all += std::string(at->m_name ? at->m_name : "-") + "=" +
                   (at->m_data ? static_cast<const char*>(at->m_data) : "") + " ";
        }
        EXPECT_EQ(list_.m_tail, before);
        return all;
    }
    /// Runs a change and tells whether it set the dirty flag.
    template<typename Change>
    bool dirties(Change change) {
        list_.m_flags &= ~def_ombrel_value_flag_dirty;
        EXPECT_EQ(0, change());
        return (list_.m_flags & def_ombrel_value_flag_dirty) != 0;
    }

    ombrel_value_t list_;
};

TEST_F(ValueTest, ReplacesByName) {
    const auto set = [&](const void* data, size_t size) {
        return dirties([&] { return ombrel_set_value(&list_, 1, 0, "A", data, size); });
    };
    add("x", "0");
    add("a", "1");
    EXPECT_FALSE(set("1", 2)) << "equal data change nothing";
    const ombrel_value_node_t* node = list_.m_tail;
    const void* place = node->m_data;
    EXPECT_TRUE(set("2", 2));
    EXPECT_EQ(list_.m_tail, node) << "data of the same size are overwritten in place";
    EXPECT_EQ(place, node->m_data);
    EXPECT_TRUE(set("zz", 2)) << "without a terminator of their own";
    EXPECT_EQ(list_.m_tail, node);
    EXPECT_EQ("x=0 a=zz ", content()) << "still readable as a string";
    place = node->m_data;
    for (const char* next : {"yy", static_cast<const char*>(nullptr)}) {
        EXPECT_TRUE(set(next, 2));
        EXPECT_EQ(place, node->m_data) << "there is room for a terminator already";
    }
    EXPECT_EQ("x=0 a= ", content());
    EXPECT_FALSE(set(nullptr, 2));
    EXPECT_TRUE(set("long", 5));
    EXPECT_EQ("x=0 A=long ", content()) << "data of another size come in a new entry";
    EXPECT_TRUE(set(list_.m_tail->m_data, 3)) << "its own data shortened";
    EXPECT_EQ("x=0 A=lon ", content());
}

TEST_F(ValueTest, SetsByTheOtherModes) {
    add("a", "1");
    add("a", "1");
    EXPECT_EQ("a=1 a=1 ", content());
    EXPECT_TRUE(dirties([&] { return ombrel_set_value_string(&list_, 2, 1, "b", "1"); }));
    EXPECT_EQ("b=1 a=1 ", content());
    ombrel_set_value_string(&list_, 2, 1, nullptr, "2");
    EXPECT_EQ("b=1 a=1 -=2 ", content());
    EXPECT_FALSE(dirties([&] { return ombrel_set_value_string(&list_, 3, 0, "A", "1"); }));
    EXPECT_TRUE(dirties([&] { return ombrel_set_value_string(&list_, 7, 1, "A", "1"); }));
    EXPECT_EQ("b=1 a=1 -=2 A=1 ", content());
    EXPECT_EQ(0, ombrel_multiple_set_value_int_string(&list_, 1, 1, "a|n", -7));
    EXPECT_EQ("b=1 a=-7 -=2 A=1 n=-7 ", content());
    EXPECT_EQ(0, ombrel_multiple_set_value_string(&list_, 1, 1, "a|A", nullptr));
    EXPECT_EQ("b=1 a= -=2 A= n=-7 ", content());
    EXPECT_EQ(0, ombrel_multiple_set_value(&list_, 1, 0, "B|N", "xyz", 2));
    EXPECT_EQ("b=xy a= -=2 A= N=xy ", content());
    EXPECT_EQ(0, ombrel_multiple_set_value_string(&list_, 1, 1, nullptr, "4")) << "no name is one, too";
    EXPECT_EQ(0, ombrel_multiple_set_value_string(&list_, 1, 1, "", "5"));
    EXPECT_EQ("b=xy a= -=4 A= N=xy ", content()) << "of no names there is nothing to set";
}

TEST_F(ValueTest, Searches) {
    add("Key", "1");
    add(nullptr, "2");
    add("y", "3");
    EXPECT_EQ(nullptr, ombrel_get_value_node_by_name(&list_, 1, "key"));
    EXPECT_EQ(ombrel_get_value_node_by_name(&list_, 0, "key"), list_.m_head);
    EXPECT_EQ(ombrel_get_value_node_by_name(&list_, 1, nullptr), list_.m_head->m_next);
    EXPECT_EQ(ombrel_multiple_search_value_node_by_name(list_.m_head, 1, "x|y"), list_.m_tail);
    EXPECT_EQ(nullptr, ombrel_multiple_search_value_node_by_name(list_.m_head, 1, "x||"))
        << "an empty alternative is not the missing name";
    EXPECT_EQ(ombrel_multiple_search_value_node(list_.m_head, 0, "Y|KEY", "3", 2), list_.m_tail);
    EXPECT_EQ(nullptr, ombrel_get_value_node(&list_, 1, "y", "1", 2));
    EXPECT_EQ(ombrel_get_value_node_by_data(&list_, "2", 2), list_.m_head->m_next);
    EXPECT_EQ(nullptr, ombrel_search_value_node_by_name(list_.m_tail, 1, "Key")) << "only from the node on";
    EXPECT_EQ(nullptr, ombrel_get_value_node_by_string(&list_, "3")) << "stored with its terminator";
    ombrel_set_value(&list_, 0, 1, "raw", "3", 1);
    ombrel_value_node_t* const raw = list_.m_tail;
    EXPECT_EQ(ombrel_get_value_node_by_string(&list_, "3"), raw);
    EXPECT_EQ(ombrel_search_value_node_by_string(list_.m_head, "3"), raw);
    EXPECT_EQ(ombrel_search_value_node_by_data(list_.m_head->m_next, "3", 2), raw->m_prev);
    EXPECT_EQ(ombrel_search_value_node(list_.m_head, 0, "RAW", "3", 1), raw);
    EXPECT_EQ(nullptr, ombrel_search_value_node(list_.m_head, 1, "RAW", "3", 1));
    EXPECT_TRUE(dirties([&] { return ombrel_remove_value_by_string(&list_, "3"); }));
    EXPECT_EQ("Key=1 -=2 y=3 ", content()) << "stored with its terminator";
}

TEST_F(ValueTest, ReadsData) {
    add("text", "abc");
    ombrel_set_value(&list_, 0, 1, "raw", "xyz", 3);
    ombrel_set_value(&list_, 0, 1, "zero", nullptr, 4);
    size_t size = 99;
    EXPECT_STREQ("xyz", static_cast<char*>(ombrel_get_value_by_name(&list_, 1, "raw", &size)));
    EXPECT_EQ(3u, size);
    EXPECT_EQ(nullptr, ombrel_get_value_by_name(&list_, 1, "none", &size));
    EXPECT_EQ(0u, size);
    EXPECT_STREQ("abc", ombrel_get_value_string(&list_, 0, "TEXT"));
    EXPECT_STREQ("no", ombrel_get_value_string_ex(&list_, 1, "raw", "no"));
    EXPECT_STREQ("", ombrel_get_value_string_ex(&list_, 1, "zero", "no"));
    EXPECT_EQ(nullptr, ombrel_get_value_string(&list_, 1, "none"));
}

TEST_F(ValueTest, Removes) {
    for (const char* name : {"a", "b", "a", "c", "a"})
        add(name, name);
    EXPECT_FALSE(dirties([&] { return ombrel_remove_value_by_name(&list_, 1, "A"); }));
    EXPECT_TRUE(dirties([&] { return ombrel_remove_value_by_name(&list_, 1, list_.m_head->m_name); }))
        << "by a name that goes with its entry";
    EXPECT_EQ("b=b c=c ", content());
    EXPECT_TRUE(dirties([&] { return ombrel_remove_value_by_data(&list_, "c", 2); }));
    EXPECT_EQ("b=b ", content());
    add("d", "1");
    add("D", "1");
    EXPECT_EQ(0, ombrel_remove_value(&list_, 1, "d", "2", 2));
    EXPECT_EQ(0, ombrel_multiple_remove_value(&list_, 1, "b|d", "1", 2));
    EXPECT_EQ("b=b D=1 ", content());
    EXPECT_EQ(0, ombrel_multiple_remove_value_by_name(&list_, 0, "x|d"));
    EXPECT_EQ("b=b ", content());
    EXPECT_TRUE(dirties([&] { return ombrel_reset_value(&list_); }));
    EXPECT_FALSE(dirties([&] { return ombrel_reset_value(&list_); }));
}

TEST_F(ValueTest, RefusesUninitializedHeads) {
    add("a", "1");
    ombrel_value_t raw = {~def_ombrel_value_flag_initialized, list_.m_head, list_.m_tail};
    for (ombrel_value_t* which : {&raw, static_cast<ombrel_value_t*>(nullptr)}) {
        EXPECT_EQ(-1, ombrel_set_value(which, 0, 1, "a", "1", 2));
        EXPECT_EQ(-1, ombrel_set_value_string(which, 0, 1, "a", "1"));
        EXPECT_EQ(-1, ombrel_set_value_int_string(which, 0, 1, "a", 1));
        EXPECT_EQ(-1, ombrel_multiple_set_value(which, 0, 1, nullptr, "1", 2));
        EXPECT_EQ(-1, ombrel_multiple_set_value_string(which, 0, 1, "a|b", "1"));
        EXPECT_EQ(-1, ombrel_multiple_set_value_int_string(which, 0, 1, "a|b", 1));
        EXPECT_EQ(-1, ombrel_remove_value(which, 1, "a", "1", 2));
        EXPECT_EQ(-1, ombrel_remove_value_by_name(which, 1, "a"));
        EXPECT_EQ(-1, ombrel_remove_value_by_data(which, "1", 2));
        EXPECT_EQ(-1, ombrel_remove_value_by_string(which, "1"));
        EXPECT_EQ(-1, ombrel_multiple_remove_value(which, 1, "a", "1", 2));
        EXPECT_EQ(-1, ombrel_multiple_remove_value_by_name(which, 1, "a"));
        EXPECT_EQ(-1, ombrel_reset_value(which));
        EXPECT_EQ(-1, ombrel_destroy_value(which));
        EXPECT_EQ(nullptr, ombrel_get_value_node(which, 1, "a", "1", 2));
        EXPECT_EQ(nullptr, ombrel_get_value_node_by_name(which, 1, "a"));
        EXPECT_EQ(nullptr, ombrel_get_value_node_by_data(which, "1", 2));
        EXPECT_EQ(nullptr, ombrel_get_value_node_by_string(which, "1"));
        EXPECT_EQ(nullptr, ombrel_get_value_by_name(which, 1, "a", nullptr));
        EXPECT_STREQ("no", ombrel_get_value_string_ex(which, 1, "a", "no"));
    }
    EXPECT_EQ("a=1 ", content());
    ombrel_value_t ended;
    EXPECT_EQ(&ended, ombrel_init_value(&ended));
    EXPECT_EQ(0, ombrel_destroy_value(&ended));
    EXPECT_EQ(-1, ombrel_destroy_value(&ended)) << "it has been ended";
    EXPECT_EQ(nullptr, ombrel_init_value(nullptr));
    EXPECT_EQ(-1, ombrel_free_value(nullptr));
    EXPECT_EQ(-1, ombrel_free_value_node(nullptr));
}

TEST_F(ValueTest, OwnsAllocatedHeadsAndChains) {
    ombrel_value_t* head = ombrel_new_value();
    EXPECT_EQ(0x181u, head->m_flags);
    ombrel_set_value_int_string(head, 0, 1, "n", 1);
    EXPECT_EQ(0, ombrel_free_value(head));
    ombrel_value_node_t* first = ombrel_new_value_node("a", "x", 1);
    ombrel_value_node_t* second = ombrel_new_value_node(nullptr, nullptr, 0);
    EXPECT_EQ(first->m_name, reinterpret_cast<char*>(first + 1));
    EXPECT_EQ(nullptr, second->m_data);
    first->m_next = second;
    second->m_prev = first;
    EXPECT_EQ(0, ombrel_free_value_node(second)) << "the whole chain goes";
#if SIZE_MAX > UINT32_MAX
    EXPECT_EQ(nullptr, ombrel_new_value_node("a", "x", size_t{UINT32_MAX} + 1));
#endif
}

TEST_F(ValueTest, ReadsAndSetsTheEnvironment) {
    std::string assignment = "OMBREL_TEST_B=text=1";
    EXPECT_EQ(0, ombrel_putenv(assignment.c_str()));
    assignment.assign(assignment.size(), '#'); // the environment has its own copy
    char* value = ombrel_alloc_getenv("OMBREL_TEST_A||OMBREL_TEST_B");
    EXPECT_STREQ("text=1", value);
    ombrel_free(value);
    int found = 0;
    for (char** at = ombrel_environ(); *at != nullptr; at++)
        found += std::string(*at) == "OMBREL_TEST_B=text=1";
    EXPECT_EQ(1, found);
    EXPECT_EQ(0, ombrel_putenv("OMBREL_TEST_B"));
    EXPECT_EQ(nullptr, ombrel_alloc_getenv("OMBREL_TEST_B"));
    EXPECT_EQ(-1, ombrel_putenv(nullptr));
    EXPECT_EQ(nullptr, ombrel_alloc_getenv(nullptr));
    for (const char* text : {"OMBREL_TEST_NEVER_SET", "OMBREL_TEST_EMPTY=", "OMBREL_TEST_EMPTY", "", "=x"}) {
        // A name alone takes the variable away, also where putenv() wants "NAME=" for that.
        const int expected = text[0] == 'O' ? 0 : putenv(const_cast<char*>(text));
        EXPECT_EQ(ombrel_putenv(text), expected) << '"' << text << '"';
    }
}

} // namespace
