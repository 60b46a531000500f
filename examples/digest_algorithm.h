/* The digests and checksums of the digest tool behind one set of functions. */
#ifndef DIGEST_ALGORITHM_H
#define DIGEST_ALGORITHM_H

#include <ombrel_tuk.h>

enum { digest_max_size = def_ombrel_sha256_size, digest_text_size = 2 * digest_max_size + 1 };

typedef union {
    ombrel_md5_t md5;
    ombrel_sha1_t sha1;
    ombrel_sha256_t sha256;
    uint64_t crc;
} digest_state_t;

typedef struct {
    const char* name;
    size_t size; /* bytes of the result */
    void (*start)(digest_state_t* state);
    void (*push)(digest_state_t* state, const void* data, size_t size);
    void (*finish)(digest_state_t* state, unsigned char* result);
} digest_algorithm_t;

/* Null for an unknown name. */
const digest_algorithm_t* find_algorithm(const char* name);

/* The first algorithm whose result has so many hexadecimal digits, or null. */
const digest_algorithm_t* algorithm_of_digits(size_t digits);

/* All names, separated by ", ". The text is static. */
const char* algorithm_names(void);

/* Finishes and writes lower-case hexadecimal digits, terminated. */
void finish_text(const digest_algorithm_t* algorithm, digest_state_t* state, char text[digest_text_size]);

#endif
