#pragma once

// What can be written as bytes and read back. The defaults refuse.

#include <cstdint>
#include <vector>

class tvr_binary_reader;

class tvr_serializable {
public:
    virtual ~tvr_serializable() = default;

    // Appends the binary form. False, with an error in the log, when there is none.
    virtual bool to_binary(std::vector<uint8_t>& out);

    // Takes the value of a binary form. False when it is damaged or there is none.
    virtual bool from_binary(tvr_binary_reader& in);
};
