#pragma once

// What can be written as bytes and read back. The defaults refuse.

#include <cstdint>
#include <vector>

namespace tvr_serialization {
class reader;
}

class tvr_serializable {
public:
    virtual ~tvr_serializable() = default;

    // Appends the binary form. False, with an error in the log, when there is none.
    virtual bool to_binary(std::vector<uint8_t>& out);

    // Takes the value of a binary form. False when there is none; throws a std::runtime_error when
    // it is damaged.
    virtual bool from_binary(tvr_serialization::reader& in);
};
