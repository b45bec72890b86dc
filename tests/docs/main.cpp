// Runs the scripts that stand in a document.
//
//     docs_runner TAVRO SOURCES file.md
//
// Fenced blocks count, by the word behind the fence:
//
//     ```tavro          runs to its end with status 0 and nothing on standard error; a block of
//                       kind `output` right behind it is what it prints, byte for byte
//     ```tavro-part     compiles; a comment <!-- before: code --> in the line above is put in front
//
// Blocks run in a new folder, in which `examples` stands for that of SOURCES.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tavro_run.h"

namespace {

namespace fs = std::filesystem;

struct fenced_block {
    std::string kind;
    size_t line = 0;  // of the fence, from 1
    std::string before, text;
};

constexpr std::string_view fence = "```", before_mark = "<!-- before: ", comment_end = " -->";

std::string code_before(const std::string& line) {
    if (!line.starts_with(before_mark) || !line.ends_with(comment_end)) return {};
    const size_t length = line.size() - before_mark.size() - comment_end.size();
    return line.substr(before_mark.size(), length) + "\n";
}

std::vector<fenced_block> blocks_of(std::istream& document) {
    std::vector<fenced_block> blocks;
    std::string line, last;
    bool inside = false;
    for (size_t number = 1; std::getline(document, line); ++number) {
        if (line.starts_with(fence)) {
            if (!inside)
                blocks.push_back({line.substr(fence.size()), number, code_before(last), {}});
            inside = !inside;
        } else if (inside) {
            blocks.back().text += line + "\n";
        }
        last = line;
    }
    return blocks;
}

// A folder of its own for one block, gone with it.
class block_folder {
public:
    explicit block_folder(const fs::path& sources) {
        std::string name = (fs::temp_directory_path() / "tavro_docs_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder");
        path = name;
        fs::create_directory_symlink(sources / "examples", path / "examples");
    }
    ~block_folder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    block_folder(const block_folder&) = delete;
    block_folder& operator=(const block_folder&) = delete;

    fs::path path;
};

bool passes(const fs::path& tavro, const fs::path& sources, const fenced_block& block,
            const fenced_block* output) {
    const block_folder folder(sources);
    std::ofstream(folder.path / "block.tvio") << block.before << block.text;
    const bool runs = block.kind == "tavro";
    const outcome found = run_tavro(tavro, {runs ? "run" : "check", "block.tvio"}, folder.path);
    bool good = found.status == 0 && found.err.empty();
    if (!good) std::cout << "status " << found.status << "\n" << found.err;
    if (runs && output != nullptr) good = same_output(output->text, found.out) && good;
    return good;
}

// How many blocks failed.
int failures(const fs::path& tavro, const fs::path& sources, const fs::path& file) {
    std::ifstream document(file);
    const std::vector<fenced_block> blocks = blocks_of(document);
    int failed = 0, tried = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const fenced_block& block = blocks[i];
        if (block.kind != "tavro" && block.kind != "tavro-part") continue;
        ++tried;
        const bool tells = i + 1 < blocks.size() && blocks[i + 1].kind == "output";
        if (passes(tavro, sources, block, tells ? &blocks[i + 1] : nullptr)) continue;
        std::cout << file.string() << ":" << block.line << ": this block fails\n";
        ++failed;
    }
    std::cout << tried << " blocks, " << failed << " failed\n";
    return tried == 0 ? 1 : failed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: docs_runner TAVRO SOURCES DOCUMENT\n";
        return 2;
    }
    try {
        return failures(fs::absolute(argv[1]), fs::absolute(argv[2]), argv[3]) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "docs_runner: " << error.what() << "\n";
        return 2;
    }
}
