#include <atomic>
#include <thread>

#include "value_fixture.h"

using namespace tavro::test;

namespace {

class value_assign : public value_test {};

TEST_F(value_assign, copies_or_shares) {
    tvrvar_shared text("a"), bytes = binary("ab"), list = json("[1]");
    tvrvar_shared text2 = none(), bytes2 = none(), list2 = none();
    text2->set(text);
    bytes2->set(bytes);
    list2->set(list);
    text->as_string("b");
    bytes->as_binary().bytes[0] = 'x';
    list->push_back(2);
    EXPECT_EQ(show(text2), "string a");
    EXPECT_EQ(show(bytes2), "binary ab");
    EXPECT_EQ(show(list2), "json [1,2]");
    bytes2->set(bytes);  // into the buffer that it has
    EXPECT_EQ(show(bytes2), "binary xb");
}

TEST_F(value_assign, every_type_onto_every_type) {
    const auto values = [&] {
        return std::vector<tvrvar_shared>{
            none(), 1, 2.5, "text", binary("b"), json("{\"k\":1}"), object(new meter)};
    };
    for (const tvrvar_shared& target : values()) {
        for (const tvrvar_shared& source : values()) {
            tvrvar_shared over = none();
            over->set(*target);
            over->set(*source);
            EXPECT_EQ(show(over), show(source));
            EXPECT_TRUE(over->compare_equal(*source));
        }
    }
}

TEST_F(value_assign, a_value_may_come_from_what_it_replaces) {
    tvrvar_shared list = json("[[\"deep\"]]");
    tvrvar_shared inner = list->get_member(int64_t(0));
    list->set(inner);
    inner.release();
    EXPECT_EQ(show(list), "json [\"deep\"]");
    list->set(*list->get_member(int64_t(0)));
    EXPECT_EQ(show(list), "string deep");
    list->as_string(list->string_view().substr(1));
    EXPECT_EQ(show(list), "string eep");
    list->set(list);
    EXPECT_EQ(show(list), "string eep");
}

TEST_F(value_assign, buffers_in_use) {
    const std::string refused =
        "E std.buffer is in use by a running kernel launch (call wait() on the launch first)|";
    tvrvar_shared held = binary("abc"), other = binary("x");
    held->as_binary().write_locks = 1;
    other->set(held);
    EXPECT_EQ(said(), refused);
    held->set(other);
    EXPECT_EQ(said(), refused);
    EXPECT_FALSE(held->compare_equal(*held));
    EXPECT_EQ(said(), refused);
    held->as_binary().write_locks = 0;
    held->as_binary().read_locks = 1;  // others may read meanwhile
    other->set(held);
    EXPECT_EQ(show(other), "binary abc");
    held->set(other);
    EXPECT_EQ(said(), refused);
    held->as_binary().read_locks = 0;
    EXPECT_EQ(show(held), "binary abc");
}

// Shares itself, unless asked for a copy.
class tape : public tvrobject<tape, "club.tape"> {
public:
    static void script_register(tvrobject_metadata&) {}
    tvrptr_strong<tvrobject_base> op_assign_operator() override {
        return tvrptr_strong<tvrobject_base>(new tape);
    }
};

TEST_F(value_assign, objects_decide_unless_bound) {
    tvrvar_shared shared = object(new meter), copied = object(new tape), target = none();
    target->set(shared);
    EXPECT_EQ(target->object_ptr(), shared->object_ptr());
    target->set(copied);
    EXPECT_NE(target->object_ptr(), copied->object_ptr());
    EXPECT_NE(target->object<tape>(), nullptr);
    EXPECT_EQ(target->object<meter>(), nullptr);
    copied->flags |= tvrvar::flag_shares_object;
    target->set(copied);
    EXPECT_EQ(target->object_ptr(), copied->object_ptr());
}

TEST_F(value_assign, functions_take_the_scope_of_the_running_task) {
    test_instance routine, own, root;
    tvrvar_shared free = none(), bound = none(), target = none();
    free->as_function(&routine, nullptr);
    bound->as_function(&routine, &own);
    tvr_local().root_task = root.__tvr_get_or_create_control_block();
    target->set(free);
    EXPECT_EQ(target->function->task.control_block()->object, &root);
    EXPECT_TRUE(target->compare_equal(*free));    // one task is empty
    EXPECT_FALSE(target->compare_equal(*bound));  // two tasks
    target->set(bound);
    EXPECT_EQ(target->function->task.control_block()->object, &own);
    tvr_local().root_task = nullptr;
}

TEST_F(value_assign, references) {
    tvrvar_shared a(1), r = ref(a), rr = ref(r), copy = none();
    copy->set(rr);
    EXPECT_EQ(copy->type, tvrvar_type_int);
    tvrvar_shared seven(7);
    rr->set(seven);  // writes the target
    EXPECT_EQ(show(a), "int 7");
    EXPECT_EQ(rr->type, tvrvar_type_ref);
    tvrvar_shared b("b");
    rr->ref_to(b);  // binds anew
    EXPECT_EQ(show(rr), "string b");
    EXPECT_EQ(show(a), "int 7");
    rr->set(rr);
    a->set(r);  // onto itself, through the reference
    EXPECT_EQ(show(a), "int 7");
    r->ref_to(nullptr);
    EXPECT_TRUE(r->is_none());
    b->no_ref = tvrvar::no_ref_copies;
    rr->ref_to(b);
    EXPECT_EQ(rr->type, tvrvar_type_string);
}

TEST_F(value_assign, a_reference_outlives_the_name_of_its_target) {
    tvrvar_shared r = ref(tvrvar_shared("kept"));
    EXPECT_EQ(show(r), "string kept");
    tvrvar_shared list = json("[1]");
    tvrvar_shared in_list = ref(list->get_member(int64_t(0)));
    list->as_none();
    EXPECT_EQ(show(in_list), "int 1");
}

TEST_F(value_assign, rings_of_references) {
    const std::string warned = "W Circular reference detected in deref().|";
    for (const int length : {1, 2, 3, 7}) {
        SCOPED_TRACE(length);
        std::vector<tvrvar_shared> ring;
        for (int i = 0; i < length; ++i) ring.push_back(none());
        for (int i = 0; i < length; ++i) ring[i]->ref_to(ring[(i + 1) % length]);
        tvrvar_shared outside = ref(ring[0]);
        EXPECT_TRUE(outside->deref()->is_none());
        EXPECT_EQ(said(), warned);
        tvrvar_shared one(1);
        outside->set(one);
        EXPECT_EQ(said(), warned);
        EXPECT_EQ(outside->int_value(), 0);
        EXPECT_EQ(said(), warned);
        for (auto& link : ring) link->as_none();
    }
}

TEST_F(value_assign, what_is_deep_ends_without_a_stack) {
    constexpr int depth = 100'000;
    tvrvar_shared list = none(), chain(1);
    for (int i = 0; i < depth; ++i) {
        tvrvar_shared outer = none();
        outer->as_json(true).push_back(std::move(list));
        list = std::move(outer);
        chain = ref(std::move(chain));
    }
    EXPECT_EQ(chain->int_value(), 1);
    tvrvar_shared both = none();
    both->as_json(true).push_back(std::move(list));
    both->as_json(false).push_back(std::move(chain));
}

TEST_F(value_assign, member_handles) {
    const tvrptr_strong<meter> object(new meter);
    tvrvar_shared handles[] = {none(), none(), none(), none()};
    tvrvar_shared name("level"), number(0);
    handles[0]->as_object_member(object.get(), "level");
    handles[1]->as_object_member(object.get(), object->get_vtable_index_for("level"), true);
    handles[2]->as_object_member(object.get(), name);
    handles[3]->as_object_member(object.get(), 0, false);
    int64_t wanted = 10;
    for (const tvrvar_shared& handle : handles) {
        tvrvar_shared value(++wanted);
        ref(handle)->set(value);
        EXPECT_TRUE(handle->is_member_handle());
        EXPECT_EQ(object->level, wanted);
        EXPECT_EQ(ref(handle)->int_value(), wanted);
        EXPECT_EQ(handle->string_value(), std::to_string(wanted));
        EXPECT_TRUE(handle->increment_value(*value));
        EXPECT_EQ(object->level, 2 * wanted);
    }
    tvrvar_shared copy = none();
    copy->set(handles[0]);
    EXPECT_EQ(copy->type, tvrvar_type_int);
    handles[0]->as_object_member(object.get(), "peak");
    handles[0]->set(number);
    EXPECT_EQ(said(), "E Member 'peak' of 'club.meter' cannot be written.|");
    handles[0]->as_object_member(object.get(), "volume");
    EXPECT_EQ(show(handles[0]), "none ");
    EXPECT_NE(said(), "");
}

// The machine turns the object on its stack into the handle, which keeps it alive from then on.
TEST_F(value_assign, a_variable_becomes_a_handle_on_what_it_held) {
    tvrvar_shared slot = none(), key("level");
    slot->as_object(new meter);
    slot->as_object_member(slot->object_ptr(), "level");
    EXPECT_EQ(slot->int_value(), 5);
    slot->as_object_member(slot->member_literal->object.get(), 0, false);
    EXPECT_EQ(slot->int_value(), 5);
    slot->as_object_member(slot->member_index->object.get(), key);
    EXPECT_EQ(slot->int_value(), 5);
    slot->as_function(meter::metadata_of_class().find_function("reset"),
                      slot->member_var->object.get());
    EXPECT_EQ(static_cast<meter*>(slot->ext_function->object.get())->level, 5);
}

TEST_F(value_assign, handles_on_dead_objects) {
    tvrvar_shared by_name = none(), by_index = none(), by_key = none(), key("level"), one(1);
    {
        meter gone;
        by_name->as_object_member(&gone, "level");
        by_index->as_object_member(&gone, 3, false);
        by_key->as_object_member(&gone, key);
    }
    EXPECT_TRUE(by_name->deref()->is_none());
    EXPECT_EQ(said(), "E Tried to access member 'level' on an invalid object.|");
    EXPECT_TRUE(by_index->deref()->is_none());
    EXPECT_EQ(said(), "E Tried to access index '3' on an invalid object.|");
    EXPECT_TRUE(by_key->deref()->is_none());
    EXPECT_EQ(said(), "E Tried to access member 'level' on an invalid object.|");
    for (const tvrvar_shared& handle : {by_name, by_index, by_key}) {
        handle->set(one);
        EXPECT_EQ(said(), "W Cannot set object member, doesnt exist anymore!|");
    }
}

TEST_F(value_assign, members_of_values) {
    tvrvar_shared map = json("{\"a\":1}"), instance = none(), key("a"), place(-1), text("deck");
    instance->as_class(new test_instance);
    EXPECT_EQ(show(map->get_member("a")), "int 1");
    EXPECT_EQ(show(map->get_member(key)), "int 1");
    EXPECT_EQ(show(map->get_member(place)), "int 1");
    EXPECT_FALSE(map->has_member("b"));
    EXPECT_EQ(show(map->get_member("b")), "none ");
    EXPECT_TRUE(map->has_member("b"));  // asking made it
    EXPECT_EQ(show(instance->get_member("on")), "int 1");
    EXPECT_EQ(show(text->get_member(place)), "string k");
    EXPECT_EQ(show(object(new meter)->get_member("reset")), "ext_function ");
    EXPECT_NE(said(), "");
    EXPECT_EQ(show(tvrvar_shared(1)->get_member("x")), "none ");
    EXPECT_EQ(said(), "E Type 'int' has no member 'x'.|");
    EXPECT_EQ(show(object(new meter)->get_member("x")), "none ");
    EXPECT_EQ(said(), "E 'club.meter' does not have member 'x'!|");
}

TEST_F(value_assign, a_negative_count_is_left_alone) {
    auto* broken = tvrvar_new();
    broken->refcount = -1;
    tvrvar_free(broken);
    EXPECT_EQ(thread.log.lines(), std::vector<std::string>{"refcount < 0 !!!"});
    EXPECT_EQ(thread.pools.live(tvr_pool_kind::variables), 1u);
    broken->refcount = 0;
    tvrvar_free(broken);
    thread.log.forget();
}

TEST_F(value_assign, other_threads_send_variables_home_with_what_they_hold) {
    constexpr int count = 20'000;  // more than the mailbox has places
    const tvrvar_shared list = json("[1]");
    for (const bool owner_works : {false, true}) {
        SCOPED_TRACE(owner_works);
        std::vector<tvrvar_shared> given;
        for (int i = 0; i < count; ++i) {
            tvrvar_shared one = none();
            if (i % 3 == 0) one->as_string("text");
            if (i % 3 == 1) one->set(*list);
            given.push_back(std::move(one));
        }
        std::atomic<bool> done{false};
        std::thread guest([&] {
            thread.bind_guest();
            given.clear();
            tvrvar_shared own("made here");  // of the heap, with its payload
            own->as_json(true).push_back(2.5);
            own.release();
            tvrvar_shared(1).release();
            done = true;
        });
        while (owner_works && !done) {  // and lets others in when the mailbox is full
            const tvr_global_lock hold(&thread.lock);
            tvrvar_shared copy = none();
            copy->set(*list);
            thread.pools.collect_garbage();
        }
        guest.join();
        thread.pools.collect_garbage();
        EXPECT_EQ(thread.pools.live(tvr_pool_kind::variables), 1u);  // `list`
        EXPECT_EQ(thread.pools.live(tvr_pool_kind::strings), 0u);
    }
}

TEST_F(value_assign, without_an_interpreter_variables_come_from_the_heap) {
    std::thread stranger([] {
        tvrvar_shared text("heap");
        EXPECT_EQ(text->slot, tvr_not_pooled);
        tvrvar_shared copy = tvrvar_shared::make();
        copy->set(text);
        EXPECT_EQ(copy->string_view(), "heap");
    });
    stranger.join();
}

}  // namespace
