// Where an input at the prompt ends.

#include "host/repl/input_end.h"

#include <gtest/gtest.h>

namespace {

using repl::input_state;

TEST(input_end, is_found) {
    struct row {
        const char* text;
        input_state state;
    };
    const row rows[] = {
        {"", input_state::blank},
        {" \n // x = 1;", input_state::blank},
        {"/* x */", input_state::blank},
        {"x = 1;", input_state::whole},
        {"x = 1; // why", input_state::whole},
        {"def f() { return 1; }", input_state::whole},
        {"#define N 3", input_state::whole},
        {"1 + 2", input_state::unended},
        {"x = 1 +", input_state::unended},
        {"f(1,", input_state::open},
        {"def f() {", input_state::open},
        {"x = [1, 2;", input_state::open},
        {"/* x", input_state::open},
        {"s = \"a", input_state::open},
        {"s = \"a\\\"", input_state::open},
        {"s = \"}\"", input_state::unended},
        {"s = '{';", input_state::whole},
        {"s = \"\"\"a \" b", input_state::open},
        {"s = \"\"\"a \" b\"\"\";", input_state::whole},
        {"s = R\"(a \" ( b)\";", input_state::whole},
        {"s = R\"(a \" b", input_state::open},
        {"// {", input_state::blank},
        {")", input_state::unended},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_EQ(repl::state_of_input(r.text), r.state);
    }
}

}  // namespace
