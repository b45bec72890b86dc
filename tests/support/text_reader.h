#pragma once

// What a child writes into a pipe or to a terminal, read as it comes and kept. Waits no longer than
// the deadline for what it was asked for. One thread.

#include <string>

namespace test_support {

class text_reader {
public:
    text_reader() = default;
    ~text_reader() { close(); }
    text_reader(const text_reader&) = delete;
    text_reader& operator=(const text_reader&) = delete;

    // Makes a pipe to read from. The end that writes; its owner closes it.
    int open_pipe();

    // Reads from this descriptor and takes it over.
    void open(int from) { fd = from; }

    // Reads on until the words have come behind those found last; false when they do not.
    bool reads(const std::string& wanted);

    // Reads on until the words have come at all; false when they do not.
    bool ever_reads(const std::string& wanted);

    // What comes behind the words found last, until the other side closes.
    std::string rest();

    // Reads once. False when nothing comes in this time, or never will.
    bool read_some(int timeout_ms);

    void close();
    const std::string& text() const { return all; }

private:
    size_t find(const std::string& wanted, size_t from);

    int fd = -1;
    std::string all;
    size_t found = 0;  // behind the words found last
};

}  // namespace test_support
