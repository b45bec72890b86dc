#include "binding/script_value.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>

#include "base/byte_order.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"

namespace deckbus {

namespace {

constexpr double sample_scale = 1.0 / 32768.0;
constexpr size_t sample_bytes = 2;

bool is_ascii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return uint8_t(c) < 0x80; });
}

// A text as it comes out of JSON text. The printer knows what to replace; plain ASCII, which is
// nearly all there is, need not go through it.
std::string printed_and_read(const std::string& text) {
    const std::string printed = json(text).dump(-1, ' ', false, json::error_handler_t::replace);
    return json::parse(printed).get<std::string>();
}

void set_text(tvrvar& into, const std::string& text) {
    if (is_ascii(text)) return into.as_string(std::string_view(text));
    into.as_string(printed_and_read(text));
}

void set_value(tvrvar& into, const json& value);

void add_entries(tvr_std_json& into, const json& object) {
    into.entries.reserve(object.size());
    for (const auto& [key, value] : object.items()) {
        tvrvar_shared made = tvrvar_shared::make();
        set_value(*made, value);
        if (is_ascii(key)) {
            into.add_member(std::move(made), key);
        } else {
            into.set(printed_and_read(key), std::move(made));  // two may have become one
        }
    }
}

void add_elements(tvr_std_json& into, const json& list) {
    into.entries.reserve(list.size());
    for (const json& value : list) set_value(*into.create_member(), value);
}

void set_value(tvrvar& into, const json& value) {
    switch (value.type()) {
    case json::value_t::boolean: return into.as_object(new tvr_std_json_bool(value.get<bool>()));
    case json::value_t::number_integer: return into.as_int(value.get<int64_t>());
    case json::value_t::number_unsigned: return into.as_int(int64_t(value.get<uint64_t>()));
    case json::value_t::number_float: {
        const double number = value.get<double>();
        return std::isfinite(number) ? into.as_float(number) : into.as_none();  // as in JSON text
    }
    case json::value_t::string: return set_text(into, value.get_ref<const std::string&>());
    case json::value_t::object: return add_entries(into.as_json(true), value);
    case json::value_t::array: return add_elements(into.as_json(true), value);
    default: return into.as_none();
    }
}

void add_samples(tvr_std_json& into, const bytes& pcm) {
    const size_t count = pcm.size() / sample_bytes;
    into.entries.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const auto sample = int16_t(read_u16_le(pcm, i * sample_bytes));
        into.push_back(sample * sample_scale);
    }
}

}  // namespace

tvrvar_shared to_var(const json& value) {
    if (value.is_boolean()) return value.get<bool>();
    if (value.is_string()) return value.get_ref<const std::string&>();
    if (value.is_number_float()) return value.get<double>();
    tvrvar_shared made = tvrvar_shared::make();
    set_value(*made, value);
    return made;
}

tvrvar_shared audio_value(audio_chunk chunk, double now, bool with_values) {
    constexpr double ms_per_s = 1000.0;
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& out = made->as_json(true);
    out.add_member(int64_t(chunk.sample_rate), "rate");
    out.add_member(int64_t(chunk.seq), "seq");
    out.add_member(int64_t(chunk.source), "source");
    out.add_member(chunk.us, "us");
    out.add_member((now - chunk.t) * ms_per_s, "ageMs");
    out.add_member(int64_t(chunk.pcm.size() / sample_bytes), "samples");
    tvrvar_shared values;
    if (with_values) {
        values = tvrvar_shared::make();
        add_samples(values->as_json(true), chunk.pcm);
    }
    out.add_member(binary_value(std::move(chunk.pcm)), "data");
    if (with_values) out.add_member(std::move(values), "values");
    return made;
}

tvrvar_shared audio_list(std::vector<audio_chunk> chunks, double now, bool with_values) {
    tvrvar_shared list = tvrvar_shared::make();
    tvr_std_json& out = list->as_json(true);
    for (audio_chunk& chunk : chunks)
        out.push_back(audio_value(std::move(chunk), now, with_values));
    return list;
}

tvrvar_shared binary_value(bytes data) {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_binary().bytes = std::move(data);
    return made;
}

}  // namespace deckbus
