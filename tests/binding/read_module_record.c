/* Opens the module as a program does that shares no symbol with it, and reads its record. */

#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct module_record {
    uint64_t build, version_major, version_minor;
    char subsystem[56];
    uint64_t interface_version;
    uint64_t reserved[3];
};

static int failed(const char* what) {
    fprintf(stderr, "%s\n", what != NULL ? what : "unknown");
    return 1;
}

static int check(const struct module_record* record) {
    if (record == NULL) return failed("no record");
    if (record->build != 3001 || record->version_major != 1 || record->version_minor != 1) {
        return failed("wrong numbers");
    }
    if (strcmp(record->subsystem, "MODULE_INTERNAL") != 0) return failed("wrong subsystem");
    if (record->interface_version != 1) return failed("wrong interface version");
    for (int i = 0; i < 3; ++i) {
        if (record->reserved[i] != 0) return failed("reserved words are in use");
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 2) return failed("usage: read_module_record LIBRARY");
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) return failed(dlerror());
    /* POSIX promises that the conversion works; C has no word for it. */
    const struct module_record* (*record)(void) = NULL;
    void* (*entry)(void) = NULL;
    *(void**)&record = dlsym(library, "tavroglue_check");
    *(void**)&entry = dlsym(library, "tavroglue_entry");
    if (record == NULL || entry == NULL) return failed("a symbol is missing");
    if (check(record()) != 0) return 1;
    if (entry() == NULL || entry() != entry()) return failed("no instance");
    return 0;
}
