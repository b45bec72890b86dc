// Packages and what can be wrong with them, and a native class of another library.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "../runtime/interpreter.h"
#include "runtime/object/object.h"
#include "runtime/script/global.h"
#include "runtime/value/value.h"

using namespace tavro::test;

namespace {

tvrscript_config_default packages_of(const char* folder) {
    tvrscript_config_default config;
    config.search_paths = {folder};
    return config;
}

TEST(module_loader, says_what_is_wrong_with_a_package) {
    const struct {
        const char* name;
        const char* message;
    } rows[] = {
        {"cabi", "E TODO: load CABI modules cabi"},
        {"strange", "E Unknown module subsystem 'MODULE_X' for module 'strange'."},
        {"null_check", "E tavroglue_check() returned null"},
        {"no_check", "does not export tavroglue_check()"},
        {"no_entry", "does not export tavroglue_entry()"},
        {"own_engine", "E Module 'own_engine' brought an engine of its own"},
        {"newer",
         "W Module 'newer' was built with a newer version of TavroScript (3002) than the current "
         "runtime (3001). Loading might fail or crash."},
        {"older",
         "W Module 'older' was built with an older version of TavroScript (3000, current 3001). "
         "Please upgrade the package."},
        {"newer", "E tavroglue() returned null"},
        {"nowhere", "E No package.tvr found for module 'nowhere'."},
        {"../packages", "E No package.tvr found"},
    };
    listening_log log;
    interpreter in(log, false, packages_of(BROKEN_PACKAGES));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_FALSE(tvr_global().import_external_module(in.script, row.name));
        EXPECT_TRUE(log.heard(row.message)) << log.said();
        log.said();
    }
}

// A folder for packages of this test, gone at its end.
class package_folder {
public:
    package_folder() {
        std::string name = testing::TempDir() + "tavro_packages_XXXXXX";
        path = ::mkdtemp(name.data());
    }
    ~package_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    package_folder(const package_folder&) = delete;
    package_folder& operator=(const package_folder&) = delete;

    void write(const std::string& name, std::string_view text) const {
        const std::filesystem::path file = std::filesystem::path(path) / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << text;
    }

    std::string path;
};

TEST(module_loader, says_what_is_wrong_with_files) {
    const package_folder first, second;
    first.write("torn/package.tvr", "name torn\n");
    first.write("empty/package.tvr", "");
    first.write("text/package.tvr", "");
    first.write("text/native/linux_x64/text.tvrmodule.so", "no library");
    second.write("empty/package.tvr", "");

    tvrscript_config_default config;
    config.search_paths = {first.path, second.path};
    listening_log log;
    interpreter in(log, false, config);
    const auto fails_with = [&](const char* name, const std::string& message) {
        EXPECT_FALSE(tvr_global().import_external_module(in.script, name));
        EXPECT_TRUE(log.heard(message)) << log.said();
    };
    fails_with("torn", "torn/package.tvr: line 1 is not of the form: key = value");
    fails_with("text", "E Cannot load the library of module 'text': ");
    fails_with("empty", "E No module library found in " + first.path + "/empty/native/linux_x64/");
    EXPECT_TRUE(
        log.heard("W Multiple package.tvr files found for module 'empty'. Using the first "
                  "one found (TODO internal: add version check, select newest!)."));
    EXPECT_TRUE(
        log.heard("L Adding module source path to search paths: " + first.path + "/empty/src"));
}

TEST(module_loader, is_asked_once_by_a_compile) {
    tvrscript_config_default config = packages_of(BROKEN_PACKAGES);
    config.strict_mode = true;
    listening_log log;
    interpreter in(log, false, config);
    const std::pair<const char*, const char*> rows[] = {
        {"no_check", "does not export tavroglue_check()"},
        {"nowhere", "E No package.tvr found for module 'nowhere'."},
    };
    for (const auto& [name, message] : rows) {
        EXPECT_FALSE(in.script.create_program_from_source(tvr_join("import ", name, ";"), "show"));
        const std::string said = log.said();
        EXPECT_NE(said.find(tvr_join("Cannot load module: ", name)), std::string::npos) << said;
        const size_t first = said.find(message);
        ASSERT_NE(first, std::string::npos) << said;
        EXPECT_EQ(said.find(message, first + 1), std::string::npos) << said;
    }
}

class testmod : public testing::Test {
protected:
    // What a script prints, with the errors it ends in.
    std::string run(const std::string& text) {
        const auto task = in.start("import testmod;\n" + text);
        in.run_until([&] { return !task || task->ended(); });
        return log.said();
    }

    listening_log log;
    interpreter in{log, false, packages_of(TEST_PACKAGES)};
};

TEST_F(testmod, is_loaded_once_and_known_to_every_interpreter) {
    EXPECT_EQ(run("std.print(testmod.add(1, 2), testmod.version);"), "3 1.1|");
    EXPECT_EQ(run("std.print(add(3, 4));"), "7|");
    EXPECT_NE(tvr_global().find_module("testmod"), nullptr);
    std::string elsewhere;
    std::thread([&] {
        listening_log other_log;
        interpreter other(other_log, false);
        const auto task = other.start("std.print(testmod.add(5, 6));");
        other.run_to_end();
        elsewhere = other_log.said();
    }).join();
    EXPECT_EQ(elsewhere, "11|");
}

TEST_F(testmod, tells_how_it_was_loaded) {
    EXPECT_TRUE(tvr_global().import_external_module(in.script, "testmod"));
    const std::string folder = TEST_PACKAGES "/testmod/";
    for (const std::string& line : {
             std::string("L Loading external module: testmod"),
             "L Checking 1 files in module platform dir: " + folder + "native/linux_x64/",
             "L Loading module library: " + folder + "native/linux_x64/testmod.tvrmodule.so",
             std::string("L Module 'testmod' compatibility check passed (version 3001)."),
         }) {
        EXPECT_TRUE(log.heard(line)) << line;
    }
}

TEST_F(testmod, its_class_is_at_home_in_scripts) {
    const struct {
        const char* what;
        const char* text;
        const char* printed;
    } rows[] = {
        {"made with arguments", "std.print(lamp(7).level, lamp().level);", "7 0|"},
        {"methods chain", "std.print(lamp(1).fade(2).fade(3, 4).level);", "15|"},
        {"members are written", "l = lamp(); l.level = 5; l.level += 2; std.print(l.level);", "7|"},
        {"operators", "l = lamp(5); std.print(l + 2, 3 * l, l == 5, l == 6);", "7 15 1 0|"},
        {"indices and size", "l = lamp(5); std.print(l[3], std.size(l));", "15 5|"},
        {"assignment shares", "a = lamp(1); b = a; b.level = 9; std.print(a.level);", "9|"},
        {"a method keeps its object", "f = lamp(4).fade; std.print(f(1).level);", "5|"},
        {"callbacks", "std.print(lamp(4).each((i) { return i * 10; }));", "60|"},
        {"its type has a name", "std.print(std.instanceof(lamp(), \"testmod.lamp\"));", "1|"},
        {"docs", "std.print(std.docs(\"testmod.lamp.fade\").description);", "Changes the level.|"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(run(row.text), row.printed);
    }
}

TEST_F(testmod, kernels_draw_into_its_bitmaps) {
    const char* kernels =
        "std.kernel_jit(\"off\");\n"
        "kernel struct Rgba { u8 r; u8 g; u8 b; u8 a; }\n"
        "kernel void draw(Rgba* to) { to[gid].g = u8(gid); }\n"
        "kernel i64 sum(const u8* from) reduce(+) { return i64(from[gid]); }\n"
        "p = bitmap(4, 4);\n";
    const struct {
        const char* what;
        const char* text;
        const char* printed;
    } rows[] = {
        {"written and read", "draw.launch(4, p); std.print(p.at(13), sum.launch(16, p));", "3 6|"},
        {"as long as its bytes", "try { draw.launch(5, p); } catch (e) { std.print(e); }",
         "kernel 'draw' failed at <memory>:4 (gid 4): index 4 is out of bounds of 'to' (4 "
         "elements)|"},
        {"locked for everybody",
         "j = draw.launch_async(4, p);\n"
         "try { p.at(0); } catch (e) { std.print(e); }\n"
         "try { sum.launch(1, p); } catch (e) { std.print(e); }\n"
         "j.wait(); std.print(p.at(5));",
         "testmod.bitmap is in use by a running kernel launch (call wait() on the launch first)|"
         "kernel 'sum': argument 1 ('from') the testmod.bitmap is already used by another running "
         "kernel launch|1|"},
        {"locked for writers",
         "j = sum.launch_async(4, p); std.print(p.at(0));\n"
         "try { p.resize(1000); } catch (e) { std.print(e); }\n"
         "try { draw.launch(1, p); } catch (e) { std.print(e); }\n"
         "p = None; std.print(j.wait());",
         "0|testmod.bitmap is in use by a running kernel launch (call wait() on the launch first)|"
         "kernel 'draw': argument 1 ('to') the testmod.bitmap is already used by another running "
         "kernel launch|0|"},
        {"read only",
         "p.freeze(); std.print(sum.launch(16, p));\n"
         "try { draw.launch(1, p); } catch (e) { std.print(e); }\n"
         "try { Rgba.set(p, 0, \"r\", 1); } catch (e) { std.print(e); }",
         "0|kernel 'draw': argument 1 ('to') the memory of testmod.bitmap is not writable (declare "
         "the parameter as const)|the memory of testmod.bitmap is not writable|"},
        {"fields",
         "Rgba.write(p, 3, [\"b\": 9]); std.print(Rgba.count(p), Rgba.get(p, 3, \"b\"), "
         "p.at(14), Rgba.read(p, 3));",
         "4 9 9 {\"r\":0,\"g\":0,\"b\":9,\"a\":0}|"},
        {"no memory", "try { sum.launch(1, lamp()); } catch (e) { std.print(e); }",
         "kernel 'sum': argument 1 ('from') expects a std.buffer but got testmod.lamp|"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(run(std::string(kernels) + row.text), row.printed);
    }
}

// Also in an interpreter that knows the namespace since another one has loaded it.
TEST_F(testmod, its_scripts_are_found_once_it_is_loaded) {
    const char* text =
        "#include \"testmod_scripts.tvio\"\nstd.print(brightest(lamp(3), lamp(8)).level);";
    EXPECT_EQ(run(""), "");
    EXPECT_EQ(run(text), "8|");
    std::thread([&] {
        listening_log other_log;
        interpreter other(other_log);
        other.start("import testmod;\n" + std::string(text));
        other.run_to_end();
        EXPECT_EQ(other_log.said(), "8|");
    }).join();
}

TEST_F(testmod, its_errors_are_errors_of_the_script) {
    const struct {
        const char* call;
        const char* message;
    } rows[] = {
        {"lamp().break_down()", "break_down: the lamp is broken"},
        {"lamp().explode()", "explode: unknown native exception"},
        {"lamp().refuse()", "lamp.refuse: no"},
        {"lamp().fade()", "invalid parameter count 0 min: 1 max: 2"},
        {"lamp().frames = 1", "A member of 'testmod.lamp' cannot be written."},
        {"lamp(3).each((i) { std.raise(\"inside\"); })", "inside"},
        {"lamp(3).each((i) { lamp().break_down(); })", "break_down: the lamp is broken"},
        {"lamp(3).each((i) { std.wait(1); })",
         "Cannot wait inside a destructor or a callback of a native function."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        const std::string text = tvr_join("try { ", row.call, "; } catch (e) { std.print(e); }");
        EXPECT_EQ(run(text), tvr_join(row.message, "|"));
    }
}

// Whatever native code throws is an error of the operation that called it, and the script goes on.
TEST_F(testmod, exceptions_are_errors_of_the_script) {
    const struct {
        const char* what;
        const char* text;
        const char* message;
    } rows[] = {
        {"getter", "d.level;", "dud in getter"},
        {"getter of a passed reference", "r = &d.level; x = r + 1;", "dud in getter"},
        {"setter", "d.level = 1;", "dud in setter"},
        {"setter of an operation's result", "r = &d.level; r = 1 + one;", "dud in setter"},
        {"element", "d[1];", "dud in element"},
        {"assigned element", "d[1] = 2;", "dud in assigned element"},
        {"sum", "d + 1;", "dud in sum"},
        {"sum that is assigned", "x = d + 1;", "dud in sum"},
        {"product", "2 * d;", "unknown native exception"},
        {"equality", "d == 1;", "dud in equality"},
        {"comparison", "if (d < 1) { std.print(1); }", "dud in comparison"},
        {"comparison of a loop", "for (d < 1) { break; }", "dud in comparison"},
        {"truth", "if (d) { std.print(1); }", "dud in truth"},
        {"truth in a logical operator", "x = d && 1;", "dud in truth"},
        {"truth of a result", "give = () { return d; }; if (give()) { x = 1; }", "dud in truth"},
        {"size", "std.size(d);", "size: dud in size"},
        {"text", "x = \"\" + d;", "dud in text"},
        {"text of an output", "std.print(d);", "print: dud in text"},
        {"constructor", "dud(1);", "dud: dud in constructor"},
        {"inside of a callback", "std.sort([2, 1], (a, b) { return d + a; });", "dud in sum"},
        {"inside of a function", "f = (a) { return a + 1; }; x = f(d);", "dud in sum"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const std::string text =
            tvr_join("one = 1; d = dud();\ntry { ", row.text,
                     " } catch (e) { std.print(e); }\nd = None; std.print(one);");
        EXPECT_EQ(run(text), tvr_join(row.message, "|1|"));
    }
}

TEST_F(testmod, exceptions_of_hooks_are_reported) {
    EXPECT_EQ(run("d = dud(); std.wait(0); d = None; std.print(\"on\");"),
              "E update_script_post: unknown native exception|"
              "E update_script_pre: dud in hook before|on|");
}

TEST_F(testmod, exceptions_of_a_finished_task_s_listener_are_reported) {
    const auto task = in.start("import testmod; x = 1;");
    task->on_finished = [](tvr_task&) { throw std::runtime_error("no listener"); };
    in.run_until([&] { return task->ended(); });
    EXPECT_EQ(log.said(), "E on_finished: no listener|");
    EXPECT_EQ(task->state, tvr_task_state::finished);
}

TEST_F(testmod, makes_instances_of_the_script_s_classes) {
    EXPECT_EQ(run("factor = 2;\n"
                  "class step { n = 1 + 1; def __init__(i) { n = n + i * factor; "
                  "std.print(\"made\", n); } }\n"
                  "class bare { on = 1; }\n"
                  "class sketch { abstract def draw() {} }\n"
                  "lamp(3).each(step);\n"
                  "try { lamp(3).each(bare); } catch (e) { std.print(e); }\n"
                  "try { lamp(3).each(sketch); } catch (e) { std.print(e); }\n"),
              "made 2|made 4|made 6|"
              "invalid argument count: num_params=1, fn_num_params=0, "
              "fn_default_args=4294967295|"
              "Cannot create an instance of 'sketch': abstract method 'draw' is not implemented "
              "(implement it in a derived class).|");
}

TEST_F(testmod, its_hooks_run_before_and_after_the_tasks) {
    EXPECT_EQ(
        run("l = lamp(); std.wait(0); std.print(l.frames); std.wait(0); std.print(l.frames);"),
        ">\x3c|><>\x3c|");
    EXPECT_TRUE(in.script.has_work());  // the global holds a lamp
}

TEST_F(testmod, another_thread_resumes_its_callers) {
    EXPECT_EQ(run("std.print(lamp(6).measure(true));"), "6|");
    EXPECT_EQ(run("try { lamp(6).measure(false); } catch (e) { std.print(e); }"), "too dark|");
    EXPECT_EQ(run("l = lamp(0);\n"
                  "for (i = 0; i < 200; i++) { l.level = l.measure(true) + 1; }\n"
                  "std.print(l.level);"),
              "200|");
}

TEST_F(testmod, objects_end_with_their_interpreter) {
    const auto count = [] {
        tvr_namespace root("");
        tvr_global().find_module("testmod")->fill(root);
        tvr_vm_context frame;
        tvr_native_args none;
        return root.find_function("lamps")->callback(nullptr, frame, none)->int_value();
    };
    EXPECT_EQ(run("l = lamp(1); keep = [lamp(2), l];"), "");
    std::thread([&] {
        listening_log other_log;
        interpreter other(other_log, false, packages_of(TEST_PACKAGES));
        other.start(
            "import testmod; l = lamp(3); l.measure(true); for (true) { l.measure(true); }");
        for (int frame = 0; frame < 3; ++frame) other.script.update();
    }).join();
    EXPECT_EQ(count(), 2);
}

TEST(restricted_mode, loads_no_other_module) {
    tvrscript_config_default config = packages_of(TEST_PACKAGES);
    config.restricted_mode = true;
    config.allowed_namespaces = {"std", "test"};
    listening_log log;
    interpreter in(log, false, config);
    EXPECT_FALSE(tvr_global().import_external_module(in.script, "testmod"));
    EXPECT_EQ(log.said(), "E Cannot import namespace 'testmod'|");
}

}  // namespace
