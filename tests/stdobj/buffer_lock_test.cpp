// What a buffer allows while kernel launches hold it.

#include "../runtime/value_fixture.h"
#include "runtime/vm/context.h"

using namespace tavro::test;

namespace {

constexpr const char* in_use =
    "E std.buffer is in use by a running kernel launch (call wait() on the launch first)|";

class buffer_lock_test : public value_test {
protected:
    buffer_lock_test() : variable(binary("abcdefgh")) {}

    tvr_std_buffer& buffer() { return variable->as_binary(); }
    // "" when it ran, else what it said.
    std::string call(const char* method, std::vector<tvrvar_shared> args = {}) {
        tvr_vm_context frame;
        buffer().metadata->find_function(method)->callback(&buffer(), frame, args);
        return said();
    }

    tvrvar_shared variable;
};

struct lock_row {
    const char* what;
    uint32_t read_locks, write_locks;
    bool reads, writes;
};

constexpr lock_row rows[] = {
    {"free", 0, 0, true, true},
    {"read by two launches", 2, 0, true, false},
    {"written by a launch", 0, 1, false, false},
};

TEST_F(buffer_lock_test, methods) {
    for (const lock_row& row : rows) {
        SCOPED_TRACE(row.what);
        buffer().read_locks = row.read_locks;
        buffer().write_locks = row.write_locks;
        const std::string reading = row.reads ? "" : in_use, writing = row.writes ? "" : in_use;
        EXPECT_EQ(call("size"), "");
        EXPECT_EQ(call("string"), reading);
        EXPECT_EQ(call("read", {"u16", 1}), reading);
        EXPECT_EQ(call("write", {"u16", 1, 5}), writing);
        EXPECT_EQ(call("fill", {7}), writing);
        EXPECT_EQ(call("push", {7}), writing);
        EXPECT_EQ(call("append", {"x"}), writing);
        EXPECT_EQ(call("resize", {8}), writing);
        EXPECT_EQ(call("clear"), writing);
        if (row.writes) variable->as_binary("abcdefgh");
        EXPECT_EQ(buffer().op_get_size(), 8);
    }
    buffer().write_locks = 0;
}

TEST_F(buffer_lock_test, operators) {
    for (const lock_row& row : rows) {
        SCOPED_TRACE(row.what);
        buffer().read_locks = row.read_locks;
        buffer().write_locks = row.write_locks;
        const std::string reading = row.reads ? "" : in_use, writing = row.writes ? "" : in_use;
        EXPECT_EQ(buffer().op_get_member(int64_t(0))->is_none(), !row.reads);
        EXPECT_EQ(said(), reading);
        buffer().op_set_member(int64_t(0), 97);
        EXPECT_EQ(said(), writing);
        const tvrvar_shared same = binary("abcdefgh"), copy = none();
        EXPECT_EQ(variable->compare_equal(*same), row.reads);
        EXPECT_EQ(said(), reading);
        copy->set(*variable);
        EXPECT_EQ(said(), reading);
        variable->set(*same);
        EXPECT_EQ(said(), writing);
        std::vector<uint8_t> form = {1};
        EXPECT_EQ(variable->to_binary(form), row.reads);
        EXPECT_EQ(said(), reading);
        EXPECT_EQ(form.size() > 1, row.reads);
    }
    buffer().write_locks = 0;
    buffer().read_locks = 0;
}

}  // namespace
