#include "status_listen.h"

#include <string.h>

static int begins_with(const char* text, const char* beginning) {
    return strncmp(text, beginning, strlen(beginning)) == 0;
}

static int reaches_everybody(const char* address) {
    struct sockaddr_storage storage;
    char numeric[64] = "";
    int port = 0;
    if (ombrel_inet_ptos(AF_UNSPEC, address, 0, &storage, sizeof storage) != 0)
        return 0;
    ombrel_inet_stopp((struct sockaddr*)&storage, numeric, sizeof numeric, &port);
    return strcmp(numeric, "0.0.0.0") == 0 || strcmp(numeric, "::") == 0;
}

static int is_localhost(const char* url) {
    return begins_with(url, "http://127.0.0.1:") || begins_with(url, "http://[::1]:") ||
           begins_with(url, "http://localhost:");
}

static void tell_url(const char* address, const char* url, int port) {
    const int is_open = address != NULL && reaches_everybody(address);
    if (is_open || is_localhost(url))
        ombrel_printf("status service: http://localhost:%d/ (Ctrl+C ends it)\n", port);
    else
        ombrel_printf("status service: %s (Ctrl+C ends it)\n", url);
    if (is_open)
        ombrel_printf(
            "It is open to every machine that can reach this one, by this machine's name or address.\n");
    else if (is_localhost(url))
        ombrel_printf(
            "Only this machine reaches it. To open it to others, give an address of this machine, or "
            "0.0.0.0 for all of them.\n");
    ombrel_puts(NULL);
}

static void tell_failure(const char* address, int port) {
    const int fault = ombrel_last_fault();
    ombrel_error_printf("status_service: [ERROR] cannot listen on %s port %d: %s\n", address, port,
                        fault != def_ombrel_fault_invalid ? ombrel_fault_text()
                                                          : "this is no numeric address");
    if (fault == def_ombrel_fault_address_in_use)
        ombrel_error_printf("Another program listens there. End it, or choose another port: %s %d\n", address,
                            port < 65535 ? port + 1 : 0);
    else if (fault == def_ombrel_fault_address_not_available || fault == def_ombrel_fault_invalid)
        ombrel_error_printf(
            "Choose an address of this machine, such as 127.0.0.1, or 0.0.0.0 for all of them.\n");
    else if (fault == def_ombrel_fault_access_denied)
        ombrel_error_printf("Ports below 1024 may be kept for the administrator: choose a higher one.\n");
    ombrel_error_puts(NULL);
}

int listen_and_tell(ombrel_http_server_t* server, const char* address, int port) {
    const int taken = ombrel_http_server_listen(server, address, port);
    if (taken < 0) {
        tell_failure(address != NULL ? address : "localhost", port);
        return -1;
    }
    char* url = ombrel_alloc_http_server_url(server, 0);
    if (url == NULL)
        return -1;
    tell_url(address, url, taken);
    ombrel_free(url);
    return 0;
}
