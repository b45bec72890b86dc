#include "frontend/strict/type.h"

#include "base/join.h"
#include "frontend/strict/model.h"
#include "runtime/object/metadata.h"

using kind = tvr_strict_kind;

namespace {

std::string_view plain_name(kind of) {
    switch (of) {
    case kind::dynamic: return "dynamic";
    case kind::any: return "any";
    case kind::none: return "None";
    case kind::boolean: return "bool";
    case kind::integer: return "int";
    case kind::real: return "float";
    case kind::number: return "number";
    case kind::text: return "string";
    case kind::list: return "list";
    case kind::map: return "map";
    case kind::json: return "json";
    case kind::function: return "function";
    case kind::object: return "object";
    case kind::instance:
    case kind::class_def: return "class";
    case kind::kernel: return "std.kernel";
    case kind::nothing: return "void";
    }
    return "dynamic";
}

bool same_details(const tvr_strict_type& a, const tvr_strict_type& b) {
    return a.literal == b.literal && a.element == b.element;
}

// Of two types with different kinds or details.
tvr_strict_type widened(const tvr_strict_type& a, const tvr_strict_type& b) {
    const auto counts = [](const tvr_strict_type& t) {
        return t.is == kind::integer || t.is == kind::real || t.is == kind::number;
    };
    if (counts(a) && counts(b)) return kind::number;
    if (a.is_json() && b.is_json()) return kind::json;
    return a.is == b.is ? a.is : kind::dynamic;
}

bool plain_number(const tvr_strict_type& value) {
    return value.is_numeric() || value.is == kind::text;
}

bool fits_container(const tvr_strict_type& declared, const tvr_strict_type& value) {
    if (value.is == kind::json) return true;
    if (value.is != declared.is) return false;
    if (declared.literal || value.literal || declared.element == nullptr ||
        value.element == nullptr)
        return true;
    return declared.element->is == value.element->is || !declared.element->is_known() ||
           !value.element->is_known();
}

bool fits_instance(const tvr_strict_type& declared, const tvr_strict_type& value) {
    if (value.is != kind::instance) return value.is_none();
    return value.of_class == nullptr || declared.of_class == nullptr ||
           declared.of_class->may_be(*value.of_class, value.exact);
}

}  // namespace

tvr_strict_type tvr_strict_type::without_none() const {
    tvr_strict_type made = is_none() ? tvr_strict_type() : *this;
    made.maybe_none = false;
    return made;
}

std::string tvr_strict_type_name(const tvr_strict_type& type) {
    switch (type.is) {
    case kind::list:
    case kind::map:
        if (type.literal || type.element == nullptr) break;
        return tvr_join(plain_name(type.is), "<", tvr_strict_type_name(*type.element), ">");
    case kind::instance:
    case kind::class_def:
        if (type.of_class != nullptr) return tvr_join("class ", type.of_class->name);
        break;
    case kind::object:
        if (type.native != nullptr) return type.native->name;
        break;
    default: break;
    }
    return std::string(plain_name(type.is));
}

tvr_strict_type tvr_strict_join(const tvr_strict_type& a, const tvr_strict_type& b) {
    const bool maybe_none = a.may_be_none() || b.may_be_none();
    const uint32_t why = a.may_be_none() ? a.why : b.why;
    tvr_strict_type made;
    if (a.is_none()) {
        made = b;
    } else if (b.is_none()) {
        made = a;
    } else if (a.is == b.is && same_details(a, b)) {
        made = a;
        made.exact = a.exact && b.exact;
    } else {
        made = widened(a, b);
    }
    made.maybe_none = maybe_none && !made.is_none();
    made.why = why;
    return made;
}

bool tvr_strict_fits(const tvr_strict_type& declared, const tvr_strict_type& value) {
    if (!declared.is_known() || !value.is_known()) return true;
    switch (declared.is) {
    case kind::boolean: return value.is == kind::boolean;
    case kind::integer: return value.is_numeric() && value.is != kind::real;
    case kind::real:
    case kind::number: return value.is_numeric();
    case kind::text: return value.is == kind::text;
    case kind::list:
    case kind::map: return fits_container(declared, value);
    case kind::json: return value.is_json() || value.is_none();
    case kind::function: return value.is_any_of(kind::function, kind::class_def) || value.is_none();
    case kind::object: return !plain_number(value);
    case kind::instance: return fits_instance(declared, value);
    case kind::class_def: return value.is == kind::class_def || value.is_none();
    case kind::none:
    case kind::nothing: return value.is == kind::nothing || value.may_be_none();
    default: return true;
    }
}
