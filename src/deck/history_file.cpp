#include "deck/history_file.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace deckbus {

namespace {

std::tm local_time(std::time_t when) {
    std::tm parts{};
    ::localtime_r(&when, &parts);
    return parts;
}

std::string clock_text(std::time_t when) {
    const std::tm at = local_time(when);
    std::array<char, 32> out{};
    std::snprintf(out.data(), out.size(), "%02d:%02d", at.tm_hour, at.tm_min);
    return out.data();
}

std::string file_name(std::time_t when, std::string_view extension) {
    const std::tm at = local_time(when);
    std::array<char, 96> out{};
    std::snprintf(out.data(), out.size(), "history-%04d-%02d-%02d-%02d%02d.%.*s", at.tm_year + 1900,
                  at.tm_mon + 1, at.tm_mday, at.tm_hour, at.tm_min, int(extension.size()),
                  extension.data());
    return out.data();
}

std::string csv_field(std::string_view field) {
    if (field.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(field);
    std::string out = "\"";
    for (const char c : field) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + '"';
}

std::string csv_line(const json& entry) {
    std::array<char, 400> bpm{};
    std::snprintf(bpm.data(), bpm.size(), "%.1f", number(entry, "bpm", 0));
    const std::string deck = std::to_string(integer(entry, "n", 0));
    std::string line = csv_field(text(entry, "time"));
    for (const std::string_view field :
         {std::string_view(deck), text(entry, "title"), text(entry, "artist"),
          std::string_view(bpm.data()), text(entry, "key"), text(entry, "genre")}) {
        line += ',' + csv_field(field);
    }
    return line + "\r\n";
}

std::string plain_line(const json& entry) {
    std::string line(text(entry, "time"));
    line += "  ";
    const std::string_view artist = text(entry, "artist");
    if (!artist.empty()) (line += artist) += " - ";
    return (line += text(entry, "title")) + "\r\n";
}

}  // namespace

json history_list(const json& history, std::time_t wall) {
    json list = json::array();
    const double now = number(history, "now", 0);
    const json* items = find_field(history, "items");
    if (items == nullptr) return list;
    for (json entry : *items) {
        const std::time_t epoch = wall - std::time_t(now - number(entry, "t", now));
        entry.erase("t");
        entry["time"] = clock_text(epoch);
        entry["epoch"] = epoch;
        list.push_back(std::move(entry));
    }
    return list;
}

std::string history_text(const json& list, std::string_view format) {
    const bool plain = format == "txt";
    std::string out = plain ? "" : "Time,Deck,Title,Artist,BPM,Key,Genre\r\n";
    for (const json& entry : list) out += plain ? plain_line(entry) : csv_line(entry);
    return out;
}

std::string save_history(const json& list, std::string_view format, const std::string& home,
                         std::time_t wall) {
    const auto folder =
        std::filesystem::path(home.empty() ? "." : home) / "Documents" / "deckbus-history";
    std::error_code failed;
    std::filesystem::create_directories(folder, failed);  // opening the file tells what failed
    const auto path = folder / file_name(wall, format == "txt" ? "txt" : "csv");
    std::ofstream out(path, std::ios::binary);
    out << history_text(list, format);
    out.close();
    return out ? path.string() : std::string();
}

}  // namespace deckbus
