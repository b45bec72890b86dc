// std.json below its methods: keys, text, copies and sorts against simple models of them.

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "../runtime/value_fixture.h"
#include "runtime/payload/json_copy.h"
#include "runtime/payload/json_text.h"
#include "runtime/vm/context.h"
#include "stdobj/json_sort.h"
#include "stdobj/json_unique.h"

using namespace tavro::test;

namespace {

class json_test : public value_test {
protected:
    tvrvar_shared call(tvr_std_json& json, const char* method, tvr_native_args args) {
        tvr_vm_context frame;
        return json.metadata->find_function(method)->callback(&json, frame, args);
    }
    // A list inside of a list, so many of them.
    static tvrvar_shared chain(int depth) {
        tvrvar_shared inner = none();
        for (int i = 0; i < depth; ++i) {
            tvrvar_shared outer = none();
            outer->as_json(true).add_member(std::move(inner), "k");
            inner = std::move(outer);
        }
        return inner;
    }
};

TEST(quickcompare, is_equality) {
    const std::string base = "0123456789abcdefghijklmnop";
    for (size_t size = 0; size <= base.size(); ++size) {
        const std::string text = base.substr(0, size);
        EXPECT_TRUE(tvr_std_json::quickcompare(text, base.substr(0, size)));
        EXPECT_FALSE(tvr_std_json::quickcompare(text, text + "x"));
        for (size_t at = 0; at < size; ++at) {
            std::string other = text;
            other[at] = '!';
            EXPECT_FALSE(tvr_std_json::quickcompare(text, other)) << size << " at " << at;
        }
    }
}

// Whatever is done to a json, a key finds its latest entry.
TEST_F(json_test, keys_find_their_latest_entry) {
    std::mt19937 random(5);
    const tvrvar_shared held = none();
    tvr_std_json& json = held->as_json(true);
    std::vector<std::pair<std::string, int>> model;
    const auto pick = [&](size_t below) { return size_t(random() % below); };
    for (int round = 0; round < 20000; ++round) {
        const std::string key = pick(8) == 0 ? "" : "key " + std::to_string(pick(40));
        const size_t at = model.empty() ? 0 : pick(model.size());
        switch (pick(model.size() > 60 ? 8 : 6)) {
        case 0:
        case 1:
        case 2:
            json.add_member(round, key);
            model.emplace_back(key, round);
            break;
        case 3:
            json.erase(-1);
            if (!model.empty()) model.pop_back();
            break;
        case 4: {
            const auto gone = [&](const auto& e) { return e.first == key; };
            const size_t count = key.empty() ? 0 : std::erase_if(model, gone);
            EXPECT_EQ(json.erase(std::string_view(key)), count > 0);
            break;
        }
        case 5:
            call(json, "insert", {int64_t(at), round});
            model.insert(model.begin() + std::ptrdiff_t(at), {"", round});
            break;
        default: json.erase(int64_t(at)); model.erase(model.begin() + std::ptrdiff_t(at));
        }
        ASSERT_EQ(json.size(), model.size());
        const std::string asked = "key " + std::to_string(pick(40));
        const auto latest = std::find_if(model.rbegin(), model.rend(),
                                         [&](const auto& e) { return e.first == asked; });
        tvrvar* found = json.find(asked);
        ASSERT_EQ(found != nullptr, latest != model.rend()) << asked << " in round " << round;
        const int value = found != nullptr ? latest->second : 0;
        ASSERT_EQ(found != nullptr ? found->int_value() : 0, value);
    }
}

nlohmann::json random_document(std::mt19937& random, int depth) {
    using json = nlohmann::json;
    switch (random() % (depth > 0 ? 8 : 6)) {
    case 0: return nullptr;
    case 1: return random() % 2 == 0;
    case 2: return int64_t(random()) - 2000000000;
    case 3: return double(int64_t(random()) - 2000000000) / 1024;
    case 4: return std::string(random() % 20, char('a' + random() % 26));
    case 5: return "\u00e4\"\\\n\u20ac";
    case 6: {
        json list = json::array();
        for (size_t i = random() % 5 + 1; i > 0; --i) {
            list.push_back(random_document(random, depth - 1));
        }
        return list;
    }
    default: {
        json map = json::object();
        for (size_t i = random() % 30 + 1; i > 0; --i) {
            map["k" + std::to_string(random() % 100)] = random_document(random, depth - 1);
        }
        return map;
    }
    }
}

// Objects shuffled, and with keys that a later one hides.
std::string shuffled_text(const nlohmann::json& value, std::mt19937& random) {
    if (!value.is_object()) {
        if (!value.is_array()) return value.dump();
        std::string text;
        for (const auto& e : value) text += (text.empty() ? "" : ",") + shuffled_text(e, random);
        return "[" + text + "]";
    }
    std::vector<std::string> members;
    for (const auto& [key, member] : value.items()) {
        members.push_back("\"" + key + "\":" + shuffled_text(member, random));
    }
    std::shuffle(members.begin(), members.end(), random);
    std::string text = "{\"" + value.begin().key() + "\":\"hidden\"";
    for (const std::string& member : members) text += "," + member;
    return text + "}";
}

TEST_F(json_test, text_is_read_and_printed_as_the_library_does) {
    std::mt19937 random(6);
    for (int i = 0; i < 300; ++i) {
        const nlohmann::json document = random_document(random, 4);
        const std::string text = shuffled_text(document, random);
        const tvrvar_shared read = json(text);
        std::string compact, pretty;
        tvrvar_to_json(*read, compact, true);
        tvrvar_to_json(*read, pretty, false);
        ASSERT_EQ(compact, document.dump()) << text;
        ASSERT_EQ(pretty, document.dump(4));
        if (read->type == tvrvar_type_json) {
            ASSERT_EQ(tvr_copy_json(read->as_json(false))->string_value(), document.dump());
        }
    }
}

TEST_F(json_test, copies_have_the_shape_of_their_source) {
    const tvrvar_shared held = json("{\"both\":[],\"shared\":[1]}");
    tvr_std_json& source = held->as_json(false);
    const tvrvar_shared shared = source.get_member("shared");
    source.get_member("both")->push_back(shared);
    source.get_member("both")->push_back(held);
    const tvrvar_shared copy = tvr_copy_json(source);
    const tvrvar_shared both = copy->get_member("both");
    const auto object_in = [](const tvrvar_shared& of, int64_t at) {
        return of->get_member(at)->object_ptr();
    };
    EXPECT_NE(copy->object_ptr(), held->object_ptr());
    EXPECT_EQ(object_in(both, 1), copy->object_ptr());
    EXPECT_EQ(object_in(both, 0), copy->get_member("shared")->object_ptr());
    EXPECT_NE(object_in(both, 0), shared->object_ptr());
    source.clear_free();
    EXPECT_EQ(shared->size(), 0);
    copy->as_json(false).clear_free();
}

// Far deeper than the native stack would bear.
TEST_F(json_test, long_chains_are_walked_without_recursion) {
    constexpr int depth = 300000;
    tvrvar_shared held = chain(depth);
    const tvrvar_shared second = held->get_member("k");
    held->as_json(false).clear_free();
    EXPECT_EQ(second->size(), 0);
    held = chain(depth);
    held->as_json(false).remove_key("k");
    EXPECT_EQ(held->size(), 0);
    held = chain(depth);
    EXPECT_EQ(tvr_copy_json(held->as_json(false))->size(), 1);
    EXPECT_EQ(
        said(),
        "W JSON copy exceeds the maximum nesting depth of 1024, the remaining members are not "
        "copied.|");
}

TEST_F(json_test, cyclic_pushing_keeps_its_memory) {
    const tvrvar_shared held = none();
    tvr_std_json& list = held->as_json(true);
    for (int i = 0; i < 8; ++i) call(list, "push_cyclic", {i, 8});
    const tvr_std_json::entry* memory = list.entries.data();
    for (int i = 8; i < 100; ++i) call(list, "push_cyclic", {i, 8});
    EXPECT_EQ(list.entries.data(), memory);
    EXPECT_EQ(list.to_string(true), "[92,93,94,95,96,97,98,99]");
}

// What ends with an entry may come back to its container.
class visitor : public tvrobject<visitor, "club.visitor"> {
public:
    static void script_register(tvrobject_metadata&) {}
    explicit visitor(tvr_std_json& of) : list(of) {}
    void release() override { list.push_back(1); }
    tvr_std_json& list;
};

TEST_F(json_test, changes_survive_those_who_come_back) {
    struct row {
        const char* method;
        tvr_native_args args;
        const char* left;
    };
    const row rows[] = {
        {"resize", {1}, "[0,1,1]"},
        {"push_cyclic", {5, 1}, "[1,1,5]"},
        {"push_cyclic", {5, 2}, "[\"<club.visitor>\",1,5]"},
        {"erase", {-1}, "[0,\"<club.visitor>\",1]"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.method);
        const tvrvar_shared held = json("[0]");
        tvr_std_json& list = held->as_json(false);
        for (int i = 0; i < 2; ++i) list.push_back(object(new visitor(list)));
        call(list, r.method, r.args);
        EXPECT_EQ(list.to_string(true), r.left);
        list.clear();
    }
}

TEST_F(json_test, sorting_by_member_is_stable) {
    std::mt19937 random(7);
    for (const bool texts : {false, true}) {
        for (const bool descending : {false, true}) {
            const tvrvar_shared held = none();
            tvr_std_json& map = held->as_json(true);
            std::vector<std::pair<int, int>> model;  // member, place
            for (int i = 0; i < 500; ++i) {
                const int value = int(random() % 20) + 100;
                const tvrvar_shared row = map.create_member("k" + std::to_string(i));
                tvr_std_json& members = row->as_json(true);
                members.set("place", i);
                if (value == 100) continue;
                members.set("n", texts ? tvrvar_shared(std::to_string(value)) : value);
                model.emplace_back(value, i);
            }
            std::stable_sort(model.begin(), model.end(), [&](const auto& a, const auto& b) {
                return descending ? a.first > b.first : a.first < b.first;
            });
            tvr_sort_by_member(map, "n", descending);
            for (size_t i = 0; i < map.size(); ++i) {
                const tvrvar_shared row = map.entries[i].value;
                ASSERT_EQ(row->has_member("n"), i < model.size()) << i;
                if (i >= model.size()) continue;
                ASSERT_EQ(row->get_member("place")->int_value(), model[i].second) << i;
            }
            EXPECT_EQ(map.find("k7")->get_member("place")->int_value(), 7);
        }
    }
}

TEST_F(json_test, unique_of_what_cannot_be_marked) {
    struct row {
        const char *what, *text, *left;
    };
    const row rows[] = {
        {"numbers", "[1,1.0,2,1e300,1e300,-0.0,0]", "[1,2,1e+300,-0.0]"},
        {"lengths of texts", "[[\"a\",\"bc\"],[\"ab\",\"c\"],[\"a\",\"bc\"]]",
         "[[\"a\",\"bc\"],[\"ab\",\"c\"]]"},
        {"shapes", "[[[1],2],[[1,2]],[1,[2]],[[1],2]]", "[[[1],2],[[1,2]],[1,[2]]]"},
        {"keys", "[{\"a\":1},{\"b\":1},{\"a\":1}]", "[{\"a\":1},{\"b\":1}]"},
        {"texts of numbers", "[1,\"1\",\"1\"]", "[1,\"1\"]"},
        {"truth", "[true,1,false,0,null]", "[true,false,null]"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const tvrvar_shared list = json(r.text);
        tvr_unique_entries(list->as_json(false));
        EXPECT_EQ(list->string_value(), r.left);
    }
    const tvrvar_shared rings = json("[[],[]]");
    const tvrvar_shared nan(double(NAN));
    for (int64_t i = 0; i < 2; ++i) {
        const tvrvar_shared ring = rings->get_member(i);
        ring->push_back(ring);
        rings->push_back(nan);
    }
    tvr_unique_entries(rings->as_json(false));
    EXPECT_EQ(rings->size(), 4);
    rings->as_json(false).clear_free();
}

}  // namespace
