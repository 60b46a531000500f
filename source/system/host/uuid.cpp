#include <ombrel/uuid.h>

#include <cstring>
#include <string_view>

#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>

#include "core/fault.h"
#include "platform/random.h"
#include "system/host/uuid_clock.h"
#include "system/host/uuid_fields.h"

using namespace ombrel::system;

namespace {

struct known_uuid {
    std::string_view name;
    ombrel_uuid_t uuid;
};

/// The namespaces differ in one byte.
constexpr ombrel_uuid_t namespace_of(uint8_t number) {
    return {
        {0x6b, 0xa7, 0xb8, number, 0x9d, 0xad, 0x11, 0xd1, 0x80, 0xb4, 0x00, 0xc0, 0x4f, 0xd4, 0x30, 0xc8}};
}

constexpr ombrel_uuid_t max_uuid = {
    {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
constexpr ombrel_uuid_t nil_uuid = {};

constexpr known_uuid known_uuids[] = {{"dns", namespace_of(0x10)}, {"url", namespace_of(0x11)},
                                      {"oid", namespace_of(0x12)}, {"x500", namespace_of(0x14)},
                                      {"nil", nil_uuid},           {"max", max_uuid}};

int refuse() {
    ombrel::leave_fault(ombrel::fault_code::invalid);
    return -1;
}

/// The first bytes of a digest over both.
template<typename Context, size_t digest_size>
void digest_name(Context* (*init)(Context*), const void* (*push)(Context*, const void*, size_t),
                 const char* (*digest)(Context*, void*), const ombrel_uuid_t& space, const void* name,
                 size_t size, ombrel_uuid_t& uuid) {
    Context context;
    uint8_t bytes[digest_size];
    init(&context);
    push(&context, space.m_bytes, sizeof space.m_bytes);
    push(&context, name, size);
    digest(&context, bytes);
    memcpy(uuid.m_bytes, bytes, sizeof uuid.m_bytes);
}

/// Ticks since 1582 of version 1 or 6.
uint64_t ticks_of(const uint8_t* bytes, int version) {
    if (version == 6)
        return number_at(bytes, 6) << 12 | (number_at(bytes + 6, 2) & 0xFFF);
    return (number_at(bytes + 6, 2) & 0xFFF) << 48 | number_at(bytes + 4, 2) << 32 | number_at(bytes, 4);
}

} // namespace

int ombrel_make_uuid(int version, ombrel_uuid_t* uuid) {
    if (uuid == nullptr || (version != 1 && version != 4 && version != 6 && version != 7))
        return refuse();
    ombrel_uuid_t made;
    if (version == 4 ? !ombrel::platform::ask_for_random(made.m_bytes, sizeof made.m_bytes)
                     : !make_clock_uuid(version, made))
        return -1;
    *uuid = made;
    mark_version(*uuid, version);
    return 0;
}

int ombrel_make_name_uuid(int version, const ombrel_uuid_t* space, const void* name, size_t size,
                          ombrel_uuid_t* uuid) {
    if (space == nullptr || (name == nullptr && size != 0) || uuid == nullptr)
        return refuse();
    ombrel_uuid_t made;
    switch (version) {
    case 3:
        digest_name<ombrel_md5_t, def_ombrel_md5_size>(ombrel_init_md5, ombrel_md5_push, ombrel_md5_digest,
                                                       *space, name, size, made);
        break;
    case 5:
        digest_name<ombrel_sha1_t, def_ombrel_sha1_size>(ombrel_init_sha1, ombrel_sha1_push,
                                                         ombrel_sha1_digest, *space, name, size, made);
        break;
    case 8:
        digest_name<ombrel_sha256_t, def_ombrel_sha256_size>(ombrel_init_sha256, ombrel_sha256_push,
                                                             ombrel_sha256_digest, *space, name, size, made);
        break;
    default:
        return refuse();
    }
    mark_version(made, version);
    *uuid = made;
    return 0;
}

int ombrel_make_custom_uuid(const uint8_t* bytes, ombrel_uuid_t* uuid) {
    if (bytes == nullptr || uuid == nullptr)
        return refuse();
    memmove(uuid->m_bytes, bytes, sizeof uuid->m_bytes);
    mark_version(*uuid, 8);
    return 0;
}

const ombrel_uuid_t* ombrel_find_uuid(const char* name) {
    if (name != nullptr)
        for (const known_uuid& known : known_uuids)
            if (known.name == name)
                return &known.uuid;
    refuse();
    return nullptr;
}

int ombrel_compare_uuids(const ombrel_uuid_t* a, const ombrel_uuid_t* b) {
    if (a == nullptr || b == nullptr)
        return (a != nullptr) - (b != nullptr);
    const int order = memcmp(a->m_bytes, b->m_bytes, sizeof a->m_bytes);
    return (order > 0) - (order < 0);
}

int ombrel_is_nil_uuid(const ombrel_uuid_t* uuid) {
    return uuid != nullptr && ombrel_compare_uuids(uuid, &nil_uuid) == 0 ? 1 : 0;
}

int ombrel_get_uuid_variant(const ombrel_uuid_t* uuid) {
    if (uuid == nullptr)
        return refuse();
    const uint8_t byte = uuid->m_bytes[8];
    if (byte < 0x80)
        return def_ombrel_uuid_variant_ncs;
    if (byte < 0xC0)
        return def_ombrel_uuid_variant_standard;
    return byte < 0xE0 ? def_ombrel_uuid_variant_microsoft : def_ombrel_uuid_variant_future;
}

int ombrel_get_uuid_version(const ombrel_uuid_t* uuid) {
    return ombrel_get_uuid_variant(uuid) == def_ombrel_uuid_variant_standard ? uuid->m_bytes[6] >> 4
                                                                             : refuse();
}

int ombrel_get_uuid_instant(const ombrel_uuid_t* uuid, ombrel_instant_t* instant) {
    const int version = ombrel_get_uuid_version(uuid);
    if (instant == nullptr || (version != 1 && version != 6 && version != 7))
        return refuse();
    if (version == 7) {
        const auto milliseconds = static_cast<int64_t>(number_at(uuid->m_bytes, 6));
        return ombrel_make_instant(milliseconds / 1000, milliseconds % 1000 * 1'000'000, instant);
    }
    const uint64_t ticks = ticks_of(uuid->m_bytes, version);
    return ombrel_make_instant(static_cast<int64_t>(ticks / ticks_per_second) - seconds_from_1582_to_1970,
                               static_cast<int64_t>(ticks % ticks_per_second * 100), instant);
}
