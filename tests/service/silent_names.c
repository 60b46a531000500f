/*
 * Preloaded: names that end in ".silent" are looked up for a quarter of a minute, in vain.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <netdb.h>
#include <stddef.h>
#include <string.h>
#include <unistd.h>

enum { silence_seconds = 15 };

typedef int (*look_up_t)(const char*, const char*, const struct addrinfo*, struct addrinfo**);

int getaddrinfo(const char* host, const char* service, const struct addrinfo* hints,
                struct addrinfo** answers) {
    static const char end[] = ".silent";
    const size_t size = host != NULL ? strlen(host) : 0;
    look_up_t look_up;
    if (size >= sizeof end && strcmp(host + size - sizeof end + 1, end) == 0) {
        sleep(silence_seconds);
        return EAI_AGAIN;
    }
    *(void**)&look_up = dlsym(RTLD_NEXT, "getaddrinfo");
    return look_up(host, service, hints, answers);
}
