#include "status_listen.h"

#include <errno.h>
#include <string.h>

static int is_any_of(const char* text, const char* const* words, size_t count) {
    for (size_t i = 0; i < count; i++)
        if (strcmp(text, words[i]) == 0)
            return 1;
    return 0;
}

static int reaches_everybody(const char* numeric) {
    static const char* const wildcards[] = {"0.0.0.0", "::"};
    return is_any_of(numeric, wildcards, 2);
}

static int is_localhost(const char* numeric) {
    static const char* const loop_backs[] = {"127.0.0.1", "::1"};
    return is_any_of(numeric, loop_backs, 2);
}

static void tell_url(const char* numeric, int port) {
    if (reaches_everybody(numeric) || is_localhost(numeric))
        ombrel_printf("status service: http://localhost:%d/ (Ctrl+C ends it)\n", port);
    else
        ombrel_printf(strchr(numeric, ':') != NULL ? "status service: http://[%s]:%d/ (Ctrl+C ends it)\n"
                                                   : "status service: http://%s:%d/ (Ctrl+C ends it)\n",
                      numeric, port);
    if (reaches_everybody(numeric))
        ombrel_printf(
            "It is open to every machine that can reach this one, by this machine's name or address.\n");
    else if (is_localhost(numeric))
        ombrel_printf(
            "Only this machine reaches it. To open it to others, give an address of this machine, or "
            "0.0.0.0 for all of them.\n");
    ombrel_puts(NULL);
}

static void tell_failure(const char* address, int port) {
    const int error = errno;
    ombrel_error_printf("status_service: [ERROR] cannot listen on %s port %d: %s\n", address, port,
                        error != 0 ? strerror(error) : "this is no numeric address");
    if (error == EADDRINUSE)
        ombrel_error_printf("Another program listens there. End it, or choose another port: %s %d\n", address,
                            port < 65535 ? port + 1 : 0);
    else if (error == EADDRNOTAVAIL || error == 0)
        ombrel_error_printf(
            "Choose an address of this machine, such as 127.0.0.1, or 0.0.0.0 for all of them.\n");
    else if (error == EACCES)
        ombrel_error_printf("Ports below 1024 may be kept for the administrator: choose a higher one.\n");
    ombrel_error_puts(NULL);
}

int listen_and_tell(http_server_t* server, const char* address, int port) {
    static const char* const both_loop_backs[] = {"127.0.0.1", "::1"};
    const char* const* addresses = both_loop_backs;
    const int is_default = address == NULL || strcmp(address, "localhost") == 0;
    char numeric[http_address_size];
    if (!is_default)
        addresses = &address;
    const int taken = http_listen(server, addresses[0], port, numeric);
    if (taken < 0) {
        tell_failure(is_default ? "localhost" : address, port);
        return -1;
    }
    /* A system without IPv6 has one loop-back address. A stranger on the other one would be met by the same
     * URL. */
    if (is_default && http_listen(server, addresses[1], taken, NULL) < 0 && errno == EADDRINUSE) {
        tell_failure("localhost", taken);
        return -1;
    }
    tell_url(numeric, taken);
    return 0;
}
