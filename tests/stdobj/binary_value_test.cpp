// The binary form where scripts do not reach: damaged input, native objects, the pieces.

#include <stdexcept>

#include "../runtime/value_fixture.h"
#include "runtime/object/serialization.h"

using namespace tavro::test;

namespace {

using bytes = std::vector<uint8_t>;

class binary_value_test : public value_test {};

TEST_F(binary_value_test, no_prefix_is_read_past_its_end) {
    const tvrvar_shared value = json(
        R"({"text": "abc", "list": [1, -70000, 2.5, null, []], "deep": {"a": {"b": [true]}}})");
    value->as_json(false).push_back(binary("bytes"));
    const bytes whole = value->to_binary();
    for (size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        const bytes part(whole.begin(), whole.begin() + int64_t(length));  // the sanitizer watches
        const tvrvar_shared read = none();
        EXPECT_FALSE(read->from_binary(part.data(), part.size()));
        EXPECT_NE(said(), "");
        EXPECT_EQ(show(read), "none ");
    }
    const tvrvar_shared read = none();
    EXPECT_TRUE(read->from_binary(whole.data(), whole.size()));
    EXPECT_EQ(read->to_binary(), whole);
}

TEST_F(binary_value_test, values_stand_one_behind_the_other) {
    bytes all;
    for (const char* text : {"1", "[2]", "\"three\""}) EXPECT_TRUE(json(text)->to_binary(all));
    tvr_serialization::reader in(all.data(), all.size());
    std::string read;
    const tvrvar_shared value = none();
    while (in.remaining() > 0) {
        ASSERT_TRUE(value->from_binary(in));
        read += show(value) + ";";
    }
    EXPECT_EQ(read, "int 1;json [2];string three;");
}

TEST_F(binary_value_test, varints) {
    struct row {
        uint64_t value;
        size_t bytes;
    };
    const row rows[] = {{0, 1}, {127, 1}, {128, 2}, {16383, 2}, {16384, 3}, {UINT64_MAX, 10}};
    for (const row& r : rows) {
        SCOPED_TRACE(r.value);
        bytes out = {0xFF};
        tvr_serialization::write_varint(out, r.value);
        size_t length = 0;
        EXPECT_EQ(tvr_serialization::peek_varint_at(out.data(), out.size(), 1, length), r.value);
        EXPECT_EQ(length, r.bytes);
        EXPECT_THROW(tvr_serialization::peek_varint_at(out.data(), out.size() - 1, 1, length),
                     std::runtime_error);
    }
}

// Writes the json that it holds, as other objects might.
class holder : public tvrobject<holder, "test.holder"> {
public:
    static void script_register(tvrobject_metadata&) {}
    bool to_binary(std::vector<uint8_t>& out) override { return held->to_binary(out); }

    tvrvar_shared held = tvrvar_shared::make();
};

TEST_F(binary_value_test, a_cycle_by_way_of_an_object) {
    auto* native = new holder();
    const tvrvar_shared list = none();
    list->as_json(true).push_back(object(native));
    native->held->set(*list);
    bytes out = {1, 2};
    // The object fails, so that its type alone is written.
    EXPECT_TRUE(list->to_binary(out));
    EXPECT_EQ(said(),
              "W Cannot serialize JSON to binary: the value contains a reference to itself "
              "(cycle).|");
    EXPECT_EQ(out, (bytes{1,   2, 3, 'v', '1', '1', 0,   7,   3,   'j', '1',
                          '1', 0, 1, 0,   0,   3,   'v', '1', '1', 0,   8}));
    native->held->as_none();
}

class plain_object : public tvrobject<plain_object, "test.plain"> {
public:
    static void script_register(tvrobject_metadata&) {}
};

TEST_F(binary_value_test, an_object_without_a_form_becomes_none) {
    const tvrvar_shared list = none();
    list->as_json(true).push_back(object(new plain_object()));
    list->as_json(false).push_back(7);
    const bytes out = list->to_binary();
    EXPECT_EQ(thread.log.lines().size(), 1u);
    thread.log.forget();
    const tvrvar_shared read = none();
    EXPECT_TRUE(read->from_binary(out.data(), out.size()));
    EXPECT_EQ(said(), "W from_binary(): type 8 cannot be deserialized, reading it as None.|");
    EXPECT_EQ(show(read), "json [null,7]");
}

TEST_F(binary_value_test, reading_leaves_a_shared_json_alone) {
    const tvrvar_shared first = json("[1]"), second = none();
    second->set(*first);
    const bytes form = json("[2, 3]")->to_binary();
    EXPECT_TRUE(second->from_binary(form.data(), form.size()));
    EXPECT_EQ(show(first) + " " + show(second), "json [1] json [2,3]");
}

}  // namespace
