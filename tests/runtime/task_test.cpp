// Tasks: who goes on when, on which thread, and how they end.

#include <gtest/gtest.h>

#include <future>
#include <optional>

#include "../support/no_threads.h"
#include "interpreter.h"
#include "runtime/value/value.h"

using namespace tavro::test;

namespace {

class task_test : public testing::Test {
protected:
    // Runs a program to its end; its functions are what the tests make tasks of.
    void load(const std::string& text, size_t workers = 0) {
        in.emplace(log, false);
        in->script.workers.set_thread_count(workers);
        in->script.workers.wait_for_init();
        root = in->start(text);
        in->run_until([&] { return root->ended(); });
        ASSERT_EQ(root->state, tvr_task_state::finished) << log.said();
    }
    tvrvar& global(const char* name) {
        return *root->root_frame->cells[root->program->find_var_local(name)];
    }
    tvrptr_strong<tvr_task> task(const char* function, std::vector<tvrvar_shared> args = {}) {
        const tvr_global_lock hold;
        auto made = tvr_task::create(global(function));
        EXPECT_TRUE(made->start(args));
        return made;
    }
    tvrptr_strong<tvr_task> scheduled(const char* function, int64_t ms,
                                      std::vector<tvrvar_shared> args = {}) {
        auto made = task(function, std::move(args));
        made->task_schedule(ms);
        return made;
    }
    static bool ended(const tvrptr_strong<tvr_task>& task) {
        const tvr_global_lock hold;
        return task->ended();
    }

    listening_log log;
    std::optional<interpreter> in;
    tvrptr_strong<tvr_task> root;
};

const char* saying = "def f(n) { std.print(n); return n * 10; }\nsay = f;";

TEST_F(task_test, go_on_by_time_and_then_in_order) {
    load(saying);
    EXPECT_EQ(in->script.next_wake_ms(), tvr_task_list::never);
    scheduled("say", 20, {4});
    scheduled("say", 0, {1});
    const auto again = scheduled("say", 0, {2});
    again->task_schedule(0);
    again->task_schedule(1000000);
    scheduled("say", 10, {3});
    EXPECT_EQ(in->script.next_wake_ms(), -1);
    in->run_to_end();
    EXPECT_EQ(log.said(), "1|2|3|4|");
    EXPECT_FALSE(in->script.pop_waiting_task(false));
}

TEST_F(task_test, are_taken_from_the_list_when_they_are_due) {
    load(saying);
    const auto later = scheduled("say", 1000000, {1});
    EXPECT_FALSE(in->script.pop_waiting_task(true));
    EXPECT_GT(in->script.next_wake_ms(), tvr_millis());
    later->task_resume();  // whoever waits for a time can be woken before
    EXPECT_TRUE(in->script.pop_waiting_task(true) == later);
    EXPECT_FALSE(later->scheduled);
}

TEST_F(task_test, tell_how_they_ended) {
    load(
        "def good(n) { return n * 10; }\n"
        "def bad() { std.raise(\"no\"); }\n"
        "g = good; b = bad;");
    std::string told;
    const auto tell = [&](tvr_task& task) {
        const bool good = task.state == tvr_task_state::finished;
        told += good ? task.result->string_value() : "failed: " + task.error;
        told += "|";
    };
    scheduled("g", 0, {4})->on_finished = tell;
    scheduled("b", 0)->on_finished = tell;
    in->run_to_end();
    EXPECT_EQ(told, "40|failed: no|");
    EXPECT_NE(log.said().find("no\n"), std::string::npos);  // reported, since nobody caught it
    EXPECT_FALSE(in->script.stop_requested());
}

TEST_F(task_test, refuse_what_cannot_start) {
    load("def f(a, b = 1) {}\nfunction = f; number = 5;");
    const tvr_global_lock hold;
    EXPECT_FALSE(tvr_task::create(global("number")));
    std::vector<tvrvar_shared> args;
    EXPECT_FALSE(global("function").create_task()->start(args));
    args = {1, 2, 3};
    EXPECT_FALSE(global("function").create_task()->start(args));
    EXPECT_EQ(log.said(),
              "E invalid function for routine|E Not enough parameters.|E Too many params.|");
}

TEST_F(task_test, end_past_every_catch_when_they_are_terminated) {
    load("def f() { try { std.wait(1000000); } catch (e) { std.print(\"caught\"); } }\nwaits = f;");
    const auto waiting = scheduled("waits", 0);
    int finished = 0;
    waiting->on_finished = [&](tvr_task&) { ++finished; };
    in->script.update();
    EXPECT_FALSE(waiting->ended());
    EXPECT_EQ(waiting->state, tvr_task_state::runnable);
    waiting->task_terminate();
    waiting->task_terminate();
    in->run_to_end();
    EXPECT_EQ(waiting->state, tvr_task_state::failed);
    EXPECT_EQ(finished, 1);
    EXPECT_TRUE(waiting->task_continue());  // says that it is over
    EXPECT_EQ(log.said(), "E task_continue called while the task was not active!|");
}

TEST_F(task_test, do_not_go_on_without_their_parent) {
    load(saying);
    auto parent = task("say", {1});
    tvrptr_strong<tvr_task> child;
    {
        const tvr_task_scope inside(*parent);
        child = scheduled("say", 0, {2});
    }
    EXPECT_EQ(parent->children, 1u);
    parent.release();
    in->run_to_end();
    EXPECT_EQ(child->state, tvr_task_state::failed);
    EXPECT_EQ(log.said(), "");
}

TEST_F(task_test, called_in_place_nest_to_a_limit) {
    load(
        "n = 0;\n"
        "less = (a, b) { return a < b; };\n"
        "def f(a, b) { n += 1; std.sort([1, 2], f); return 0; }\n"
        "try { f(1, 2); } catch (e) { std.print(e); }\n"
        "std.print(n);");
    EXPECT_EQ(log.said(), "maximum call depth of 200 exceeded (endless recursion?)|201|");
}

// Workers.

TEST_F(task_test, workers_and_owner_never_run_at_once) {
    load(
        "n = 0;\n"
        "def f() { for (i = 0; i < 20000; i++) { n = n + 1; } }\n"
        "count = f;",
        3);
    std::vector<tvrptr_strong<tvr_task>> all;
    for (int i = 0; i < 12; ++i) {
        const tvr_global_lock hold;
        all.push_back(task("count"));
        if (i % 4 == 0) {
            all.back()->task_schedule(0);
        } else {
            in->script.workers.run_task(*all.back());
        }
    }
    in->run_to_end();
    const tvr_global_lock hold;
    EXPECT_EQ(global("n").int_value(), 12 * 20000);
    all.clear();
}

TEST_F(task_test, on_workers_wait_and_go_on_there) {
    load("def f(n) { std.wait(1); std.wait(1); std.print(n); }\nwaits = f;", 1);
    for (int i = 0; i < 3; ++i) {
        const tvr_global_lock hold;
        const auto waits = task("waits", {i});
        in->script.workers.run_task(*waits);
    }
    in->run_to_end();
    std::string printed = log.said();
    for (const char* line : {"0|", "1|", "2|"}) {
        EXPECT_NE(printed.find(line), std::string::npos) << printed;
    }
}

TEST_F(task_test, a_busy_pool_makes_the_owner_wait_with_a_note) {
    load("go = 0;\ndef f() { for (go == 0) {} }\nbusy = f;", 1);
    const auto first = task("busy"), second = task("busy");
    std::thread helper([&] {
        in->script.lend_to_thread(tvr_local());
        while (!log.heard("W Thread pool overload, waiting for free worker threads...")) {
            std::this_thread::yield();
        }
        const tvr_global_lock hold;
        global("go").as_int(1);
    });
    {
        const tvr_global_lock hold;
        in->script.workers.run_task(*first);
        in->script.workers.run_task(*second);
    }
    helper.join();
    in->run_to_end();
    EXPECT_TRUE(ended(first) && ended(second));
}

TEST_F(task_test, do_with_the_threads_that_the_system_gives) {
    load("n = 0; def f() { n += 1; }\nadd = f;", 1);
    tvr_thread_pool& pool = in->script.workers;
    {
        const test_support::no_threads here;
        pool.set_thread_count(4);
    }
    pool.wait_for_init();
    EXPECT_EQ(pool.thread_count(), 1u);
    EXPECT_NE(log.said().find("W Cannot start more worker threads than 1"), std::string::npos);
    pool.run_task(*task("add"));
    in->run_to_end();
    EXPECT_EQ(global("n").int_value(), 1);
}

TEST_F(task_test, an_interpreter_ends_while_workers_run) {
    for (const size_t workers : {1, 3}) {
        load("def f() { try { for (true) {} } catch (e) {} }\nendless = f;", workers);
        for (size_t i = 0; i < workers; ++i) {
            const tvr_global_lock hold;
            const auto endless = task("endless");
            in->script.workers.run_task(*endless);
        }
        in->script.update();
        root.release();
        in.reset();
        EXPECT_EQ(log.said(), "");
    }
}

// Jobs that hold no lock.

TEST_F(task_test, jobs_are_done_or_refused) {
    load("", 0);
    tvr_thread_pool& pool = in->script.workers;
    int here = 0;
    EXPECT_FALSE(pool.try_run([&] { ++here; }));
    pool.run([&] { ++here; });  // without workers the caller does it
    EXPECT_EQ(here, 1);

    pool.set_thread_count(2);
    pool.wait_for_init();
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    std::atomic<size_t> done{0}, blocked{0};
    for (int i = 0; i < 2; ++i) {
        pool.run([&] {
            ++blocked;
            opened.wait();
        });
    }
    while (blocked < 2) std::this_thread::yield();
    size_t taken = 0;
    while (pool.try_run([&] {
        if (++done % 2 == 0) throw std::runtime_error("job");
    })) {
        ++taken;
    }
    EXPECT_EQ(taken, tvr_thread_pool::max_jobs);
    gate.set_value();
    pool.run([&] { ++done; });
    pool.set_thread_count(0);  // what is in the queue is done before
    EXPECT_EQ(done, taken + 1);
    EXPECT_EQ(pool.thread_count(), 0u);
    EXPECT_TRUE(log.heard("E A job of a worker thread failed: job"));
}

}  // namespace
