#pragma once

// What values need around them: pools, an error sink and the interpreter's lock, without a script.
// Made anew for each input, so that what one input leaves behind is seen at once.

#include "require.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/pool_set.h"

// Errors are expected here, and nobody reads them.
class silent_sink : public tvr_error_sink {
public:
    void on_runtime_error(const std::string&) override {}
    void on_runtime_warning(const std::string&) override {}
};

class bare_interpreter {
public:
    bare_interpreter() {
        tvr_local().errors = &sink;
        tvr_local().pools = &pools;
        tvr_local().owns_interpreter = true;
    }

    // All values of the input are gone by now.
    ~bare_interpreter() {
        for (size_t kind = 0; kind < size_t(tvr_pool_kind::count); ++kind) {
            require(pools.live(tvr_pool_kind(kind)) == 0);
        }
        tvr_local().owns_interpreter = false;
        tvr_local().pools = nullptr;
        tvr_local().errors = nullptr;
    }

    bare_interpreter(const bare_interpreter&) = delete;
    bare_interpreter& operator=(const bare_interpreter&) = delete;

private:
    silent_sink sink;
    tvr_interpreter_lock lock;
    tvr_pool_set pools{lock};
};
