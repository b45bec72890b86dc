#include "base/standard_streams.h"
#include "host/dispatch.h"

int main(int argc, char** argv) {
    tvr_hold_standard_streams();
    return host::dispatch(argc, argv);
}
