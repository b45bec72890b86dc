#include <nlohmann/json.hpp>

#include "value_fixture.h"

using namespace tavro::test;

namespace {

class payload : public value_test {
protected:
    std::string reprint(std::string_view text, bool compact = true) {
        tvrvar_shared parsed = json(text);
        return parsed->type == tvrvar_type_json ? parsed->as_json(false).to_string(compact)
                                                : show(parsed);
    }
    // The one log line of a parse error.
    std::string logged() {
        const auto lines = thread.log.lines();
        thread.log.forget();
        return lines.size() == 1 ? lines[0] : std::to_string(lines.size()) + " lines";
    }
};

TEST_F(payload, entries_keep_their_order) {
    const tvrvar_shared held = none();
    tvr_std_json& map = held->as_json(true);
    map.set("b", 1);
    map.set("a", 2);
    map.push_back(3);
    map.set("a", 4);
    map.set("", 5);
    EXPECT_FALSE(held->is_list());
    EXPECT_EQ(map.size(), 4u);
    EXPECT_EQ(map.to_string(true), "{\"b\":1,\"a\":4,\"\":5}");  // the last keyless one
    EXPECT_TRUE(map.erase("b"));
    EXPECT_FALSE(map.erase("b"));
    EXPECT_TRUE(map.erase(int64_t(0)));
    EXPECT_TRUE(held->is_list());
    EXPECT_EQ(map.to_string(true), "[3,5]");
    EXPECT_TRUE(map.erase(-1));
    EXPECT_FALSE(map.erase(-2));
    EXPECT_EQ(map.to_string(true), "[3]");
}

// Small containers are scanned, large ones have an index: both must answer alike.
TEST_F(payload, keys_are_found_in_any_size) {
    for (const int count : {1, 12, 13, 300}) {
        SCOPED_TRACE(count);
        tvrvar_shared held = none();
        tvr_std_json& map = held->as_json(true);
        const auto key = [](int i) { return "key" + std::to_string(i); };
        const auto value_of = [&](int i) {
            tvrvar* found = map.find(key(i));
            return found != nullptr ? found->int_value() : -1;
        };
        for (int i = 0; i < count; ++i) map.add_member(i, key(i));
        EXPECT_EQ(value_of(0), 0);
        map.add_member(7000, key(0));  // a second one, which hides the first
        EXPECT_EQ(value_of(0), 7000);
        map.set(key(0), 8000);
        EXPECT_EQ(map.size(), size_t(count) + 1);
        EXPECT_TRUE(map.erase(int64_t(count)));
        EXPECT_EQ(value_of(0), 0);  // back to the first
        map.add_member(9000, key(0));
        EXPECT_TRUE(map.erase(int64_t(0)));
        EXPECT_EQ(value_of(0), 9000);
        for (int i = 1; i < count; ++i) EXPECT_EQ(value_of(i), i);
        std::reverse(map.entries.begin(), map.entries.end());
        map.entries_moved();
        for (int i = 1; i < count; ++i) EXPECT_EQ(value_of(i), i);
        EXPECT_TRUE(map.erase(key(0)));
        EXPECT_FALSE(map.has(key(0)));
    }
}

TEST_F(payload, positions) {
    const tvrvar_shared list = json("[10,20]");
    EXPECT_EQ(show(list->get_member(int64_t(-2))), "int 10");
    for (const int64_t outside : {2, -3}) {
        EXPECT_EQ(show(list->get_member(outside)), "none ");
        EXPECT_EQ(said(), "E Out of bounds access.|");
    }
}

// Reading makes what is missing; asking whether it is there does not.
TEST_F(payload, reading_a_missing_key_adds_it) {
    const tvrvar_shared held = json("{}");
    tvr_std_json& map = held->as_json(false);
    EXPECT_FALSE(map.has("k"));
    EXPECT_TRUE(map.get_member("k")->is_none());
    EXPECT_EQ(map.to_string(true), "{\"k\":null}");
}

TEST_F(payload, copying_entries_is_shallow) {
    tvrvar_shared from = json("{\"n\":1,\"l\":[1]}"), to = none();
    to->as_json(true).set(from->as_json(false));
    to->get_member("n")->as_int(2);
    to->get_member("l")->push_back(2);
    EXPECT_EQ(show(from), "json {\"l\":[1,2],\"n\":1}");
}

TEST_F(payload, text_there_and_back) {
    struct row {
        const char *text, *printed;
    };
    const row rows[] = {
        {"[]", "[]"},
        {" { } ", "[]"},
        {"[null,true,false,-1,1.0,2.5e-7]", "[null,true,false,-1,1.0,2.5e-07]"},
        {"[1e100,100000.0,0.1,-0.0]", "[1e+100,100000.0,0.1,-0.0]"},
        {"[18446744073709551615]", "[-1]"},
        {"{\"z\":{\"y\":[{}]},\"a\":\"\"}", "{\"a\":\"\",\"z\":{\"y\":[[]]}}"},
        {"{\"k\":1,\"l\":2,\"k\":[3]}", "{\"k\":[3],\"l\":2}"},
        {"{\"k\":1,\"k\":2,\"k\":3}", "{\"k\":3}"},
        {"{\"b\":1,\"\":2,\"B\":3,\"\":4}", "{\"\":4,\"B\":3,\"b\":1}"},
        {"{\"\":1,\"\":2}", "[2]"},
        {"[\"q\\\"b\\\\n\\n\\u0001\\u00e4\\u20ac\"]", "[\"q\\\"b\\\\n\\n\\u0001\u00e4\u20ac\"]"},
        {"log: {\"a\":1} end", "{\"a\":1}"},
        {"say \"hi\" twice", "string hi"},
        {"12", "int 12"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_EQ(reprint(r.text), r.printed);
    }
    EXPECT_EQ(reprint("{\"a\":[1,{}],\"b\":{\"c\":2}}", false),
              "{\n    \"a\": [\n        1,\n        []\n    ],\n    \"b\": {\n"
              "        \"c\": 2\n    }\n}");
}

TEST_F(payload, a_container_takes_any_document) {
    tvrvar_shared held = json("[1,2]");
    tvr_std_json& into = held->as_json(false);
    EXPECT_TRUE(into.from_string("{\"a\":[true]}", false));
    EXPECT_EQ(into.to_string(true), "{\"a\":[true]}");
    EXPECT_TRUE(into.has("a"));
    EXPECT_TRUE(into.from_string("5", false));
    EXPECT_EQ(into.to_string(true), "[5]");
    EXPECT_FALSE(into.from_string("[1", true));
    EXPECT_FALSE(into.from_string("", false));
    EXPECT_EQ(into.size(), 0u);
}

TEST_F(payload, what_is_no_json) {
    for (const char* text : {"", "{", "[1,]", "nul", "]x[", "\"\xFF\"", "[1e999]"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(show(json(text)), "none ");
        EXPECT_NE(logged().find("JSON parse error at byte "), std::string::npos);
    }
}

TEST_F(payload, invalid_utf8_is_replaced) {
    using nlohmann::json;
    for (const char* text : {"\xFF", "a\xC3", "\xC3\xA4\xE2\x82", "\xED\xA0\x80", "\x7F\x1F"}) {
        tvrvar_shared list = none();
        list->as_json(true).push_back(text);
        EXPECT_EQ(list->string_value(),
                  json::array({text}).dump(-1, ' ', false, json::error_handler_t::replace));
    }
}

TEST_F(payload, depth_of_text) {
    const auto nested = [](size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    EXPECT_EQ(reprint(nested(1024)), nested(1024));
    EXPECT_EQ(show(json(nested(1025))), "none ");
    EXPECT_EQ(said(), "E JSON parse error: nesting exceeds the maximum depth of 1024.|");
    EXPECT_EQ(show(json("x" + std::string(1'000'000, '['))), "none ");
    EXPECT_NE(logged(), "0 lines");
}

TEST_F(payload, printing_what_has_no_end) {
    tvrvar_shared ring = json("[1]");
    ring->push_back(ring);
    EXPECT_EQ(ring->string_value(), "[1,\"<cycle>\"]");
    EXPECT_EQ(said(),
              "W JSON contains a reference to itself, printing \"<cycle>\" instead of recursing "
              "forever.|");
    ring->as_json(true);
    tvrvar_shared deep = none();
    for (int i = 0; i < 1100; ++i) {
        tvrvar_shared outer = none();
        outer->as_json(true).push_back(std::move(deep));
        deep = std::move(outer);
    }
    const std::string text = deep->string_value();
    EXPECT_EQ(text.find("\"<nested too deeply>\""), 1024u);
    EXPECT_EQ(said(),
              "W JSON nesting exceeds the maximum depth of 1024, printing \"<nested too deeply>\" "
              "for the rest.|");
}

// What ends with an entry may come back to its container.
class visitor : public tvrobject<visitor, "club.visitor"> {
public:
    static void script_register(tvrobject_metadata&) {}
    void release() override { list->push_back(1); }
    tvr_std_json* list = nullptr;
};

TEST_F(payload, clearing_survives_those_who_come_back) {
    tvrvar_shared held = json("[]");
    tvr_std_json& list = held->as_json(false);
    for (int i = 0; i < 3; ++i) {
        auto* guest = new visitor;
        guest->list = &list;
        list.push_back(object(guest));
    }
    list.erase(int64_t(0));
    EXPECT_EQ(list.size(), 3u);
    list.clear();
    EXPECT_EQ(list.to_string(true), "[1,1]");
}

TEST_F(payload, bytes_by_position) {
    const tvrvar_shared held = binary(std::string_view("a\0b", 3));
    tvr_std_buffer& buffer = held->as_binary();
    EXPECT_EQ(show(held->get_member(int64_t(-1))), "int 98");
    EXPECT_EQ(show(held->get_member(int64_t(3))), "none ");
    buffer.op_set_member(-1, 256 + 99);
    EXPECT_EQ(buffer.bytes[2], 99);
    EXPECT_EQ(held->string_value(), "a");  // up to the zero
    buffer.op_set_member(3, 0);
    EXPECT_EQ(said(), "E Index 3 is out of range (3)|");
}

TEST_F(payload, documentation_is_json) {
    const auto docs = nlohmann::json::parse(meter::metadata_of_class().get_docs());
    EXPECT_EQ(docs["functions"]["reset"]["description"], "Back to silence.");
    EXPECT_TRUE(docs["vars"].contains("level"));
    EXPECT_EQ(meter::metadata_of_class().find_docs("nothing"), "null");
}

TEST_F(payload, members_of_parents_have_places_of_their_own) {
    tvrobject_metadata child("club.child", tvr_typeid<int>());
    const tvrobject_metadata& without = visitor::metadata_of_class();
    child.parents = {&without, &meter::metadata_of_class()};
    EXPECT_EQ(child.find_member("peak"), 1);
    EXPECT_EQ(child.member_at(1)->name, "peak");
    EXPECT_EQ(child.find_member("none"), -1);
    EXPECT_EQ(child.member_at(2), nullptr);
    EXPECT_NE(child.find_function("reset"), nullptr);
}

}  // namespace
