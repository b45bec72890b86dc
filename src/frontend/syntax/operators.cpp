#include "frontend/syntax/operators.h"

#include <array>

namespace {

using code = tvr_token_code;
using precedence_table = std::array<int8_t, size_t(code::count)>;

constexpr precedence_table make_binary_table() {
    precedence_table table{};
    table.fill(-1);
    constexpr struct {
        code op;
        int8_t precedence;
    } rows[] = {
        {code::logical_or, 1}, {code::logical_and, 2},   {code::equal, 3},
        {code::not_equal, 3},  {code::less, 4},          {code::greater, 4},
        {code::less_equal, 4}, {code::greater_equal, 4}, {code::plus, 5},
        {code::minus, 5},      {code::star, 6},          {code::slash, 6},
        {code::percent, 6},    {code::ampersand, 6},     {code::pipe, 6},
        {code::caret, 7},
    };
    for (const auto& row : rows) table[size_t(row.op)] = row.precedence;
    return table;
}

constexpr precedence_table binary_table = make_binary_table();

}  // namespace

int get_binary_precedence(tvr_token_code op) {
    return binary_table[size_t(op)];
}

int get_unary_precedence(tvr_token_code op) {
    constexpr int prefix = 20;
    switch (op) {
    case code::exclaim:
    case code::ampersand:
    case code::star:
    case code::plus:
    case code::minus:
    case code::increment:
    case code::decrement: return prefix;
    default: return -1;
    }
}

tvr_token_code tvr_plain_operator(tvr_token_code op) {
    switch (op) {
    case code::add_assign: return code::plus;
    case code::subtract_assign: return code::minus;
    case code::multiply_assign: return code::star;
    case code::divide_assign: return code::slash;
    case code::modulo_assign: return code::percent;
    case code::and_assign: return code::ampersand;
    case code::or_assign: return code::pipe;
    case code::xor_assign: return code::caret;
    default: return op;
    }
}

bool tvr_is_operator(tvr_token_code op) {
    return op == code::question || (op >= code::exclaim && op <= code::coalesce);
}
