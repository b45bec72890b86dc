// Key-value records of a hostile peer: nothing is read or written outside them.

#include <cstdlib>
#include <vector>

#include "net/kv_record.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> copy(data, data + size);
    tvrnet_kv_reader all(copy);
    size_t records = 0, bytes = 0;
    while (all.read()) {
        records++;
        bytes += all.key.size() + all.value.size();
    }
    if (bytes > size || records > size) std::abort();

    std::vector<uint8_t> again(data, data + size);
    tvrnet_kv_reader keyed(again);
    for (const char* key : {"version", "data", "ticketid", "", "version"}) {
        keyed.read_int32(key);
        if (keyed.read_key(key) && keyed.key != key) std::abort();
    }
    return 0;
}
