#pragma once

// Well-typed kernels by chance, as source text, and arguments for them.
//
// Every invocation writes only its own stripe of each buffer, so that the outcome does not depend
// on who runs when. A safe kernel cannot trap; the others divide, convert and index as they like
// and are meant for one invocation at a time, because only then is the first trap the only one.

#include <cstdint>
#include <string>
#include <vector>

#include "engines.h"

namespace tavro::test {

// Decisions: from given bytes while there are any, then from a generator.
class chance {
public:
    explicit chance(uint64_t seed, const uint8_t* given = nullptr, size_t count = 0)
        : state(seed), data(given), left(count) {}

    uint64_t bits() {
        state += 0x9e3779b97f4a7c15;
        uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }

    size_t below(size_t n) {
        if (left == 0) return bits() % n;
        --left;
        return *data++ % n;
    }

    template <size_t N>
    std::string one_of(const char* const (&words)[N]) {  // one word of a list
        return words[below(N)];
    }

private:
    uint64_t state;
    const uint8_t* data;
    size_t left;
};

class random_kernel {
public:
    static constexpr uint64_t stripe = 4;  // elements of each buffer that belong to a gid
    static constexpr size_t table = 16;    // elements of the read-only tables

    random_kernel(chance& decisions, bool cannot_trap) : dice(decisions), safe(cannot_trap) {}

    std::string source() {
        std::string text =
            "kernel struct Rec { i16 a; f32 b; u8 c[3]; f64 d; }\n"
            "kernel struct Two { f64 s; i32 n; u32 bits; }\n"
            "kernel const i32 SIX = 2 * 3;\n"
            "kernel inline i32 whole(f64 v) { if (v > -100.0 && v < 100.0) return i32(v); return "
            "7; }\n"
            "kernel inline i64 mix(i64 a, i64 b) { i64 t = a * 31 + b; if (t % 3 == 0) return t ^ "
            "b;"
            " return t - a; }\n"
            "kernel inline f32x3 turn(f32x3 v, f32 k) { return {v.y * k, v.z, v.x - k}; }\n"
            "kernel inline void bump(i32* p, i32 v) { p[1] += v; *p = *p ^ v; }\n";
        const size_t form = dice.below(8);
        text += "kernel " + head(form) + " {\n";
        scope = {{"s0", "i32"}, {"s1", "u32"}, {"s2", "f32"},
                 {"s3", "f64"}, {"s4", "i64"}, {"s5", "u8"}};
        text += "u64 at = gid * 4;\n";
        const size_t count = 2 + dice.below(7);
        for (size_t i = 0; i < count; ++i) text += statement(2);
        text += ending(form);
        return text + "}\n";
    }

    kernel_arguments arguments(uint64_t width, uint64_t height) {
        kernel_arguments made;
        made.width = width;
        made.height = height;
        made.scalars = {
            whole(int32_t(dice.bits())), whole(uint32_t(dice.bits())), f32(number()), f64(number()),
            whole(int64_t(dice.bits())), whole(uint8_t(dice.bits()))};
        const size_t cells = width * height * stripe;
        const size_t sizes[] = {4, 1, 4, 8, 8, 2};
        for (const size_t size : sizes) made.buffers.push_back(noise(cells * size));
        made.buffers[2] = floats<float>(cells);
        made.buffers[3] = floats<double>(cells);
        made.buffers.push_back(noise(width * height * rec_bytes));
        clear_floats(made.buffers.back());
        made.buffers.push_back(noise(sizeof(int32_t) * 4));
        made.buffers.push_back(noise(table * sizeof(int32_t)));
        made.buffers.push_back(floats<float>(table));
        return made;
    }

private:
    struct name_and_type {
        std::string name, type;
    };
    static constexpr size_t rec_bytes = 2 + 4 + 3 + 8;

    static std::string head(size_t form) {
        static const char* const results[] = {"void", "void", "i64", "f32",
                                              "f64",  "u32",  "Two", "bool"};
        static const char* const clauses[] = {"",
                                              "",
                                              " reduce(+)",
                                              " reduce(+)",
                                              " reduce(max)",
                                              " reduce(^)",
                                              " reduce(s: +, n: min, bits: |)",
                                              " reduce(&)"};
        return std::string(results[form]) +
               " k(i32 s0, u32 s1, f32 s2, f64 s3, i64 s4, u8 s5, i32* a, u8* b, f32* c, f64* d, "
               "u64* e, i16* h, Rec* r, i32* count, const i32* ti, const f32* tf)" +
               clauses[form];
    }

    std::string ending(size_t form) {
        static const char* const types[] = {"", "", "i64", "f32", "f64", "u32", "", "bool"};
        if (form < 2) return "";
        if (form == 6) {
            return "return {" + value("f64", 2) + ", " + value("i32", 2) + ", " + value("u32", 2) +
                   "};\n";
        }
        return "return " + value(types[form], 2) + ";\n";
    }

    // values ---------------------------------------------------------------------------------

    float number() {
        const int64_t n = int64_t(dice.bits() % 2000) - 1000;
        return float(n) / 8.0f;
    }
    kernel_buffer noise(size_t bytes) {
        kernel_buffer made;
        for (size_t i = 0; i < bytes; ++i) made.bytes.push_back(uint8_t(dice.bits()));
        return made;
    }
    template <typename T>
    kernel_buffer floats(size_t count) {
        std::vector<T> values;
        for (size_t i = 0; i < count; ++i) values.push_back(T(number()));
        return kernel_buffer::of(values);
    }
    // A struct's memory is compared byte by byte, so it holds no odd NaNs to begin with.
    static void clear_floats(kernel_buffer& records) {
        for (size_t at = 0; at + rec_bytes <= records.bytes.size(); at += rec_bytes) {
            std::memset(records.bytes.data() + at + 2, 0, 4);
            std::memset(records.bytes.data() + at + 9, 0, 8);
        }
    }

    static bool is_float(const std::string& type) { return type == "f32" || type == "f64"; }
    std::string integer_type() {
        return dice.one_of({"i32", "u32", "i64", "u64", "i8", "u8", "i16", "u16"});
    }
    std::string any_type() {
        return dice.below(3) == 0   ? dice.one_of({"f32", "f64"})
               : dice.below(8) == 0 ? "bool"
                                    : integer_type();
    }

    std::string literal(const std::string& type) {
        if (type == "bool") return dice.one_of({"true", "false"});
        if (is_float(type)) {
            return type + "(" + dice.one_of({"0.0", "1.5", "-2.25", "1e10", "3", "0.1", "1e-3"}) +
                   ")";
        }
        return type + "(" +
               dice.one_of({"0", "1", "-1", "7", "255", "-128", "65536", "2147483647", "31"}) + ")";
    }

    std::string leaf(const std::string& type) {
        for (size_t tries = 0; tries < 3; ++tries) {
            const name_and_type& known = scope[dice.below(scope.size())];
            if (known.type == type) return known.name;
        }
        static const char* const loads[][2] = {
            {"i32", "a[at + 1]"},  {"u8", "b[at]"},      {"f32", "c[at + 2]"}, {"f64", "d[at]"},
            {"u64", "e[at + 3]"},  {"i16", "h[at + 1]"}, {"i16", "r[gid].a"},  {"f32", "r[gid].b"},
            {"u8", "r[gid].c[1]"}, {"f64", "r[gid].d"},  {"u64", "gid"},       {"u64", "gid_x"},
            {"u64", "gsize"},      {"i32", "SIX"}};
        const auto& load = loads[dice.below(std::size(loads))];
        if (load[0] == type) return load[1];
        return literal(type);
    }

    std::string index() { return "(" + value("u32", 1) + " & 15u)"; }

    std::string value(const std::string& type, size_t depth) {
        if (depth == 0 || dice.below(5) == 0) return leaf(type);
        if (type == "bool") return truth(depth - 1);
        if (dice.below(9) == 0) {
            return "(" + value("bool", depth - 1) + " ? " + value(type, depth - 1) + " : " +
                   value(type, depth - 1) + ")";
        }
        return is_float(type) ? real(type, depth - 1) : integer(type, depth - 1);
    }

    std::string truth(size_t depth) {
        switch (dice.below(5)) {
        case 0: return "(" + value("bool", depth) + " && " + value("bool", depth) + ")";
        case 1: return "(" + value("bool", depth) + " || " + value("bool", depth) + ")";
        case 2: return "!" + value("bool", depth);
        case 3: return "bool(" + value(dice.one_of({"f32", "f64", "i32"}), depth) + ")";
        default: break;
        }
        const std::string type = dice.below(3) == 0 ? dice.one_of({"f32", "f64"}) : integer_type();
        return "(" + value(type, depth) +
               dice.one_of({" < ", " <= ", " > ", " >= ", " == ", " != "}) + value(type, depth) +
               ")";
    }

    std::string real(const std::string& type, size_t depth) {
        const std::string x = value(type, depth);
        switch (dice.below(9)) {
        case 0:
            return dice.one_of({"sqrt", "floor", "ceil", "round", "trunc", "sin", "cos", "exp",
                                "atan", "log2"}) +
                   "(" + x + ")";
        case 1:
            return dice.one_of({"pow", "atan2", "min", "max"}) + "(" + x + ", " +
                   value(type, depth) + ")";
        case 2: return "(-" + x + ")";
        case 3: return "abs(" + x + ")";
        case 4: return type + "(" + value(integer_type(), depth) + ")";
        case 5: return type == "f32" ? "tf[" + index() + "]" : "f64(" + value("f32", depth) + ")";
        case 6: return "pow(" + x + ", 2.0)";
        default: break;
        }
        return "(" + x + dice.one_of({" + ", " - ", " * ", " / ", " % "}) + value(type, depth) +
               ")";
    }

    std::string integer(const std::string& type, size_t depth) {
        const std::string x = value(type, depth);
        switch (dice.below(10)) {
        case 0: return "(" + x + dice.one_of({" / ", " % "}) + divisor(type, depth) + ")";
        case 1: return "(" + x + dice.one_of({" << ", " >> "}) + value(integer_type(), depth) + ")";
        case 2: return "(" + dice.one_of({"-", "~"}) + x + ")";
        case 3: return dice.one_of({"min", "max"}) + "(" + x + ", " + value(type, depth) + ")";
        case 4: return type + "(" + value(integer_type(), depth) + ")";
        case 5: return from_float(type, depth);
        case 6:
            return type == "i32" ? "ti[" + (safe ? index() : value("i32", depth)) + "]"
                                 : "abs(" + x + ")";
        case 7:
            return type == "i64" ? "mix(" + x + ", " + value("i32", depth) + ")"
                                 : type + "(" + value("i64", depth) + ")";
        default: break;
        }
        return "(" + x + dice.one_of({" + ", " - ", " * ", " & ", " | ", " ^ "}) +
               value(type, depth) + ")";
    }

    std::string divisor(const std::string& type, size_t depth) {
        if (dice.below(3) == 0) return type + "(" + dice.one_of({"2", "3", "7", "10", "127"}) + ")";
        const std::string e = value(type, depth);
        return safe ? "((" + e + " & " + type + "(7)) + " + type + "(1))" : e;
    }

    std::string from_float(const std::string& type, size_t depth) {
        const std::string v = value(dice.one_of({"f32", "f64"}), depth);
        return safe ? type + "(whole(" + v + "))" : type + "(" + v + ")";
    }

    // statements -----------------------------------------------------------------------------

    std::string block(size_t depth) {
        const size_t outer = scope.size();
        std::string text = "{\n";
        const size_t count = 1 + dice.below(3);
        for (size_t i = 0; i < count; ++i) text += statement(depth);
        scope.resize(outer);
        return text + "}\n";
    }

    std::string declare() {
        const std::string type = any_type();
        const std::string name = "v" + std::to_string(names++);
        const std::string text =
            type + " " + name + (dice.below(8) == 0 ? "" : " = " + value(type, 3)) + ";\n";
        scope.push_back({name, type});
        return text;
    }

    std::string assign() {
        for (size_t tries = 0; tries < 6; ++tries) {
            const name_and_type known = scope[dice.below(scope.size())];
            if (known.name[0] != 'v') continue;
            const bool compound = known.type != "bool" && dice.below(2) == 0;
            return known.name + (compound ? dice.one_of({" += ", " -= ", " *= "}) : " = ") +
                   value(known.type, 3) + ";\n";
        }
        return declare();
    }

    std::string store() {
        static const char* const targets[][2] = {
            {"a[at + 1]", "i32"},  {"b[at]", "u8"},       {"c[at + 2]", "f32"},
            {"d[at]", "f64"},      {"e[at + 3]", "u64"},  {"h[at + 1]", "i16"},
            {"r[gid].a", "i16"},   {"a[gid * 4]", "i32"}, {"c[at]", "f32"},
            {"r[gid].c[2]", "u8"}, {"b[at + 3]", "u8"},   {"d[at + 1]", "f64"}};
        const auto& [target, type] = targets[dice.below(std::size(targets))];
        return std::string(target) + " = " + value(type, 3) + ";\n";
    }

    std::string loop(size_t depth) {
        const std::string name = "n" + std::to_string(names++);
        const std::string limit =
            dice.below(2) == 0 ? std::to_string(1 + dice.below(5)) : "i32(s5 & u8(3))";
        const std::string varying = dice.below(3) == 0 ? "i32(gid & 3)" : limit;
        scope.push_back({name, "i32"});
        std::string body = block(depth - 1);
        scope.pop_back();
        if (dice.below(3) == 0) {
            body = "{ if (" + value("bool", 2) + ") " + dice.one_of({"break;", "continue;"}) +
                   "\n" + body + "}\n";
        }
        return "for (i32 " + name + " = 0; " + name + " < " + varying + "; " + name + "++) " + body;
    }

    std::string special() {
        const std::string n = std::to_string(names++);
        switch (dice.below(6)) {
        case 0: return "atomic_add(count[1], " + value("i32", 2) + ");\n";
        case 1: return "bump(&a[at + 1], " + value("i32", 2) + ");\n";
        case 2:
            return "f32x3 w" + n + " = turn(f32x3(" + value("f32", 2) + ", tf[1], " +
                   value("f32", 1) + "), " + value("f32", 1) + ") * 0.5;\nc[at + 1] = dot(w" + n +
                   ", w" + n + ") + w" + n + ".y;\n";
        case 3:
            return "i32 l" + n + "[5] = {" + value("i32", 2) + ", " + value("i32", 2) + "};\nl" +
                   n + "[" + (safe ? "gid % 5" : "i32(gid) + " + value("i32", 2)) +
                   "] += 3;\na[at + 2] = l" + n + "[1] - l" + n + "[gid & 3];\n";
        case 4:
            return "Rec m" + n + " = r[gid];\nm" + n + ".c[gid % 3] = " + value("u8", 2) +
                   ";\nr[gid] = m" + n + ";\n";
        default: {
            // What is stored is computed outside, where an index is tested.
            const std::string q = "q" + n, u = "kept" + n;
            return "i32 " + u + " = " + value("i32", 2) + ";\nunchecked { i32* " + q +
                   " = a + at; " + q + "[3] = " + u + "; " + q + "++; *" + q + " -= 5; }\n";
        }
        }
    }

    std::string statement(size_t depth) {
        switch (dice.below(depth > 0 ? 9 : 6)) {
        case 0:
        case 1: return declare();
        case 2: return assign();
        case 3:
        case 4: return store();
        case 5: return special();
        case 6: return loop(depth);
        case 7: return "if (" + value("bool", 3) + ") " + block(depth - 1);
        default: {
            std::string text = "if (" + value("bool", 3) + ") " + block(depth - 1);
            return text + "else " + block(depth - 1);
        }
        }
    }

    chance& dice;
    bool safe;
    std::vector<name_and_type> scope;
    size_t names = 0;
};

}  // namespace tavro::test
