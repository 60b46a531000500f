// Identifiers: those that others have published, and what makes them unique.
#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/random.h>
#include <ombrel/uuid.h>

#include "support/child.h"
#include "support/threads.h"
#include "support/time_travel.h"

namespace ombrel_test {
namespace {

std::string text_of(const ombrel_uuid_t& uuid, uint32_t flags = 0) {
    char text[def_ombrel_uuid_text_size];
    EXPECT_LT(0, ombrel_format_uuid(text, sizeof text, &uuid, flags));
    return text;
}

ombrel_uuid_t read_uuid(const char* text) {
    ombrel_uuid_t uuid{};
    EXPECT_EQ(0, ombrel_parse_uuid(text, 0, &uuid, nullptr)) << text;
    return uuid;
}

bool is_before(const ombrel_uuid_t& a, const ombrel_uuid_t& b) {
    return ombrel_compare_uuids(&a, &b) < 0;
}

TEST(Uuid, PublishedOnesHaveTheirVersionsVariantsAndTimes) {
    const struct {
        const char* text;
        int variant, version;
        int64_t second; // -1: no time
        int32_t nanosecond;
    } cases[] = {{"c232ab00-9414-11ec-b3c8-9f6bdeced846", 1, 1, 1'645'557'742, 0},
                 {"1ec9414c-232a-6b00-b3c8-9f6bdeced846", 1, 6, 1'645'557'742, 0},
                 {"017f22e2-79b0-7cc3-98c4-dc0c0c07398f", 1, 7, 1'645'557'742, 0},
                 {"f81d4fae-7dec-11d0-a765-00a0c91e6bf6", 1, 1, 854'991'792, 216'875'000},
                 {"5df41881-3aed-3515-88a7-2f4a814cf09e", 1, 3, -1, 0},
                 {"919108f7-52d1-4320-9bac-f847db4148a8", 1, 4, -1, 0},
                 {"2489e9ad-2ee2-8e00-8ec9-32d5f69181c0", 1, 8, -1, 0},
                 {"00000000-0000-1000-0000-000000000000", 0, -1, -1, 0},
                 {"00000000-0000-1000-c000-000000000000", 2, -1, -1, 0},
                 {"ffffffff-ffff-ffff-ffff-ffffffffffff", 3, -1, -1, 0}};
    for (const auto& expected : cases) {
        const ombrel_uuid_t uuid = read_uuid(expected.text);
        ombrel_instant_t instant{-1, 0};
        EXPECT_EQ(expected.text, text_of(uuid));
        EXPECT_EQ(expected.variant, ombrel_get_uuid_variant(&uuid));
        EXPECT_EQ(expected.version, ombrel_get_uuid_version(&uuid));
        EXPECT_EQ(expected.second < 0 ? -1 : 0, ombrel_get_uuid_instant(&uuid, &instant));
        EXPECT_EQ(std::pair(expected.second, expected.nanosecond),
                  std::pair(instant.m_seconds, instant.m_nanoseconds));
    }
    EXPECT_EQ("ffffffff-ffff-ffff-ffff-ffffffffffff", text_of(*ombrel_find_uuid("max")));
    EXPECT_EQ(1, ombrel_is_nil_uuid(ombrel_find_uuid("nil")));
    EXPECT_EQ(0, ombrel_is_nil_uuid(ombrel_find_uuid("dns")));
    EXPECT_EQ(-1, ombrel_get_uuid_version(nullptr));
    EXPECT_EQ(-1, ombrel_compare_uuids(nullptr, ombrel_find_uuid("nil")));
}

TEST(Uuid, NamesGiveThePublishedOnes) {
    const struct {
        int version;
        const char *space, *name, *text;
    } cases[] = {{3, "dns", "www.example.com", "5df41881-3aed-3515-88a7-2f4a814cf09e"},
                 {5, "dns", "www.example.com", "2ed6657d-e927-568b-95e1-2665a8aea6a2"},
                 {8, "dns", "www.example.com", "5c146b14-3c52-8afd-938a-375d0df1fbf6"},
                 {5, "url", "", "1b4db7eb-4057-5ddf-91e0-36dec72071f5"},
                 {3, "oid", "1.2", "f28f378a-0fa7-30f4-b420-e3aa6f55e9e5"},
                 {5, "x500", "cn=a", "5c1fcbd6-0ab9-5b0d-9d61-5bcbb36ee6d0"}};
    for (const auto& expected : cases) {
        ombrel_uuid_t uuid{};
        EXPECT_EQ(0, ombrel_make_name_uuid(expected.version, ombrel_find_uuid(expected.space), expected.name,
                                           strlen(expected.name), &uuid));
        EXPECT_EQ(expected.text, text_of(uuid));
    }
    ombrel_uuid_t uuid = *ombrel_find_uuid("max");
    for (const int version : {0, 1, 2, 4, 7, 9})
        EXPECT_EQ(-1, ombrel_make_name_uuid(version, &uuid, "", 0, &uuid));
    EXPECT_EQ(-1, ombrel_make_name_uuid(5, nullptr, "", 0, &uuid));
    EXPECT_EQ(-1, ombrel_make_name_uuid(5, &uuid, nullptr, 1, &uuid));
    EXPECT_EQ(nullptr, ombrel_find_uuid("DNS"));
    EXPECT_EQ(0, ombrel_make_custom_uuid(uuid.m_bytes, &uuid));
    EXPECT_EQ("ffffffff-ffff-8fff-bfff-ffffffffffff", text_of(uuid));
}

TEST(Uuid, TextsAreReadInTheFormsThatAreAllowed) {
    constexpr uint32_t braces = def_ombrel_uuid_braces, urn = def_ombrel_uuid_urn,
                       bare = def_ombrel_uuid_bare;
    const std::string plain = "c232ab00-9414-11ec-b3c8-9f6bdeced846";
    const struct {
        std::string text;
        uint32_t flags;
        int fault_at; // -1: none
    } cases[] = {{plain, 0, -1},
                 {plain, braces | urn | bare, -1},
                 {"C232AB00-9414-11EC-B3C8-9F6BDECED846", 0, -1},
                 {"{" + plain + "}", braces, -1},
                 {"URN:uuid:" + plain, urn, -1},
                 {"urn:uuid:{" + plain + "}", urn | braces, -1},
                 {"c232ab00941411ecb3c89f6bdeced846", bare, -1},
                 {"{c232ab00941411ecb3c89f6bdeced846}", bare | braces, -1},
                 {"{" + plain + "}", urn, 0},
                 {"{" + plain, braces, 37},
                 {"{" + plain + "}}", braces, 37},
                 {plain + "}", braces, 36},
                 {"urn:uuid:" + plain, braces, 0},
                 {"urn:uuid:" + plain.substr(0, 35), urn, 44},
                 {plain + " ", 0, 36},
                 {" " + plain, 0, 0},
                 {"c232ab00941411ecb3c89f6bdeced846", 0, 8},
                 {"c232ab00-941411ecb3c89f6bdeced846", bare, 13},
                 {"c232ab009414-11ecb3c89f6bdeced846", bare, 12},
                 {"c232ab0g-9414-11ec-b3c8-9f6bdeced846", 0, 7},
                 {"c232ab00-9414-11ec-b3c8-9f6bdeced84-", 0, 35},
                 {"", braces | urn | bare, 0}};
    for (const auto& expected : cases) {
        ombrel_uuid_t uuid{};
        size_t fault_at = 99;
        EXPECT_EQ(expected.fault_at < 0 ? 0 : -1,
                  ombrel_parse_uuid(expected.text.c_str(), expected.flags, &uuid, &fault_at))
            << expected.text;
        EXPECT_EQ(expected.fault_at < 0 ? 99 : static_cast<size_t>(expected.fault_at), fault_at)
            << expected.text;
        EXPECT_EQ(expected.fault_at < 0 ? plain : text_of(*ombrel_find_uuid("nil")), text_of(uuid));
    }
    const ombrel_uuid_t uuid = read_uuid(plain.c_str());
    EXPECT_EQ("urn:uuid:{C232AB00-9414-11EC-B3C8-9F6BDECED846}",
              text_of(uuid, def_ombrel_uuid_upper | urn | braces));
    EXPECT_EQ("c232ab00941411ecb3c89f6bdeced846", text_of(uuid, bare));
    for (size_t size = 0; size < 40; size++) {
        std::string buffer(48, '#');
        const size_t stored = size == 0 ? 0 : std::min(size - 1, plain.size());
        EXPECT_EQ(static_cast<int>(stored), ombrel_format_uuid(buffer.data(), size, &uuid, 0));
        EXPECT_EQ(size == 0 ? "" : plain.substr(0, stored) + '\0',
                  buffer.substr(0, size == 0 ? 0 : stored + 1));
        EXPECT_EQ(std::string(47 - stored, '#').substr(size == 0 ? 0 : 0),
                  buffer.substr(size == 0 ? 1 : stored + 1));
    }
    EXPECT_EQ(-1, ombrel_format_uuid(nullptr, 5, &uuid, 0));
    EXPECT_EQ(-1, ombrel_parse_uuid(nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST(Uuid, ThoseWithATimeFollowOneAnotherInAllThreads) {
    for (const int version : {1, 6, 7}) {
        constexpr int threads = 4, each = 3000;
        std::vector<ombrel_uuid_t> made[threads];
        ombrel_instant_t before, after, instant;
        EXPECT_EQ(0, ombrel_get_instant(&before));
        in_threads(threads, [&](int i) {
            for (int n = 0; n < each; n++) {
                ombrel_uuid_t uuid;
                EXPECT_EQ(0, ombrel_make_uuid(version, &uuid));
                made[i].push_back(uuid);
            }
        });
        EXPECT_EQ(0, ombrel_get_instant(&after));
        std::set<std::string> different;
        for (const auto& of_thread : made) {
            EXPECT_TRUE(version == 1 || std::is_sorted(of_thread.begin(), of_thread.end(), is_before));
            for (const ombrel_uuid_t& uuid : of_thread) {
                different.insert(text_of(uuid).substr(0, version == 7 ? 18 : 36));
                EXPECT_EQ(version, ombrel_get_uuid_version(&uuid));
                EXPECT_EQ(def_ombrel_uuid_variant_standard, ombrel_get_uuid_variant(&uuid));
            }
            EXPECT_EQ(0, ombrel_get_uuid_instant(&of_thread[0], &instant));
            EXPECT_LE(before.m_seconds - 1, instant.m_seconds);
            EXPECT_LE(instant.m_seconds, after.m_seconds + 1);
        }
        EXPECT_EQ(size_t{threads * each}, different.size());
    }
}

TEST(Uuid, AClockThatGoesBackGivesNoneTwice) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    for (const int version : {6, 7}) {
        ombrel_uuid_t first, second;
        EXPECT_EQ(0, ombrel_make_uuid(version, &first));
        {
            time_travel clock;
            clock.go_to(1'700'000'000);
            EXPECT_EQ(0, ombrel_make_uuid(version, &second));
        }
        EXPECT_TRUE(is_before(first, second));
    }
}

TEST(Uuid, TheNodeIsRandomOrAsSet) {
    ombrel_uuid_t random, same, given, again;
    const uint8_t node[def_ombrel_uuid_node_size] = {2, 1, 2, 3, 4, 5};
    EXPECT_EQ(0, ombrel_set_uuid_node(nullptr));
    EXPECT_EQ(0, ombrel_make_uuid(1, &random));
    EXPECT_EQ(0, ombrel_make_uuid(6, &same));
    EXPECT_EQ(0, memcmp(random.m_bytes + 8, same.m_bytes + 8, 8));
    EXPECT_EQ(1, random.m_bytes[10] & 1);
    EXPECT_EQ(0, ombrel_set_uuid_node(node));
    EXPECT_EQ(0, ombrel_make_uuid(1, &given));
    EXPECT_EQ(0, memcmp(node, given.m_bytes + 10, sizeof node));
    EXPECT_EQ(0, ombrel_set_uuid_node(nullptr));
    EXPECT_EQ(0, ombrel_make_uuid(1, &again));
    EXPECT_NE(0, memcmp(random.m_bytes + 10, again.m_bytes + 10, 6));
    for (const int version : {-1, 0, 2, 3, 5, 8})
        EXPECT_EQ(-1, ombrel_make_uuid(version, &again));
}

TEST(Uuid, AChildThatIsForkedHasAnotherNode) {
    OMBREL_TEST_NEEDS_FORK();
    ombrel_uuid_t own;
    EXPECT_EQ(0, ombrel_make_uuid(1, &own));
    EXPECT_EQ(0, in_child([&own] {
                  ombrel_uuid_t childs, next;
                  return ombrel_make_uuid(1, &childs) == 0 && ombrel_make_uuid(6, &next) == 0 &&
                         memcmp(own.m_bytes + 10, childs.m_bytes + 10, 6) != 0 &&
                         memcmp(childs.m_bytes + 8, next.m_bytes + 8, 8) == 0;
              }));
}

TEST(RandomBytes, FillWhatTheyAreToFill) {
    std::vector<uint8_t> bytes(5000, 0), other(5000, 0);
    EXPECT_EQ(0, ombrel_get_random_bytes(bytes.data(), 4999));
    EXPECT_EQ(0, ombrel_get_random_bytes(other.data(), 4999));
    EXPECT_EQ(0, bytes[4999]);
    for (size_t at = 0; at + 16 < 4999; at += 100) // nothing was left out, nothing came twice
        EXPECT_NE(0, memcmp(&bytes[at], &other[at], 16));
    EXPECT_EQ(0, ombrel_get_random_bytes(nullptr, 0));
    EXPECT_EQ(-1, ombrel_get_random_bytes(nullptr, 1));
}

} // namespace
} // namespace ombrel_test
