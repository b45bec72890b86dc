#pragma once

// Key-value records: how commands carry structured data.
//
// A payload is a row of records, each a key of at most 253 characters, a format and a value.
// Readers take records in any order and know nothing of keys that they do not ask for.
//
// Pure; an object belongs to one thread.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "net/packet.h"

class tvrnet_kv_writer {
public:
    // Appends one record. A key of 254 or more characters is not added.
    void add_data(const char* key, const uint8_t* data, size_t size, tvrnet_pkt_dataformat format);

    void add_bytes(const char* key, std::span<const uint8_t> bytes);
    void add_text(const char* key, std::string_view text);
    void add_int32(const char* key, int32_t value);
    void add_int64(const char* key, int64_t value);
    void add_float(const char* key, float value);
    void add_double(const char* key, double value);

    std::vector<uint8_t> data;
};

class tvrnet_kv_reader {
public:
    // The buffer must outlive the reader and be writable: a zero is written behind each key.
    explicit tvrnet_kv_reader(std::span<uint8_t> records) : buffer(records) {}

    // Reads the record at the position. False at the end and at a damaged record, which ends the
    // reading.
    bool read();

    // Finds the record with this key, whether it lies before or behind the position.
    bool read_key(const char* name);

    // The number under this key, whatever its format; 0 when it is missing or no number.
    int32_t read_int32(const char* name);

    // The record read last.
    std::string_view key;
    tvrnet_pkt_dataformat format{};
    std::span<uint8_t> value;

private:
    std::span<uint8_t> buffer;
    size_t position = 0;
    bool have_record = false;
};
