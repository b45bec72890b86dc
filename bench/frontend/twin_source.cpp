#include "twin_source.h"

#include <cstdint>
#include <string_view>

#include "base/join.h"

namespace {

class writer {
public:
    twin_source run(size_t bytes) {
        for (size_t i = 0; twins.tavro.size() < bytes; ++i) write_function(i);
        return std::move(twins);
    }

private:
    void write_function(size_t i) {
        const std::string name = tvr_join("mix_channel_", i);
        both(tvr_join(" mixes the layers of channel ", i, " and returns how loud they are\n"), "//",
             "--");
        line(tvr_join("def ", name, "(layers, gain, phase) {"),
             tvr_join("function ", name, "(layers, gain, phase)"));
        declare("total", "0");
        declare("colors", "[\"red\": 255, \"green\": 128, \"blue\": 0]",
                "{[\"red\"] = 255, [\"green\"] = 128, [\"blue\"] = 0}");
        declare("steps", "[1, 2, 3, 5, 8, 13, 21]", "{1, 2, 3, 5, 8, 13, 21}");
        write_loop();
        write_conditions(i);
        write_calls(i);
        line("    return total + colors.red * 0.25;", "    return total + colors.red * 0.25");
        line("}", "end");
    }

    void write_loop() {
        line("    for (i = 0; i < 16; i += 1) {", "    for i = 0, 15, 1 do");
        assign("        ", "total", "total + layers[i] * gain - (phase + i) / 3.5");
        assign("        ", "colors.green", "(colors.green * 3 + i) % 255");
        line("    }", "    end");
    }

    void write_conditions(size_t i) {
        line(tvr_join("    if (total > ", 100 + number(900), " && phase < 0.5) {"),
             tvr_join("    if total > ", 100 + last, " and phase < 0.5 then"));
        assign("        ", "total", "total - steps[2]");
        line(tvr_join("    } else if (gain == ", i % 7, ") {"),
             tvr_join("    elseif gain == ", i % 7, " then"));
        assign("        ", "layers.name", tvr_join("\"channel ", i, ": \" "));
        line("    } else {", "    else");
        assign("        ", "gain", "-gain * 0.5");
        line("    }", "    end");
    }

    void write_calls(size_t i) {
        both(" tell the others what happened here\n", "    //", "    --");
        line(tvr_join("    notify(\"level changed\", total, [", number(1000), ", ", i, "]);"),
             tvr_join("    notify(\"level changed\", total, {", last, ", ", i, "})"));
        line("    layers.meter.update(total, phase, steps[1] + steps[3] * 2);",
             "    layers.meter.update(total, phase, steps[1] + steps[3] * 2)");
    }

    void declare(std::string_view name, std::string_view value) { declare(name, value, value); }
    void declare(std::string_view name, std::string_view tavro, std::string_view lua) {
        line(tvr_join("    var ", name, " = ", tavro, ";"),
             tvr_join("    local ", name, " = ", lua));
    }
    void assign(std::string_view indent, std::string_view target, std::string_view value) {
        line(tvr_join(indent, target, " = ", value, ";"), tvr_join(indent, target, " = ", value));
    }
    void both(std::string_view text, std::string_view tavro, std::string_view lua) {
        twins.tavro += tvr_join(tavro, text);
        twins.lua += tvr_join(lua, text);
    }
    void line(std::string_view tavro, std::string_view lua) {
        twins.tavro += tvr_join(tavro, "\n");
        twins.lua += tvr_join(lua, "\n");
    }

    uint32_t number(uint32_t below) {
        seed = seed * 1664525 + 1013904223;
        last = (seed >> 8) % below;
        return last;
    }

    twin_source twins;
    uint32_t seed = 1, last = 0;
};

}  // namespace

twin_source write_twins(size_t bytes) {
    return writer().run(bytes);
}
