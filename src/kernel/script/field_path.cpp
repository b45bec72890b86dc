#include "kernel/script/field_path.h"

#include "base/ascii.h"
#include "base/join.h"

namespace {

// Reads a path from left to right, one field deeper with each name.
class path_reader {
public:
    path_reader(std::string_view of, tvr_kernel_field& into, std::string& to)
        : path(of), found(into), error(to) {}

    bool run(const tvrk_struct& record) {
        if (!enter_field(record)) return false;
        while (at < path.size()) {
            const char c = path[at++];
            if (c == '[' ? !enter_element() : c != '.' || !enter_member()) return false;
        }
        return true;
    }

    bool malformed() const { return error.empty(); }

private:
    std::string_view read_name() {
        const size_t begin = at;
        while (at < path.size() && tvr_is_in_name(path[at])) ++at;
        return path.substr(begin, at - begin);
    }

    bool enter_field(const tvrk_struct& record) {
        const std::string_view name = read_name();
        if (name.empty()) return false;
        const tvrk_field* field = record.find(name);
        if (field == nullptr) return no_field(record.name, name);
        found.offset += field->offset;
        found.type = field->type;
        found.count = field->count;
        return true;
    }

    bool enter_member() {
        const std::string_view before = path.substr(0, at - 1);
        if (found.count == 0 && found.type.is_struct()) return enter_field(*found.type.record);
        if (found.count != 0 || !found.type.is_vector()) {
            error = tvr_join("'", before, "' is not a struct field");
            return false;
        }
        const std::string_view name = read_name();
        if (name.empty()) return false;
        const size_t lane =
            name.size() == 1 ? tvrk_lane_names.find(name[0]) : std::string_view::npos;
        if (lane >= found.type.lanes) return no_field(tvrk_type_name(found.type), name);
        found.offset += lane * tvrk_prim_size(found.type.prim);
        found.type = tvrk_scalar(found.type.prim);
        return true;
    }

    bool enter_element() {
        constexpr uint64_t far = 1'000'000'000'000;
        const size_t begin = at;
        uint64_t index = 0;
        for (; at < path.size() && tvr_is_digit(path[at]); ++at) {
            if (index < far) index = index * 10 + uint64_t(path[at] - '0');
        }
        const std::string_view digits = path.substr(begin, at - begin);
        if (digits.empty() || at == path.size() || path[at++] != ']' || found.count == 0) {
            return false;
        }
        if (index >= found.count) {
            error = tvr_join("array index ", digits, " is out of bounds in '", path, "'");
            return false;
        }
        found.offset += index * found.type.size();
        found.count = 0;
        return true;
    }

    bool no_field(std::string_view record, std::string_view name) {
        error = tvr_join("struct '", record, "' has no field '", name, "' in '", path, "'");
        return false;
    }

    std::string_view path;
    tvr_kernel_field& found;
    std::string& error;
    size_t at = 0;
};

}  // namespace

bool tvr_find_kernel_field(const tvrk_struct& record, std::string_view path,
                           tvr_kernel_field& found, std::string& error) {
    found = {};
    error.clear();
    path_reader reader(path, found, error);
    if (reader.run(record)) return true;
    if (reader.malformed()) error = tvr_join("invalid field path '", path, "'");
    return false;
}
