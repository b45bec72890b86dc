#pragma once

// How kernels get work onto other threads, without knowing whose threads these are.
//
// A tvrk_spawn queues the task and returns true, or refuses and returns false. It never waits and
// never runs the task itself: a launch made on the only worker would wait for itself. A task must
// run or be destroyed in the end. An empty function refuses everything.

#include <functional>

using tvrk_spawn = std::function<bool(std::function<void()>)>;
