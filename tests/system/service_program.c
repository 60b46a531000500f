/* A program that tests open as a service: what it does is its first argument. */
#include <stdlib.h>
#include <string.h>

#if defined(_WIN32)
#include <windows.h>
#define pause_for_ever() Sleep(INFINITE)
#else
#include <signal.h>
#include <unistd.h>
#define pause_for_ever() pause()
#endif

#include <ombrel/process_service.h>

static void ignore_requests(void) {
#if !defined(_WIN32)
    signal(SIGTERM, SIG_IGN);
#endif
    for (;;)
        pause_for_ever();
}

/* Whether it is alone: a service's name and descriptors are not handed on. */
static int is_only_service(ombrel_process_service_t* service) {
    return ombrel_get_process_service_name() == NULL && ombrel_process_service_wait(service, 0, NULL) == -1 &&
           ombrel_run_process_service(NULL, NULL) == -1;
}

static int work(ombrel_process_service_t* service, void* what) {
    if (strcmp(what, "refuse") == 0)
        return ombrel_process_service_error(service, "no work today"), 4;
    if (strcmp(what, "say nothing") == 0)
        return 5;
    if (strcmp(what, "hang") == 0)
        ignore_requests();
    if (!is_only_service(service) || ombrel_process_service_break(service, 0) != 0 ||
        ombrel_process_service_get_descriptor(service) < 0)
        return ombrel_process_service_error(service, "it is no good service"), 6;
    if (ombrel_process_service_ack(service) != 0 || ombrel_process_service_ack(service) == 0)
        return 8;
    if (strcmp(what, "crash") == 0)
        abort();
    if (strcmp(what, "be deaf") == 0)
        ignore_requests();
    while (ombrel_process_service_break(service, 1000) == 0)
        continue;
    return ombrel_process_service_break(service, 0) == 1 ? 7 : 9;
}

int main(int argc, char** argv) {
    const char* const name = ombrel_get_process_service_name();
    if (argc < 2 || name == NULL || strcmp(name, "worker") != 0)
        return 3;
    return ombrel_run_process_service(work, argv[1]);
}
