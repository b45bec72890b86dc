#pragma once

// Memory that is set aside for the moment when there is no more: the report of the error, its catch
// and the end of the run need some. One for the process. Any thread.

// Sets it aside if it is not; called once a frame. Without memory it tries again the next time.
void tvr_keep_reserve();

// Gives it up, when an allocation has failed.
void tvr_give_up_reserve();
