#pragma once

// Functions, classes and interfaces by name, in the blocks that define them. Thread: one compile.

#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "frontend/strict/model.h"

struct tvr_strict_definition {
    tvr_strict_function* function = nullptr;  // one of the two
    tvr_strict_class* class_def = nullptr;
};

class tvr_strict_names {
public:
    void open_block() { blocks.push_back(open.size()); }
    void close_block() {
        while (open.size() > blocks.back()) {
            newest[open.back().name] = open.back().hidden;
            open.pop_back();
        }
        blocks.pop_back();
    }
    void define(std::string_view name, const tvr_strict_definition& made) {
        tvr_strict_definition& place = newest[name];
        open.push_back({name, std::exchange(place, made)});
    }
    tvr_strict_definition find(std::string_view name) const {
        const auto known = newest.find(name);
        return known != newest.end() ? known->second : tvr_strict_definition{};
    }

private:
    struct opened {
        std::string_view name;
        tvr_strict_definition hidden;
    };
    std::unordered_map<std::string_view, tvr_strict_definition> newest;
    std::vector<opened> open;
    std::vector<size_t> blocks;
};
