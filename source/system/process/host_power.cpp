#include <ombrel/daemon.h>

#include "platform/power.h"

int ombrel_reboot_host(void) {
    return ombrel::platform::end_host(ombrel::platform::host_end::restart) ? 0 : -1;
}

int ombrel_power_off_host(void) {
    return ombrel::platform::end_host(ombrel::platform::host_end::power_off) ? 0 : -1;
}
