#include "runtime/script/script.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "kernel/launch.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"
#include "runtime/memory/reserve.h"
#include "runtime/script/compiler.h"
#include "runtime/script/global.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"

namespace {

constexpr const char* no_task = "Cannot create task.";

std::vector<std::string> folders_of(const char* list) {
    std::vector<std::string> folders;
    std::string_view rest = list != nullptr ? list : "";
    while (!rest.empty()) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        if (!folder.empty()) folders.emplace_back(folder);
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
    }
    return folders;
}

// Where packages stand beside the running program: in its build tree, or where it is installed.
std::vector<std::string> installed_package_folders() {
    std::error_code failed;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (failed) return {};
    const std::filesystem::path folder = program.parent_path().parent_path();
    return {(folder / "packages").string(), (folder / "lib/tavro/packages").string()};
}

}  // namespace

tvrscript::tvrscript()
    : log_in_use(&tvr_log_terminal()),
      files_in_use(&own_files),
      compiler(std::make_unique<tvr_compiler>(*this)) {
    lock.mutex.signals = &signals;
}

bool tvrscript::bind_to_thread() {
    tvr_thread_local& local = tvr_local();
    if (local.script != nullptr || owner.load() != nullptr) {
        log().err("There can only be one script interpreter per thread!");
        return false;
    }
    lend_to_thread(local);
    local.owns_interpreter = true;
    owner.store(&local);
    tasks.mail->open(local);
    log_bound.bound = true;
    return true;
}

void tvrscript::lend_to_thread(tvr_thread_local& local) {
    local.script = this;
    local.pools = &pools;
    local.lock = &lock;
    local.signals = &signals;
    local.updates = &updates;
    local.log = log_in_use;
    local.filesys = files_in_use;
    local.errors = &errors;
}

bool tvrscript::start(const tvrscript_config_default& wanted) {
    if (wanted.log != nullptr) log_in_use = wanted.log;
    if (!bind_to_thread()) return false;
    config = wanted;
    if (config.log == nullptr) config.log = log_in_use;
    if (config.filesys == nullptr) config.filesys = &own_files;
    files_in_use = config.filesys;
    tvr_local().filesys = files_in_use;
    tvrk_abort_all(this);  // makes the list of launches, lest a signal handler be the first
    // Values that foreign threads let go of find their pool here.
    pools.of<tvrvar>();
    set_search_paths();
    tvr_global().init_all_modules(*this);
    return true;
}

bool tvrscript::init_minimal(const tvrscript_config_default& wanted) {
    if (!start(wanted)) return false;
    initialized = true;
    return true;
}

bool tvrscript::init(const tvrscript_config_default& wanted) {
    if (!start(wanted)) return false;
    config.print();
    initialized = true;
    constexpr unsigned fewest = 2;  // a machine that reports fewer does not know
    const unsigned count = std::max(std::thread::hardware_concurrency(), fewest) - 1;
    workers.set_thread_count(count);
    workers.wait_for_init();
    log().log("Thread pool initialized with ", workers.thread_count(), " threads.");
    return true;
}

// Of a file system's search paths the last one is searched first.
void tvrscript::set_search_paths() {
    std::vector<std::string> first_to_last = config.search_paths;
    if (files_in_use == &own_files) {
        for (const std::string& each : folders_of(std::getenv("TAVRO_PATH"))) {
            first_to_last.push_back(each);
        }
        for (const std::string& each : installed_package_folders()) {
            if (own_files.is_directory(each)) first_to_last.push_back(each);
        }
    }
    for (const std::string& each : tvr_global().package_sources()) first_to_last.push_back(each);
    std::reverse(first_to_last.begin(), first_to_last.end());
    given_paths.emplace(*files_in_use, std::move(first_to_last));
}

void tvrscript::update() {
    if (!initialized) return log().err("You forgot to call script->init()");
    if (updating) return;
    tvr_keep_reserve();
    const tvr_global_lock hold(&lock);
    updating = true;
    if (!stop_requested()) {
        tasks.deliver();
        auto due = due_tasks();
        updates.call_pre();
        tvr_run_destructors();
        for (auto& resumed : due_tasks()) due.push_back(std::move(resumed));
        run_tasks(due);
    }
    pools.collect_garbage();
    if (stop_requested()) {
        end_tasks();
    } else {
        updates.call_post();
        tvr_run_destructors();
    }
    updating = false;
}

std::vector<tvrptr_strong<tvr_task>> tvrscript::due_tasks() {
    std::vector<tvrptr_strong<tvr_task>> due;
    const int64_t now = tvr_millis();
    while (const auto task = tasks.pop(now)) due.push_back(task);
    return due;
}

void tvrscript::run_tasks(const std::vector<tvrptr_strong<tvr_task>>& due) {
    for (const auto& task : due) {
        if (task->ended() || stop_requested()) continue;
        // A worker still stands inside of this task's turn, with the lock given back.
        if (task->in_turn) {
            task->task_schedule(1);
        } else if (task->threaded && task->active) {
            workers.run_task(*task);
        } else {
            task->task_continue();
        }
    }
}

tvrptr_strong<tvr_task> tvrscript::pop_waiting_task(bool due_only) {
    const tvr_global_lock hold(&lock);
    return tasks.pop(due_only ? tvr_millis() : tvr_task_list::never);
}

bool tvrscript::has_work() const {
    const tvr_global_lock hold(&lock);
    return !stop_requested() && (tasks.alive > 0 || tasks.mail->size() > 0 || updates.live() > 0);
}

int64_t tvrscript::next_wake_ms() const {
    if (stop_requested() || tasks.mail->size() > 0) return -1;
    const tvr_global_lock hold(&lock);
    const int64_t next = tasks.next_wake_ms();
    return next <= tvr_millis() ? -1 : next;
}

void tvrscript::wake() {
    if (tvr_thread_local* sleeper = owner.load()) sleeper->wakeup();
}

void tvrscript::request_stop(int wanted) {
    if (!stop_requested()) status.store(wanted, std::memory_order_relaxed);
    signals.raise(tvr_signal_stop);
    // Either a launch that begins now sees the signal, or it is found in the list.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    tvrk_abort_all(this);
    wake();
}

bool tvrscript::is_namespace_allowed(std::string_view name) const {
    if (!config.restricted_mode) return true;
    return std::ranges::any_of(config.allowed_namespaces, [&](const std::string& allowed) {
        return name.starts_with(allowed) &&
               (name.size() == allowed.size() || name[allowed.size()] == '.');
    });
}

bool tvrscript::take_module(const tvr_function_module& module) {
    if (std::ranges::find(taken_modules, &module) != taken_modules.end()) return false;
    taken_modules.push_back(&module);
    module.fill(root_namespace.child_path(module.name));
    return true;
}

std::unique_ptr<tvr_compiler> tvrscript::create_compiler() {
    return std::make_unique<tvr_compiler>(*this);
}

tvrptr_strong<tvr_program_block_root> tvrscript::create_program_from_source(
    std::string text, const std::string& name) {
    return compiler->create_program_from_source(std::move(text), name);
}

tvrptr_strong<tvr_program_block_root> tvrscript::create_program_from_file(const std::string& path) {
    return compiler->create_program_from_file(path);
}

tvrptr_strong<tvr_task> tvrscript::create_task_from_code(std::string text,
                                                         const std::string& name) {
    return start_program(create_program_from_source(std::move(text), name), name);
}

tvrptr_strong<tvr_task> tvrscript::create_task_from_file(const std::string& path) {
    return start_program(create_program_from_file(path), path);
}

tvrptr_strong<tvr_task> tvrscript::start_program(
    const tvrptr_strong<tvr_program_block_root>& program, const std::string& name) {
    const tvr_global_lock hold(&lock);
    if (!program) {
        log().err(no_task);
        return {};
    }
    tvrptr_strong<tvr_task> task(new tvr_task(*this, nullptr));
    task->name = name;
    task->program = program;
    tvr_push_root(*task, *program);
    task->task_schedule(0);
    return task;
}

void tvrscript::print_sys_paths() const {
    log().log("Search paths:\n");
    for (const std::string& path : files_in_use->search_paths) log().log(path);
    log().log("-------");
}

void tvrscript::collect_garbage() {
    const tvr_global_lock hold(&lock);
    pools.collect_garbage();
}
