#pragma once

// Queues that a slow reader cannot make grow: what comes in goes to the end, and above the limit
// the oldest goes. Pure, any thread.

#include <cstddef>

// Drops from the front of a deque or vector what is more than `limit`.
template <typename QUEUE>
void tvr_drop_oldest(QUEUE& queue, size_t limit) {
    if (queue.size() <= limit) return;
    queue.erase(queue.begin(), queue.end() - typename QUEUE::difference_type(limit));
}
