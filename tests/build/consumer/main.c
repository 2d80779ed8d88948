/* main.c - uses the installed velnor from plain C: prints the library
 * version and checks that the engine refuses work before it is started. */
#include <stdio.h>
#include <string.h>

#include <velnor.h>

int main(void) {
    uint16_t major = 0, minor = 0;
    FHCB cb;
    vfhgetversion(&major, &minor);
    memset(&cb, 0, sizeof cb);
    cb.opcode = VN_OP_CLOSE;
    if (filehandler(&cb) != -1 || cb.status != VN_E_NOINIT) {
        printf("unexpected status %d\n", cb.status);
        return 1;
    }
    printf("velnor %u.%u\n", (unsigned)(major >> 8), (unsigned)minor);
    return major == 0x0700 && minor == 144 ? 0 : 1;
}
