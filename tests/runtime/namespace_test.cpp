// The tree of names that scripts reach, its documentation, and the hooks of native objects.

#include <nlohmann/json.hpp>

#include "runtime/object/namespaces.h"
#include "runtime/object/update_hooks.h"
#include "runtime/vm/context.h"
#include "value_fixture.h"

using namespace tavro::test;

namespace {

using tvr_tree_test = value_test;

tvrvar_shared nothing(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    return {};
}

TEST_F(tvr_tree_test, names_are_found_by_path) {
    tvr_namespace root("");
    tvr_namespace& colors = root.child_path("club.light.colors");
    colors.add_function("mix", nothing, 1, 2);
    colors.add_variable("red")->as_int(255);
    EXPECT_EQ(&root.child_path("club.light.colors"), &colors);

    const struct {
        const char* path;
        const char* name;  // of what is found; null for nothing
    } rows[] = {
        {"club", "club"},       {"club.light.colors", "colors"},
        {"club.dark", nullptr}, {"light", nullptr},
        {"", nullptr},          {"club.", nullptr},
        {".club", nullptr},     {"club..light", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        tvr_namespace* found = root.find_path(row.path);
        ASSERT_EQ(found != nullptr, row.name != nullptr);
        EXPECT_EQ(found != nullptr ? found->name : "", row.name != nullptr ? row.name : "");
    }
    EXPECT_NE(colors.find_function("mix"), nullptr);
    EXPECT_EQ(colors.find_function("red"), nullptr);
    EXPECT_EQ(colors.find_variable("red")->int_value(), 255);
    EXPECT_EQ(colors.find_variable("mix"), nullptr);
    EXPECT_EQ(colors.names(), (std::vector<std::string>{"mix", "red"}));
    root.release_variables();
    EXPECT_EQ(colors.find_variable("red"), nullptr);
}

// Programs hold pointers to definitions.
TEST_F(tvr_tree_test, a_function_that_is_registered_anew_leaves_the_old_one_valid) {
    tvr_namespace root("");
    const tvr_function_def& old = root.add_function("f", nothing, 1, 1);
    const tvr_function_def& later = root.add_function("f", nothing, 2, 2);
    EXPECT_EQ(root.find_function("f"), &later);
    EXPECT_EQ(old.min_params, 1u);
}

// A class of scripts that is made with arguments.
class dimmer : public tvrobject<dimmer, "club.dimmer"> {
public:
    static void script_register(tvrobject_metadata& m) {
        m.description = "Makes light of numbers.";
        add_function(m, "fade", &dimmer::fade, 1, 1, {.description = "Slowly."});
        add_getter(m, "level", [](dimmer& self) { return tvrvar_shared(self.level); });
    }
    void construct(tvr_vm_context&, tvr_native_args& args) { level = args[0]->int_value(); }
    tvrvar_shared fade(tvr_vm_context&, tvr_native_args&) { return level; }

    int64_t level = 0;
};

TEST_F(tvr_tree_test, documentation_is_found_by_path) {
    tvr_namespace root("");
    tvr_namespace& club = root.child("club");
    club.description = "Everything in the club.";
    club.add_variable("bpm")->as_float(174.0);
    club.add_class<dimmer>("dimmer", 1, 1, {.params = {"level: int - 0 to 255"}});
    club.child("light").add_function("on", nothing, 0, tvr_function_def::any_number,
                                     {.description = "Light!", .examples = {"on();"}});
    const auto docs = [&](const char* path) {
        const std::string text = root.find_docs(path);
        return text.empty() ? nlohmann::json() : nlohmann::json::parse(text);
    };
    EXPECT_EQ(docs("")["children"]["club"]["description"], "Everything in the club.");
    EXPECT_EQ(docs("club")["vars"]["bpm"], "float");
    EXPECT_EQ(docs("club")["functions"]["dimmer"]["min_params"], 1);
    EXPECT_TRUE(docs("club")["children"].contains("light"));
    EXPECT_EQ(docs("club.light.on")["description"], "Light!");
    EXPECT_EQ(docs("club.light.on")["examples"][0], "on();");
    EXPECT_EQ(docs("club.dimmer")["description"], "Makes light of numbers.");
    EXPECT_EQ(docs("club.dimmer")["params"][0], "level: int - 0 to 255");
    EXPECT_EQ(docs("club.dimmer")["functions"]["fade"]["description"], "Slowly.");
    EXPECT_EQ(docs("club.dimmer.fade")["min_params"], 1);
    EXPECT_EQ(docs("club.bpm")["type"], "float");
    for (const char* unknown :
         {"pub", "club.pub", "club.dimmer.pub", "club.bpm.x", "club.light.on.x", "."}) {
        EXPECT_EQ(root.find_docs(unknown), "") << unknown;
    }
}

TEST_F(tvr_tree_test, a_class_makes_instances) {
    tvr_namespace root("");
    tvr_function_def& make = root.add_class<dimmer>("dimmer", 1, 1);
    tvr_vm_context frame;
    tvr_native_args args{tvrvar_shared(42)};
    const tvrvar_shared made = make.callback(nullptr, frame, args);
    ASSERT_NE(made->object<dimmer>(), nullptr);
    EXPECT_EQ(made->get_member("level")->int_value(), 42);
}

// An object whose hooks note their calls and then do what the test says.
class hooked : public tvrobject_update_pre, public tvrobject_update_post {
public:
    hooked(std::string called, std::string& to) : name(std::move(called)), calls(to) {}
    void update_script_pre() override {
        calls += name;
        const auto now = then;  // it may end this object
        if (now) now();
    }
    void update_script_post() override { calls += name + "'"; }

    const std::string name;
    std::string& calls;
    std::function<void()> then;
};

class update_hooks_test : public value_test {
protected:
    update_hooks_test() { tvr_local().updates = &lists; }
    ~update_hooks_test() override { tvr_local().updates = nullptr; }

    std::string frame() {
        lists.call_pre();
        lists.call_post();
        return std::exchange(calls, {});
    }

    tvr_update_lists lists;
    std::string calls;
};

TEST_F(update_hooks_test, are_called_in_order_of_registration) {
    hooked a("a", calls);
    {
        hooked b("b", calls);
        hooked c("c", calls);
        EXPECT_EQ(lists.live(), 6u);
        EXPECT_EQ(frame(), "abca'b'c'");
    }
    EXPECT_EQ(frame(), "aa'");
}

TEST_F(update_hooks_test, may_come_and_go_while_they_are_called) {
    auto a = std::make_unique<hooked>("a", calls);
    auto b = std::make_unique<hooked>("b", calls);
    auto c = std::make_unique<hooked>("c", calls);
    std::unique_ptr<hooked> late;
    bool inside = false;
    b->then = [&] {
        if (std::exchange(inside, true)) return;
        a.reset();
        c.reset();
        late = std::make_unique<hooked>("d", calls);
        lists.call_pre();  // a walk inside of the walk leaves the list in order
        b.reset();
    };
    lists.call_pre();
    EXPECT_EQ(std::exchange(calls, {}), "abbd");
    EXPECT_EQ(lists.live(), 2u);
    EXPECT_EQ(frame(), "dd'");
}

TEST_F(update_hooks_test, errors_go_no_further) {
    hooked a("a", calls), b("b", calls);
    a.then = [] { throw std::runtime_error("no light"); };
    EXPECT_EQ(frame(), "aba'b'");
    EXPECT_EQ(said(), "E update_script_pre: no light|");
}

TEST_F(update_hooks_test, outlive_their_interpreter) {
    auto lists_of_interpreter = std::make_unique<tvr_update_lists>();
    tvr_local().updates = lists_of_interpreter.get();
    hooked a("a", calls);
    lists_of_interpreter.reset();
    tvr_local().updates = &lists;
}

}  // namespace
