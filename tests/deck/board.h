#pragma once

// A board at the far end of a serial line. One thread.

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "../support/pseudo_terminal.h"
#include "../support/scratch.h"
#include "../support/waiting.h"

namespace deckbus::test {

// Its path is a link, which goes with the board: the kernel gives the number of a closed pseudo
// terminal to the next one that asks, perhaps to another test that runs beside this one.
class board {
public:
    board() : folder(std::in_place), path(folder->path("port")) { plug_in(); }
    explicit board(std::string link) : path(std::move(link)) { plug_in(); }
    ~board() { unplug(); }
    board(const board&) = delete;
    board& operator=(const board&) = delete;

    void say(const std::string& text) const {
        ASSERT_EQ(::write(line->master, text.data(), text.size()), ssize_t(text.size()));
    }

    // What has come from the host, at most 4096 bytes; waits for the first. Empty when nothing
    // comes within so many ms.
    std::string hear(int timeout_ms = int(test_support::deadline.count())) const {
        pollfd waiting{line->master, POLLIN, 0};
        if (::poll(&waiting, 1, timeout_ms) <= 0) return {};
        std::array<char, 4096> some{};
        const ssize_t got = ::read(line->master, some.data(), some.size());
        return {some.data(), size_t(std::max<ssize_t>(got, 0))};
    }

    // Waits until `text` has arrived from the host.
    bool hears(const std::string& text) {
        while (heard.find(text) == std::string::npos) {
            const std::string more = hear();
            if (more.empty()) return false;
            heard += more;
        }
        heard.erase(0, heard.find(text) + text.size());
        return true;
    }

    void unplug() {
        if (!line) return;
        std::filesystem::remove(path);
        line.reset();
    }

private:
    void plug_in() {
        line.emplace(test_support::pseudo_terminal::mode::raw);
        std::filesystem::create_symlink(line->path, path);
    }

    std::optional<test_support::scratch> folder;  // of a path of its own
    // Both ends: reading would fail while the host has not opened its own.
    std::optional<test_support::pseudo_terminal> line;

public:
    const std::string path;

private:
    std::string heard;
};

}  // namespace deckbus::test
