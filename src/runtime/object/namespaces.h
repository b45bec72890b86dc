#pragma once

// The tree of functions, variables and native classes that scripts reach by path or `using`.
//
// Each interpreter fills a tree of its own from the registrations of the process, so nothing in it
// is shared between threads. Script thread.

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/object/metadata.h"
#include "runtime/object/object.h"
#include "runtime/value/value.h"

class tvr_namespace {
public:
    explicit tvr_namespace(std::string of) : name(std::move(of)) {}
    ~tvr_namespace();  // says so in the verbose log
    tvr_namespace(const tvr_namespace&) = delete;
    tvr_namespace& operator=(const tvr_namespace&) = delete;

    // The child of this name, made when it is missing.
    tvr_namespace& child(std::string_view child_name);

    // The same for a path; its parts are separated by dots.
    tvr_namespace& child_path(std::string_view path);

    // Null for an unknown name or path.
    tvr_namespace* find_child(std::string_view child_name) const;
    tvr_namespace* find_path(std::string_view path);
    tvr_function_def* find_function(std::string_view function) const;
    tvrvar* find_variable(std::string_view variable) const;
    const tvrobject_metadata* find_class(std::string_view class_name) const;

    tvr_function_def& add_function(std::string_view function, tvr_native_function callback,
                                   uint32_t min_params, uint32_t max_params,
                                   tvr_function_docs docs = {});

    // A new variable of this name, none at first.
    tvrvar_shared& add_variable(std::string_view variable);

    // Registers a native class: class_name(...) makes an instance and hands it the arguments.
    template <typename T>
    tvr_function_def& add_class(std::string_view class_name, uint32_t min_params,
                                uint32_t max_params, const tvr_function_docs& docs = {}) {
        classes[std::string(class_name)] = &T::metadata_of_class();
        return add_function(
            class_name,
            [](tvrobject_base*, tvr_vm_context& frame, tvr_native_args& args) {
                tvrvar_shared made = tvrvar_shared::make();
                auto* object = new T();
                made->as_object(object);
                object->construct(frame, args);
                return made;
            },
            min_params, max_params, docs);
    }

    // The same for a class whose values are no plain objects: `callback` makes them.
    tvr_function_def& add_constructor(std::string_view class_name, const tvrobject_metadata& native,
                                      tvr_native_function callback, uint32_t min_params,
                                      uint32_t max_params, const tvr_function_docs& docs = {}) {
        classes[std::string(class_name)] = &native;
        return add_function(class_name, std::move(callback), min_params, max_params, docs);
    }

    // Makes the functions of a class known to the documents, for one whose instances no script
    // makes by name.
    void add_class_docs(std::string_view class_name, const tvrobject_metadata& native) {
        classes[std::string(class_name)] = &native;
    }

    // The documentation record under a path, empty for an unknown one; the top level for an empty
    // path. As JSON text, with the keys that docs_record.h's functions write, and "vars",
    // "functions" and "children" of a namespace.
    std::string find_docs(std::string_view path);

    // Lets go of every variable's value here and below; when the interpreter ends.
    void release_variables();

    // Names in this namespace, sorted, of all kinds: for completion and for people.
    std::vector<std::string> names() const;

    const std::string name;
    std::string description;

private:
    nlohmann::ordered_json docs() const;
    nlohmann::ordered_json docs_of_children() const;
    nlohmann::ordered_json docs_of_class(std::string_view class_name,
                                         const tvrobject_metadata& native) const;

    tvr_by_name<std::unique_ptr<tvr_namespace>> children;
    tvr_by_name<std::unique_ptr<tvr_function_def>> functions;
    std::vector<std::unique_ptr<tvr_function_def>> replaced;  // by others of the same name
    tvr_by_name<const tvrobject_metadata*> classes;           // made by a function of their name
    tvr_by_name<tvrvar_shared> variables;
};
