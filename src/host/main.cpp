#include "host/dispatch.h"

int main(int argc, char** argv) {
    return host::dispatch(argc, argv);
}
