// The editable line, by the system's line editing library.

#include <histedit.h>
#include <poll.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>

#include "host/repl/line_reader.h"

namespace repl {

namespace {

namespace fs = std::filesystem;

constexpr int most_remembered = 1000;  // lines of history

std::string history_path() {
    const char* state = std::getenv("XDG_STATE_HOME");
    const char* home = std::getenv("HOME");
    fs::path folder;
    if (state != nullptr && *state == '/') {
        folder = fs::path(state);
    } else if (home != nullptr && *home != '\0') {
        folder = fs::path(home) / ".local/state";
    } else {
        return {};
    }
    std::error_code failed;
    fs::create_directories(folder / "tavro", failed);
    return failed ? std::string() : (folder / "tavro/history").string();
}

class terminal_reader : public line_reader {
public:
    explicit terminal_reader(reader_needs wanted) : needs(std::move(wanted)) {
        if (std::setlocale(LC_CTYPE, "") == nullptr || MB_CUR_MAX == 1) {
            std::setlocale(LC_CTYPE, "C.UTF-8");
        }
        editor = el_init("tavro", stdin, stdout, stderr);
        if (editor == nullptr) return;
        past = history_init();
        set_up_editor();
        set_up_history();
    }

    ~terminal_reader() override {
        if (past != nullptr) history_end(past);
        if (editor != nullptr) el_end(editor);
    }
    terminal_reader(const terminal_reader&) = delete;
    terminal_reader& operator=(const terminal_reader&) = delete;

    bool usable() const { return editor != nullptr && past != nullptr; }

    line read(std::string_view prompt) override {
        shown_prompt = prompt;
        interrupted = false;
        int count = 0;
        const char* text = el_gets(editor, &count);
        if (interrupted) return {{}, line::end::interrupted};
        if (text == nullptr || count <= 0) return {{}, line::end::over};
        std::string typed(text, size_t(count));
        while (!typed.empty() && (typed.back() == '\n' || typed.back() == '\r')) typed.pop_back();
        return {std::move(typed), line::end::line};
    }

    void remember(const std::string& input) override {
        HistEvent event;
        history(past, &event, H_ENTER, input.c_str());
        if (!path.empty()) history(past, &event, H_SAVE, path.c_str());
    }

private:
    void set_up_editor() {
        el_set(editor, EL_CLIENTDATA, this);
        el_set(editor, EL_PROMPT, &terminal_reader::give_prompt);
        el_set(editor, EL_EDITOR, "emacs");
        el_wset(editor, EL_GETCFN, &terminal_reader::give_key);
        el_set(editor, EL_ADDFN, "tavro-complete", "complete a name",
               &terminal_reader::complete_word);
        el_set(editor, EL_BIND, "^I", "tavro-complete", nullptr);
        el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        el_source(editor, nullptr);
    }

    void set_up_history() {
        HistEvent event;
        history(past, &event, H_SETSIZE, most_remembered);
        history(past, &event, H_SETUNIQUE, 1);
        el_set(editor, EL_HIST, history, past);
        path = history_path();
        if (!path.empty()) history(past, &event, H_LOAD, path.c_str());
    }

    static terminal_reader& of(EditLine* line) {
        void* self = nullptr;
        el_get(line, EL_CLIENTDATA, &self);
        return *static_cast<terminal_reader*>(self);
    }

    static char* give_prompt(EditLine* line) { return of(line).shown_prompt.data(); }

    // A key, while the interpreter goes on. -1 gives the line up.
    static int give_key(EditLine* line, wchar_t* key) {
        terminal_reader& self = of(line);
        std::mbstate_t state{};
        for (;;) {
            char byte = 0;
            if (!self.wait_for_key(line)) return -1;
            if (::read(STDIN_FILENO, &byte, 1) != 1) return 0;
            const size_t used = std::mbrtowc(key, &byte, 1, &state);
            if (used == size_t(-1)) {
                state = {};
            } else if (used != size_t(-2)) {
                return 1;
            }
        }
    }

    bool wait_for_key(EditLine* line) {
        for (;;) {
            const int patience_ms = needs.go_on();
            if (needs.line_is_torn()) el_set(line, EL_REFRESH);
            pollfd ready[] = {{STDIN_FILENO, POLLIN, 0}, {needs.interrupted, POLLIN, 0}};
            ::poll(ready, 2, patience_ms);
            if (ready[1].revents != 0) {
                interrupted = true;
                return false;
            }
            if (ready[0].revents != 0) return true;
        }
    }

    // Inserts what all candidates have in common, or lists them when there is nothing.
    static unsigned char complete_word(EditLine* line, int) {
        terminal_reader& self = of(line);
        const LineInfo* info = el_line(line);
        const std::string before(info->buffer, size_t(info->cursor - info->buffer));
        const completion found = self.needs.complete(before);
        const std::string common = found.common();
        if (!common.empty()) {
            return el_insertstr(line, common.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
        }
        if (found.names.size() < 2) return found.names.empty() ? CC_ERROR : CC_NORM;
        self.list_names(found.names);
        return CC_REDISPLAY;
    }

    void list_names(const std::vector<std::string>& names) const {
        std::string shown = "\r\n";
        for (const std::string& name : names) shown += name + "  ";
        shown += "\r\n";
        if (::write(STDOUT_FILENO, shown.data(), shown.size()) < 0) return;
    }

    const reader_needs needs;
    EditLine* editor = nullptr;
    History* past = nullptr;
    std::string path;  // of the history's file; empty for none
    std::string shown_prompt;
    bool interrupted = false;
};

}  // namespace

std::unique_ptr<line_reader> make_terminal_reader(reader_needs needs) {
    auto reader = std::make_unique<terminal_reader>(std::move(needs));
    if (!reader->usable()) return nullptr;
    return reader;
}

}  // namespace repl
