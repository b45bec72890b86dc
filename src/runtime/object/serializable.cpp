#include "runtime/object/serializable.h"

#include "runtime/log/log.h"

bool tvr_serializable::to_binary(std::vector<uint8_t>&) {
    tvr_log().err("This object has no binary form.");
    return false;
}

bool tvr_serializable::from_binary(tvr_serialization::reader&) {
    tvr_log().err("This object cannot be read from a binary form.");
    return false;
}
