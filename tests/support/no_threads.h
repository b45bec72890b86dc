#pragma once

// A machine on which no thread can be started, for as long as the object lives: every new one asks
// for a larger stack than there are addresses. One thread.

#include <pthread.h>

#include <cstddef>

namespace test_support {

class no_threads {
public:
    no_threads() {
        pthread_getattr_default_np(&before);
        pthread_attr_t greedy = before;
        pthread_attr_setstacksize(&greedy, size_t(1) << 47);
        pthread_setattr_default_np(&greedy);
    }
    ~no_threads() {
        pthread_setattr_default_np(&before);
        pthread_attr_destroy(&before);
    }
    no_threads(const no_threads&) = delete;
    no_threads& operator=(const no_threads&) = delete;

private:
    pthread_attr_t before{};
};

}  // namespace test_support
