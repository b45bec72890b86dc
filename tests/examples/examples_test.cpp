// The example scripts, run as people run them.

#include <gtest/gtest.h>
#include <png.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "../support/sim_process.h"
#include "../support/tavro_process.h"

using bridge_sim::test::scratch;
using bridge_sim::test::sim_process;
using host::test::in_pipe;

namespace {

constexpr const char* set = EXAMPLES "/recordings/club-night.jsonl";

host::test::words script(const char* name, const host::test::words& arguments) {
    host::test::words all{"run", std::string(EXAMPLES "/") + name};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

// The status with which it ends when it is asked to.
int stopped(in_pipe& run) {
    run.child.signal(SIGTERM);
    return run.ends();
}

TEST(examples, are_short) {
    constexpr int most_lines = 60;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES)) {
        if (entry.path().extension() != ".tvio") continue;
        std::ifstream file(entry.path());
        int lines = 0;
        for (std::string line; std::getline(file, line);) ++lines;
        EXPECT_LT(lines, most_lines) << entry.path();
    }
}

TEST(examples, follow_draws_what_it_hears) {
    in_pipe run(script("follow.tvio", {set, "20"}), " >>>>>>>> cue point, beat 97\n");
    EXPECT_EQ(stopped(run), 0);
    for (const char* part :
         {"     connected to replay:", "     track: ", "     deck 1 has the tempo\n",
          "      Buildup -> Drop\n", "1  ○●○○  12", " bpm   low ", "cue in 1\n"}) {
        EXPECT_NE(run.output.text().find(part), std::string::npos) << part << run.output.text();
    }
}

TEST(examples, follow_reaches_a_board) {
    const scratch folder;
    const std::string port = folder.path("board");
    sim_process board({"serve", "--pty", port, "--speed", "20", set});
    ASSERT_TRUE(bridge_sim::test::appears(port));
    in_pipe run(script("follow.tvio", {"open", port}), "cue point");
    EXPECT_EQ(stopped(run), 0);
    EXPECT_NE(run.output.text().find("connected to " + port), std::string::npos)
        << run.output.text();
}

TEST(examples, drop_lets_the_light_grow_and_flashes) {
    in_pipe run(script("drop.tvio", {set, "20"}), "DROP on deck 1 beat 97\n");
    EXPECT_EQ(stopped(run), 0);
    EXPECT_NE(run.output.text().find("█·"), std::string::npos) << run.output.text();
}

// The pixels of a PNG file, checksums and all; empty when there is something wrong with it.
std::vector<uint8_t> pixels_of(const std::string& path, uint32_t width, uint32_t height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    const bool good = image.width == width && image.height == height &&
                      png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) != 0;
    return good ? pixels : std::vector<uint8_t>();
}

TEST(examples, texture_draws_each_deck) {
    const scratch folder;
    in_pipe run(script("texture.tvio", {folder.path(""), set, "20"}), "/deck2.png 2:3:108\n");
    EXPECT_EQ(stopped(run), 0);
    // A file is whole when a later line has been said.
    const auto pixels = pixels_of(folder.path("deck1.png"), 1200, 96);
    EXPECT_EQ(pixels.size(), 1200u * 96 * 3) << run.output.text();
    EXPECT_GT(std::set<uint8_t>(pixels.begin(), pixels.end()).size(), 5u);
}

TEST(examples, visuals_makes_pictures) {
    const scratch folder;
    const std::string pictures = folder.path("pictures");
    in_pipe run(script("visuals.tvio", {set, "20", pictures}), "/1003.png\n");
    EXPECT_EQ(stopped(run), 0);
    const auto first = pixels_of(pictures + "/1002.png", 640, 360);
    const auto second = pixels_of(pictures + "/1003.png", 640, 360);
    EXPECT_EQ(first.size(), 640u * 360 * 3) << run.output.text();
    EXPECT_NE(first, second);
    EXPECT_GT(std::set<uint8_t>(first.begin(), first.end()).size(), 50u);
}

// It is killed at the end: a picture is more than a pipe holds, so it waits for its reader.
TEST(examples, visuals_draws_in_the_terminal) {
    const in_pipe run(script("visuals.tvio", {set, "20"}), "\x1b[29A\n");
    const std::string picture = run.output.text().substr(0, run.output.text().find("\x1b[29A"));
    EXPECT_EQ(picture.size(), (100u * 39 + 5) * 28);
    EXPECT_EQ(picture.find('\0'), std::string::npos);
    EXPECT_TRUE(picture.ends_with("m▀\x1b[0m\n"));
}

TEST(examples, unplugged_goes_on_by_heart) {
    const scratch folder;
    const std::string port = folder.path("board");
    sim_process board({"serve", "--pty", port, "--speed", "20", "--unplug", "1@3", set});
    ASSERT_TRUE(bridge_sim::test::appears(port));
    in_pipe run(script("unplugged.tvio", {port}), "the board is gone\n");
    const std::string until_gone = run.output.text();
    const std::string again = "the board is there, at " + port + "\n";
    EXPECT_NE(until_gone.find(again), std::string::npos) << until_gone;
    EXPECT_NE(until_gone.find("beat from the deck 12"), std::string::npos) << until_gone;
    EXPECT_TRUE(run.output.reads(again)) << run.output.text();
    EXPECT_EQ(stopped(run), 0);
    EXPECT_NE(run.output.text().find("beat by heart 12"), std::string::npos) << run.output.text();
}

// A track has to be heard for 30 seconds, and these cannot be had faster.
TEST(examples, set_list_is_saved) {
    const scratch home;
    const std::string recording = home.path("set.jsonl");
    {
        std::ofstream out(recording);
        out << R"({"rx":0,"t":"trk","n":1,"id":"1:3:42","meta":true})"
               "\n"
               R"({"rx":0,"t":"meta","id":"1:3:42","title":"Night, again","artist":"Ada"})"
               "\n";
        for (int i = 0; i < 130; ++i) {
            out << R"({"rx":)" << i * 0.25 << R"(,"t":"st","n":1,"bpm":124.0,"play":true})"
                << "\n";
        }
    }
    setenv("HOME", home.path("").c_str(), 1);
    in_pipe run(script("set_list.tvio", {recording}), ".csv\n");
    EXPECT_EQ(stopped(run), 0);
    const size_t at = run.output.text().find("saved in ") + 9;
    std::ifstream file(run.output.text().substr(at, run.output.text().find('\n', at) - at));
    std::string head, line;
    std::getline(file, head);
    std::getline(file, line);
    EXPECT_NE(run.output.text().find(" deck 1  Ada - Night, again\n"), std::string::npos)
        << run.output.text();
    EXPECT_EQ(line.substr(5), ",1,\"Night, again\",Ada,124.0,,\r");
}

}  // namespace
