#include "digest_algorithm.h"

#include <string.h>

#define DIGEST(name)                                                                                         \
    static void start_##name(digest_state_t* state) {                                                        \
        ombrel_init_##name(&state->name);                                                                    \
    }                                                                                                        \
    static void push_##name(digest_state_t* state, const void* data, size_t size) {                          \
        ombrel_##name##_push(&state->name, data, size);                                                      \
    }                                                                                                        \
    static void finish_##name(digest_state_t* state, unsigned char* result) {                                \
        ombrel_##name##_digest(&state->name, result);                                                        \
    }

DIGEST(md5)
DIGEST(sha1)
DIGEST(sha256)

static void start_crc(digest_state_t* state) {
    state->crc = 0;
}

static void push_crc32(digest_state_t* state, const void* data, size_t size) {
    state->crc = ombrel_crc32_ieee_802_3(0, (uint32_t)state->crc, data, size);
}

static void push_crc64(digest_state_t* state, const void* data, size_t size) {
    state->crc = ombrel_crc64_iso(0, state->crc, data, size);
}

static void push_crc16_ibm(digest_state_t* state, const void* data, size_t size) {
    state->crc = ombrel_crc16_ibm(0, (uint16_t)state->crc, data, size);
}

static void push_crc16_ccitt(digest_state_t* state, const void* data, size_t size) {
    state->crc = ombrel_crc16_ccitt(0, (uint16_t)state->crc, data, size);
}

static void finish_crc(uint64_t crc, unsigned char* result, int size) {
    for (int i = 0; i < size; i++)
        result[i] = (unsigned char)(crc >> 8 * (size - 1 - i));
}

static void finish_crc16(digest_state_t* state, unsigned char* result) {
    finish_crc(state->crc, result, 2);
}

static void finish_crc32(digest_state_t* state, unsigned char* result) {
    finish_crc(state->crc, result, 4);
}

static void finish_crc64(digest_state_t* state, unsigned char* result) {
    finish_crc(state->crc, result, 8);
}

static const digest_algorithm_t algorithms[] = {
    {"md5", def_ombrel_md5_size, start_md5, push_md5, finish_md5},
    {"sha1", def_ombrel_sha1_size, start_sha1, push_sha1, finish_sha1},
    {"sha256", def_ombrel_sha256_size, start_sha256, push_sha256, finish_sha256},
    {"crc32", 4, start_crc, push_crc32, finish_crc32},
    {"crc64", 8, start_crc, push_crc64, finish_crc64},
    {"crc16-ibm", 2, start_crc, push_crc16_ibm, finish_crc16},
    {"crc16-ccitt", 2, start_crc, push_crc16_ccitt, finish_crc16},
};
enum { algorithm_count = sizeof algorithms / sizeof *algorithms };

const digest_algorithm_t* find_algorithm(const char* name) {
    for (size_t i = 0; i < algorithm_count; i++)
        if (strcmp(algorithms[i].name, name) == 0)
            return &algorithms[i];
    return NULL;
}

const digest_algorithm_t* algorithm_of_digits(size_t digits) {
    for (size_t i = 0; i < algorithm_count; i++)
        if (2 * algorithms[i].size == digits)
            return &algorithms[i];
    return NULL;
}

const char* algorithm_names(void) {
    static char names[16 * algorithm_count];
    names[0] = '\0';
    for (size_t i = 0; i < algorithm_count; i++) {
        strcat(names, i > 0 ? ", " : "");
        strcat(names, algorithms[i].name);
    }
    return names;
}

void finish_text(const digest_algorithm_t* algorithm, digest_state_t* state, char text[digest_text_size]) {
    static const char digits[] = "0123456789abcdef";
    unsigned char result[digest_max_size];
    algorithm->finish(state, result);
    for (size_t i = 0; i < algorithm->size; i++) {
        *text++ = digits[result[i] >> 4];
        *text++ = digits[result[i] & 15];
    }
    *text = '\0';
}
