#include "stdobj/watched_text.h"

#include "runtime/script/script.h"

void tvr_reading_watch::look() {
    left = interval;
    if (script != nullptr && script->stop_requested()) throw tvr_reading_stopped();
}
