#include "stdobj/regex_matcher.h"

#include <exception>
#include <list>
#include <string>

#include "runtime/local/error_sink.h"
#include "runtime/local/thread_local.h"
#include "stdobj/regex_limit.h"
#include "stdobj/regex_stack.h"

namespace {

// Compiled patterns, the latest in front.
class compiled_patterns {
public:
    // Null for one that is not there.
    const std::regex* find(std::string_view pattern) {
        for (auto each = kept.begin(); each != kept.end(); ++each) {
            if (each->pattern != pattern) continue;
            kept.splice(kept.begin(), kept, each);
            return &kept.front().compiled;
        }
        return nullptr;
    }
    const std::regex& compile(std::string_view pattern) {
        constexpr size_t most = 32;
        kept.emplace_front(pattern);
        if (kept.size() > most) kept.pop_back();
        return kept.front().compiled;
    }

private:
    struct entry {
        explicit entry(std::string_view text)
            : pattern(text), compiled(pattern, std::regex::ECMAScript) {}
        std::string pattern;
        std::regex compiled;
    };
    std::list<entry> kept;
};

struct regex_engine {
    tvr_deep_stack stack;
    compiled_patterns patterns;
};

regex_engine& engine_of_thread() {
    static thread_local regex_engine engine;
    return engine;
}

bool refuse(std::string_view method, const tvr_regex_measure& measure, size_t text_bytes) {
    if (measure.depth > tvr_regex_most_groups) {
        runtime_error(method, ": the pattern has ", measure.depth,
                      " groups inside of each other, more than ", tvr_regex_most_groups);
        return true;
    }
    if (measure.digits > tvr_regex_most_digits) {
        runtime_error(method, ": a number in the pattern has ", measure.digits,
                      " digits, more than ", tvr_regex_most_digits);
        return true;
    }
    if (text_bytes <= measure.limit) return false;
    runtime_error(method, ": input of ", text_bytes, " characters exceeds the std::regex limit of ",
                  measure.limit,
                  " characters for this pattern (issue #102 - the matcher can exhaust the worker "
                  "stack). Shorten the input, use a simpler pattern, or use a plain string search "
                  "(find/replace/split).");
    return true;
}

// What can be matched on any stack.
bool is_small(const tvr_regex_measure& measure, size_t text_bytes) {
    constexpr size_t most_bytes = size_t(256) << 10;
    return !measure.copies && measure.stack_bytes(text_bytes) <= most_bytes;
}

}  // namespace

bool tvr_run_regex(std::string_view method, std::string_view pattern, std::string_view text,
                   const tvr_regex_use& use) {
    const tvr_regex_measure measure = tvr_measure_regex(pattern);
    if (refuse(method, measure, text.size())) return false;
    regex_engine& engine = engine_of_thread();
    const std::regex* compiled = engine.patterns.find(pattern);
    tvr_reading_watch watch(tvr_script_local());
    bool stopped = false;
    std::string error;
    const auto work = [&] {
        try {
            use(compiled != nullptr ? *compiled : engine.patterns.compile(pattern),
                {text.data(), watch}, {text.data() + text.size(), watch});
        } catch (const tvr_reading_stopped&) {
            stopped = true;
        } catch (const std::exception& failure) {
            error = failure.what();
        } catch (...) {
            error = "unknown native exception";
        }
    };
    if (compiled != nullptr && is_small(measure, text.size())) {
        work();
    } else if (!engine.stack.run(work)) {
        error = "no thread for the matcher";
    }
    if (!error.empty()) runtime_error(method, ": ", error);
    return error.empty() && !stopped;
}
