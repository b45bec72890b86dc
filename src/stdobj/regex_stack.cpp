#include "stdobj/regex_stack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>

#include "stdobj/regex_limit.h"

namespace {

// The part of this thread's stack that shallow work does not reach.
class deep_part {
public:
    deep_part() {
        pthread_attr_t attributes;
        void* lowest = nullptr;
        size_t size = 0;
        if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
        if (pthread_attr_getstack(&attributes, &lowest, &size) == 0 && size > kept_bytes) {
            begin = static_cast<unsigned char*>(lowest);
            bytes = (size - kept_bytes) / page * page;
        }
        pthread_attr_destroy(&attributes);
    }

    // Only if the page next to what is kept was touched since the last time.
    void give_back() const {
        unsigned char resident = 0;
        if (bytes == 0 || mincore(begin + bytes - page, page, &resident) != 0) return;
        if ((resident & 1) != 0) madvise(begin, bytes, MADV_DONTNEED);
    }

private:
    static constexpr size_t kept_bytes = size_t(1) << 20;

    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    unsigned char* begin = nullptr;
    size_t bytes = 0;
};

}  // namespace

tvr_deep_stack::~tvr_deep_stack() {
    if (!started) return;
    {
        const tvr_lock hold(mutex);
        ends = true;
    }
    changed.notify_all();
    pthread_join(thread, nullptr);
}

// Signals go to the threads that are made for them.
bool tvr_deep_stack::start() {
    if (started) return true;
    constexpr size_t guard_bytes = size_t(1) << 20;
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    started = pthread_attr_setstacksize(&attributes, tvr_regex_stack_bytes) == 0 &&
              pthread_attr_setguardsize(&attributes, guard_bytes) == 0 &&
              pthread_create(
                  &thread, &attributes,
                  [](void* self) -> void* {
                      static_cast<tvr_deep_stack*>(self)->loop();
                      return nullptr;
                  },
                  this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (started) pthread_setname_np(thread, "regex");
    return started;
}

bool tvr_deep_stack::run(const std::function<void()>& work) {
    if (!start()) return false;
    tvr_lock hold(mutex);
    waiting = &work;
    changed.notify_all();
    while (waiting != nullptr) changed.wait(mutex);
    return true;
}

void tvr_deep_stack::loop() {
    const deep_part deep;
    tvr_lock hold(mutex);
    while (true) {
        while (waiting == nullptr && !ends) changed.wait(mutex);
        if (waiting == nullptr) return;
        (*waiting)();  // the caller waits, so nobody else wants the mutex
        deep.give_back();
        waiting = nullptr;
        changed.notify_all();
    }
}
