#pragma once

// A program as a child of the test: how it is started, watched and ended. It never outlives the
// thread that started it. One thread.

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "text_reader.h"

namespace test_support {

using words = std::vector<std::string>;

class child_process {
public:
    // `prepare` runs in the child before it becomes the program: descriptors and environment.
    child_process(const std::string& program, const words& arguments,
                  const std::function<void()>& prepare);
    ~child_process();  // kills it if it still runs
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;

    void signal(int number) const;

    // Waits until a signal has stopped it; false if it ended instead.
    bool is_stopped() const;

    // Waits for its end, and reads what it still says lest it wait for us. The exit status, or 128
    // and the signal: that of a kill when it does not end within the deadline.
    int ends(text_reader& output);

    // Waits for its end, however long that takes. The status as above.
    int wait();

private:
    bool has_ended() const;

    pid_t pid = -1;
};

// A child whose standard output or standard error comes through a pipe.
struct piped_process {
    piped_process(const std::string& program, const words& arguments, int stream);

    int ends() { return child.ends(output); }

    text_reader output;
    const int writer = output.open_pipe();  // the child's; closed here once it has it
    child_process child;
};

struct outcome {
    int status = -1;  // exit status, or 128 and the signal
    std::string out, err;
};

// Runs a program to its end in a folder, or where the test runs when none is named: without colours
// and without the search paths of the person who tests. It reads `input`.
outcome run_program(const std::string& program, const words& arguments,
                    const std::filesystem::path& folder, const std::string& input = {});

}  // namespace test_support
