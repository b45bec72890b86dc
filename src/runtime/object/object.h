#pragma once

// The base of every native class that scripts see.
//
// A class derives from tvrobject<T, "name.in.scripts"> and registers its functions and members in
// a static script_register(tvrobject_metadata&), which runs once, when the class is first used:
//
//     class meter : public tvrobject<meter, "club.meter"> {
//     public:
//         static void script_register(tvrobject_metadata& m) {
//             add_function(m, "level", &meter::level, 0, 0, {.description = "Loudness, 0 to 1."});
//         }
//         tvrvar_shared level(tvr_vm_context&, tvr_native_args&) { return loudness; }
//         double loudness = 0;
//     };
//
// Thread: one that runs scripts of the interpreter that the object belongs to. An object with
// threads of its own hands its data over in update_script_pre() (object/update_hooks.h).

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/forever.h"
#include "runtime/memory/pointer.h"
#include "runtime/object/function_def.h"
#include "runtime/object/metadata.h"
#include "runtime/object/serializable.h"
#include "runtime/value/value.h"

class tvrobject_base : public tvrptr_base_internal, public tvr_serializable {
public:
    explicit tvrobject_base(tvrobject_metadata& of) : metadata(&of) {}

    virtual void release_block() {}  // the control block goes; the object has gone before

    virtual std::string to_string();
    virtual std::string_view to_string_view() { return {}; }

    // What an assignment of this object yields: the object itself, shared, unless a class decides
    // to copy.
    virtual tvrptr_strong<tvrobject_base> op_assign_operator();

    // Members by name, by place, by key. A name that is none is a runtime error.
    virtual tvrvar_shared op_get_member(std::string_view name);
    virtual tvrvar_shared op_get_member(int64_t index);
    virtual tvrvar_shared op_get_member(tvrvar_shared key);
    virtual void op_set_member(std::string_view name, tvrvar_shared value);
    virtual void op_set_member(int64_t index, tvrvar_shared value);
    virtual void op_set_member(tvrvar_shared key, tvrvar_shared value);
    virtual bool op_has_member(std::string_view name);
    virtual bool op_has_member(int64_t index);
    virtual bool op_has_member(tvrvar_shared& key);

    virtual bool op_is_none() { return false; }
    // The truth test, negated.
    virtual bool op_compare_zero() { return op_is_none(); }
    virtual int64_t op_get_size() { return 0; }
    virtual bool op_get_member_index(tvrvar& result, uint64_t index);
    virtual bool op_get_member_index(tvrvar& result, std::string_view name);

    // True when the object took part; then the result is stored.
    virtual bool op_math_add_lhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_add_rhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_sub_lhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_sub_rhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_mul_lhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_mul_rhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_div_lhs(tvrvar&, tvrvar&) { return false; }
    virtual bool op_math_div_rhs(tvrvar&, tvrvar&) { return false; }

    virtual bool op_compare_equal(tvrvar&) { return false; }
    virtual bool op_compare_smaller(tvrvar&, bool /*or_equal*/) { return false; }
    virtual bool op_compare_bigger(tvrvar&, bool /*or_equal*/) { return false; }

    // The object as another type, such as an interface that it implements; null when it is none.
    virtual void* query_interface(tvr_type_id type);
    virtual bool is_instance_of(tvr_type_id type) const;
    virtual std::string_view script_type_name() const { return metadata->name; }

    // Registered members by place: -1, none and false where there is none.
    virtual int64_t get_vtable_index_for(std::string_view name) const;
    virtual tvrvar_shared vtable_var_call_get(int64_t index);
    virtual bool vtable_var_call_set(int64_t index, tvrvar_shared& value);

    // This object as a U, null when it is none.
    template <typename U>
    U* cast() {
        return is_instance_of(tvr_typeid<U>()) ? static_cast<U*>(this) : nullptr;
    }

    tvrobject_metadata* const metadata;
};

template <typename T>
T* tvrvar::object() {
    tvrobject_base* held = object_ptr();
    return held == nullptr ? nullptr : held->cast<T>();
}

// A class's name in scripts, as a template argument.
template <size_t N>
struct tvr_class_string {
    constexpr tvr_class_string(const char (&text)[N]) { std::copy_n(text, N, value); }
    char value[N];
};

template <typename T, tvr_class_string CLASS_STRING>
class tvrobject : public tvrobject_base {
public:
    tvrobject() : tvrobject_base(metadata_of_class()) {}

    // The class's record; made and filled at first use, by whichever thread comes first.
    static tvrobject_metadata& metadata_of_class() {
        static tvrobject_metadata& record = []() -> tvrobject_metadata& {
            static tvr_forever<holder> held;
            T::script_register(held.get().metadata);
            return held.get().metadata;
        }();
        return record;
    }

    bool is_instance_of(tvr_type_id type) const override {
        return type == tvr_typeid<T>() || tvrobject_base::is_instance_of(type);
    }

    // Registers a method of T.
    static tvr_function_def& add_function(tvrobject_metadata& m, std::string_view name,
                                          tvrvar_shared (T::*method)(tvr_vm_context&,
                                                                     tvr_native_args&),
                                          uint32_t min_params, uint32_t max_params,
                                          tvr_function_docs docs = {}) {
        auto def = std::make_unique<tvr_function_def>();
        def->name = name;
        def->callback = [method](tvrobject_base* object, tvr_vm_context& frame,
                                 tvr_native_args& args) {
            return (static_cast<T*>(object)->*method)(frame, args);
        };
        def->min_params = min_params;
        def->max_params = max_params;
        def->docs = std::move(docs);
        return m.add_function(std::move(def));
    }

    // Registers a member: `get` is called as get(T&) and returns a tvrvar_shared, `set` as
    // set(T&, tvrvar_shared&), with a value that it may keep. add_getter: read only.
    template <typename GET, typename SET>
    static void add_member(tvrobject_metadata& m, std::string_view name, GET get, SET set,
                           std::string_view description = {}) {
        add_accessors(m, name, description, std::move(get), [set](T& object, tvrvar_shared& value) {
            set(object, value);
            return true;
        });
    }
    template <typename GET>
    static void add_getter(tvrobject_metadata& m, std::string_view name, GET get,
                           std::string_view description = {}) {
        add_accessors(m, name, description, std::move(get),
                      [](T&, tvrvar_shared&) { return false; });
    }

private:
    template <typename GET, typename SET>
    class member_def : public tvrobject_member_def_base {
    public:
        member_def(GET getter, SET setter) : get(std::move(getter)), set(std::move(setter)) {}
        tvrvar_shared call_get_cb(tvrobject_base& object) const override {
            return get(static_cast<T&>(object));
        }
        bool call_set_cb(tvrobject_base& object, tvrvar_shared& value) const override {
            return set(static_cast<T&>(object), value);
        }

    private:
        GET get;
        SET set;
    };

    template <typename GET, typename SET>
    static void add_accessors(tvrobject_metadata& m, std::string_view name,
                              std::string_view description, GET get, SET set) {
        auto def = std::make_unique<member_def<GET, SET>>(std::move(get), std::move(set));
        def->name = name;
        def->description = description;
        m.add_member(std::move(def));
    }

    struct holder {
        tvrobject_metadata metadata{CLASS_STRING.value, tvr_typeid<T>()};
    };
};
