#pragma once

// An interpreter with the module, and a board whose lines the test says itself.
//
// The board's session is that of the network, which has no thread: everything happens on the
// test's. Scripts reach it by test.attach(device). Every test must leave empty pools.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "../runtime/interpreter.h"
#include "binding/device.h"
#include "deck/session.h"

namespace tavro::test {

class device_stage : public testing::Test {
protected:
    device_stage() {
        in.emplace(log);
        in->script.root_namespace.child("test").add_function(
            "attach",
            [this](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                args[0]->deref()->object<tvr_deckbus>()->attach(board);
                return tvrvar_shared();
            },
            1, 1);
    }
    ~device_stage() override {
        in.reset();
        EXPECT_FALSE(log.heard("Script shutdown"));
    }

    // Runs a script that begins with an attached device `d`, until it ends.
    std::string run(const std::string& text) {
        const auto task =
            in->start("import deckbus;\nd = deckbus.device();\ntest.attach(d);\n" + text);
        in->run_until([&] { return !task || task->ended(); });
        return log.said();
    }

    // One frame, and what was said in it.
    std::string frame() {
        in->script.update();
        return log.said();
    }

    // Lines of the board, each ended by a newline, as happening so many s ago.
    void say(std::string_view lines, double ago = 0) {
        tvr_lock hold(board->mutex);
        const double t = deckbus::now_s() - ago;
        while (!lines.empty()) {
            const size_t end = lines.find('\n');
            EXPECT_TRUE(board->feed(lines.substr(0, end), t)) << lines.substr(0, end);
            lines.remove_prefix(end == lines.npos ? lines.size() : end + 1);
        }
    }

    void say_warnings(int from, int to) {
        for (int i = from; i < to; ++i) {
            say(R"({"t":"warn","msg":")" + std::to_string(i) + R"("})");
        }
    }

    listening_log log;
    std::shared_ptr<deckbus::session> board = deckbus::session::open_network();
    std::optional<interpreter> in;
};

}  // namespace tavro::test
