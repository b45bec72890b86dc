#include "runtime/value/compact_value.h"

#include <bit>
#include <cmath>
#include <limits>

#include "value_fixture.h"

using namespace tavro::test;

namespace {

class compact_value : public value_test {
protected:
    size_t variables() { return thread.pools.live(tvr_pool_kind::variables); }
};

TEST_F(compact_value, numbers_come_back_as_they_were) {
    using limits = std::numeric_limits<double>;
    constexpr int64_t widest = int64_t(1) << 61;
    const struct {
        tvrvar_shared value;
        bool fits;  // without a variable
    } rows[] = {{0, true},
                {-1, true},
                {widest - 1, true},
                {-widest, true},
                {widest, false},
                {-widest - 1, false},
                {std::numeric_limits<int64_t>::min(), false},
                {0.0, true},
                {-0.0, false},
                {1.0, true},
                {-2.5, true},
                {0.1, true},
                {std::nextafter(2.0, 0.0), true},
                {std::ldexp(1.0, -255), true},
                {std::nextafter(std::ldexp(1.0, -255), 0.0), false},
                {-std::nextafter(std::ldexp(1.0, 257), 0.0), true},
                {std::ldexp(1.0, 257), false},
                {limits::denorm_min(), false},
                {limits::max(), false},
                {-limits::infinity(), false},
                {limits::quiet_NaN(), false},
                {none(), true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(show(row.value));
        tvr_compact_value held;
        const size_t before = variables();
        EXPECT_EQ(held.write_here(*row.value), row.fits);
        if (!row.fits) held->set(*row.value);
        EXPECT_EQ(variables() - before, row.fits ? 0U : 1U);
        EXPECT_EQ(held->type, row.value->type);
        EXPECT_EQ(held->integer, row.value->integer);  // of floats the bits
        const tvr_compact_value copy = held.copy();
        EXPECT_EQ(copy.is_variable(), !row.fits);
        EXPECT_EQ(copy->integer, row.value->integer);
    }
}

TEST_F(compact_value, a_variable_once_made_stays) {
    const tvrvar_shared list = json("[1,2.5,null]");
    EXPECT_EQ(variables(), 1U);
    tvr_std_json& json = list->as_json(false);
    const tvrvar_shared element = json.get_member(int64_t(1));
    json.entries[1].value->as_int(7);
    EXPECT_EQ(show(element), "int 7");
    element->as_string("seven");
    json.entries.insert(json.entries.begin(), tvr_std_json::entry());
    EXPECT_EQ(show(list), "json [null,1,\"seven\",null]");
    json.entries[2].value = tvrvar_shared();
    EXPECT_EQ(show(element), "string seven");
    EXPECT_EQ(show(list), "json [null,1,null,null]");
}

}  // namespace
