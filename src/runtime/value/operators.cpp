#include "runtime/value/operators.h"

tvr_operator tvr_find_operator(std::string_view method) {
    for (size_t i = 0; i < tvr_operator_methods.size(); ++i) {
        if (tvr_operator_methods[i].method == method) return tvr_operator(i);
    }
    return tvr_operator_count;
}
