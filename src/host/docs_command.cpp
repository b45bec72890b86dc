// `tavro docs [PATH]`: what is registered under a path.

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/command.h"
#include "host/docs_text.h"
#include "host/script_log.h"
#include "host/script_options.h"
#include "runtime/script/global.h"
#include "runtime/script/script.h"

namespace host {

namespace {

struct docs_request {
    script_options options;
    std::string path;
};

// Names of packages are paths too: what is not registered yet may be one.
std::string find_docs(tvrscript& script, const std::string& path) {
    std::string record = script.root_namespace.find_docs(path);
    if (!record.empty()) return record;
    const std::string package = path.substr(0, path.find('.'));
    if (package.empty() || script.root_namespace.find_child(package) != nullptr) return {};
    if (!tvr_global().import_external_module(script, package)) return {};
    return script.root_namespace.find_docs(path);
}

int print_docs(const docs_request& asked) {
    tvr_local().set_thread_name("main");
    script_log log(asked.options);
    tvrscript script;
    tvrscript_config_default config = config_of(asked.options, "docs");
    config.log = &log;
    if (!script.init_minimal(config)) return exit_failed;
    const std::string record = find_docs(script, asked.path);
    if (record.empty()) {
        log.on_error("Nothing is registered under " + asked.path);
        return exit_failed;
    }
    log.on_cout(docs_text(asked.path, nlohmann::ordered_json::parse(record)));
    return log.flush() ? exit_ok : exit_failed;
}

}  // namespace

void add_docs(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<docs_request>();
    CLI::App* command = app.add_subcommand("docs", "tell what scripts can call");
    command->add_option("PATH", asked->path, "such as std.json.push; without it the top level");
    add_path_options(*command, asked->options);
    command->callback([asked, &chosen] { chosen = [asked] { return print_docs(*asked); }; });
}

}  // namespace host
