/* Compiled, not run: calls that OMBREL_CHECK_FORMATS lets through and, with WRONG, one that it does not. */
#define OMBREL_CHECK_FORMATS
#include <ombrel/printf.h>
#include <ombrel/scan.h>

int main(void) {
    char text[16];
    long long number = 7;
    ombrel_snprintf(text, sizeof(text), "%lld %s %5.2f", number, "x", 1.5);
    ombrel_sscanf("12", "%lld", &number);
#if defined(WRONG)
    ombrel_snprintf(text, sizeof(text), "%s", number);
#endif
    return 0;
}
