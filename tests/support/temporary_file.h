#pragma once

// A file without a name that gives a child its input or takes its output, however much it is. One
// thread.

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace test_support {

class temporary_file {
public:
    explicit temporary_file(const std::string& content = {}) : file(std::tmpfile(), &std::fclose) {
        if (file == nullptr) throw std::runtime_error("cannot make a temporary file");
        std::fwrite(content.data(), 1, content.size(), file.get());
        std::rewind(file.get());
    }

    int descriptor() const { return fileno(file.get()); }

    // Everything that was written to it so far.
    std::string text() const {
        std::string all;
        std::rewind(file.get());
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file.get())) > 0;)
            all.append(buffer, n);
        return all;
    }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
};

}  // namespace test_support
