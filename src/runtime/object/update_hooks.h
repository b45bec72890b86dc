#pragma once

// Native objects that want to be called once a frame.
//
// A class derives from one or both of these beside tvrobject. The object is linked into its
// interpreter's list when it is made and out when it ends; the list may change while it is walked,
// by the very calls that walk it. Script thread, no script running.

#include <cstddef>
#include <cstdint>
#include <vector>

class tvrobject_update_pre;
class tvrobject_update_post;

// The objects of one interpreter that have hooks, in order of registration.
struct tvr_update_lists {
    tvr_update_lists() = default;
    ~tvr_update_lists();  // objects that live on are in no list any more
    tvr_update_lists(const tvr_update_lists&) = delete;
    tvr_update_lists& operator=(const tvr_update_lists&) = delete;

    void call_pre();
    void call_post();
    size_t live() const;  // objects that have a hook; a run goes on while there are any

    std::vector<tvrobject_update_pre*> pre;  // null where an object has gone during a walk
    std::vector<tvrobject_update_post*> post;
    uint32_t pre_walkers = 0;  // calls of call_pre() inside of each other
    uint32_t post_walkers = 0;
};

// Before the tasks run.
class tvrobject_update_pre {
public:
    tvrobject_update_pre();
    virtual ~tvrobject_update_pre();
    tvrobject_update_pre(const tvrobject_update_pre&) = delete;
    tvrobject_update_pre& operator=(const tvrobject_update_pre&) = delete;
    virtual void update_script_pre();  // says "update_pre: not implemented."

private:
    friend struct tvr_update_lists;

    tvr_update_lists* linked;
};

// After the tasks have run.
class tvrobject_update_post {
public:
    tvrobject_update_post();
    virtual ~tvrobject_update_post();
    tvrobject_update_post(const tvrobject_update_post&) = delete;
    tvrobject_update_post& operator=(const tvrobject_update_post&) = delete;
    virtual void update_script_post();  // says "update_post: not implemented."

private:
    friend struct tvr_update_lists;

    tvr_update_lists* linked;
};
