// Libraries with which something is wrong. Which, the build says by definitions.

#include <stdint.h>

struct module_record {
    uint64_t build, version_major, version_minor;
    char subsystem[56];
    uint64_t interface_version;
    uint64_t reserved[3];
};

#ifndef BUILD
#define BUILD 3001
#endif
#ifndef SUBSYSTEM
#define SUBSYSTEM "MODULE_INTERNAL"
#endif

const struct module_record record = {BUILD, 1, 1, SUBSYSTEM, 1, {0, 0, 0}};

#ifndef NO_CHECK
const struct module_record* tavroglue_check(void);
const struct module_record* tavroglue_check(void) {
#ifdef NULL_CHECK
    return 0;
#else
    return &record;
#endif
}
#endif

#ifndef NO_ENTRY
void* tavroglue_entry(void);
void* tavroglue_entry(void) {
#ifdef OWN_ENGINE
    static int another_instance;
    return &another_instance;
#else
    return 0;
#endif
}
#endif
