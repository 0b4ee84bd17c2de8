// The command-line tool as a user runs it: the executable itself, on real
// files in a temporary directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

struct Outcome {
  int exitCode = -1;
  std::string out;
  std::string err;
};

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<uint8_t> ReadBytes(const fs::path& path) {
  const std::string text = ReadText(path);
  return std::vector<uint8_t>(text.begin(), text.end());
}

void WriteBytes(const fs::path& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

uint32_t Le32(const std::vector<uint8_t>& b, std::size_t at) {
  return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 |
         uint32_t(b[at + 3]) << 24;
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
#if !defined(VOBREX_TOOL_PATH) || defined(_WIN32)
    GTEST_SKIP() << "the tool is not built in this configuration";
#else
    std::string pattern = (fs::temp_directory_path() / "vobrex-tool-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
#endif
  }

  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }

  fs::path At(const std::string& name) const { return dir_ / name; }

  // Runs the tool with `args` in the temporary directory.
  Outcome Run(const std::vector<std::string>& args) {
    Outcome outcome;
#if defined(VOBREX_TOOL_PATH) && !defined(_WIN32)
    const std::string tool = VOBREX_TOOL_PATH;
    std::vector<char*> argv{const_cast<char*>(tool.c_str())};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const std::string outPath = At(".stdout").string(), errPath = At(".stderr").string();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    // The child starts in the temporary directory (relative paths land there).
    const fs::path previous = fs::current_path();
    fs::current_path(dir_);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, tool.c_str(), &actions, nullptr, argv.data(), environ);
    fs::current_path(previous);
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(spawned, 0) << "cannot start " << tool;
    if (spawned != 0) return outcome;
    int status = 0;
    waitpid(pid, &status, 0);
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = ReadText(outPath);
    outcome.err = ReadText(errPath);
#else
    static_cast<void>(args);
#endif
    return outcome;
  }

  // Runs and expects success, with the outputs in the failure message.
  Outcome RunOk(const std::vector<std::string>& args) {
    Outcome o = Run(args);
    EXPECT_EQ(o.exitCode, 0) << Joined(args) << "\nstdout:\n" << o.out << "\nstderr:\n" << o.err;
    return o;
  }

  static std::string Joined(const std::vector<std::string>& args) {
    std::string text = "vobrex";
    for (const std::string& a : args) text += " " + a;
    return text;
  }

  fs::path dir_;
};

bool AllZero(const std::vector<uint8_t>& bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 0; });
}

TEST_F(ToolTest, EveryCommandHasHelp) {
  const Outcome top = RunOk({"--help"});
  for (const char* command :
       {"convert", "mosaic", "demo", "info", "settings", "compare", "scene"}) {
    EXPECT_NE(top.out.find(command), std::string::npos) << command;
    const Outcome help = RunOk({command, "--help"});
    EXPECT_NE(help.out.find(std::string("vobrex ") + command), std::string::npos) << help.out;
  }
  // The setters of the export table are all reachable from convert.
  const std::string convert = RunOk({"convert", "--help"}).out;
  for (const char* option : {"--settings", "--set", "--resolution", "--sensor-mode", "--option",
                             "--orientation", "--wb-factors", "--focus-factors", "--tone",
                             "--focus-coord", "--semi-factors", "--rgb-ratio", "--color-gain"}) {
    EXPECT_NE(convert.find(option), std::string::npos) << option;
  }
  const Outcome none = Run({});
  EXPECT_NE(none.exitCode, 0);
  EXPECT_NE(none.err.find("subcommand"), std::string::npos) << none.err;
}

TEST_F(ToolTest, InfoShowsVersionGeometryAndDefaults) {
  const std::string out = RunOk({"info"}).out;
  EXPECT_EQ(out.rfind("vobrex 0.", 0), 0u) << out;
  for (const char* size : {"1260 x 960", "1016 x 768", "848 x 640", "176 x 144", "80 x 60"}) {
    EXPECT_NE(out.find(size), std::string::npos) << size;
  }
  EXPECT_NE(out.find("1048576"), std::string::npos);
  EXPECT_NE(out.find("framing = '3'"), std::string::npos);
  EXPECT_NE(out.find("sensorMode = 51"), std::string::npos);
}

TEST_F(ToolTest, SettingsDumpReadsBackAsTheSameRecord) {
  RunOk({"settings",
         "--dump",
         "-o",
         "record.txt",
         "--resolution",
         "40",
         "--sensor-mode",
         "2",
         "--option",
         "k=52",
         "--option",
         "h=0",
         "--orientation",
         "mirror",
         "--wb-factors",
         "1.25,1,0.1",
         "--tone",
         "5,-3,90,2,1,1",
         "--focus-factors",
         "1,0",
         "--focus-coord",
         "10,20",
         "--semi-factors",
         "1,2,3,4,5,6,7",
         "--rgb-ratio",
         "90,100,110",
         "--set",
         "reserved49=1,2,3"});
  const std::string record = ReadText(At("record.txt"));
  for (const char* line :
       {"width = 848\n", "resolution = 40\n", "sensorMode = 2\n", "framing = '4'\n", "wbMode = 0\n",
        "mirror = 1\n", "wbFactorR = 1.25\n", "wbFactorB = 0.1\n", "contrast = 5\n",
        "brightness = -3\n", "gamma = 90\n", "sharpenOn = 1\n", "focusY = 20\n",
        "semiFactors = 1, 2, 3, 4, 5, 6, 7\n", "ratioB = 110\n", "reserved49 = 1, 2, 3\n"}) {
    EXPECT_NE(record.find(line), std::string::npos) << line << record;
  }
  // Read back with no setters, the record comes out byte for byte.
  const Outcome again = RunOk({"settings", "--settings", "record.txt"});
  EXPECT_EQ(again.out, record);

  // A partial file keeps the other fields at their defaults.
  WriteBytes(At("partial.txt"), {'g', 'a', 'm', 'm', 'a', '=', '1', '2', '0', '\n'});
  const std::string partial = RunOk({"settings", "--settings", "partial.txt"}).out;
  EXPECT_NE(partial.find("gamma = 120\n"), std::string::npos);
  EXPECT_NE(partial.find("wbMode = 1\n"), std::string::npos);
}

TEST_F(ToolTest, SettingsFileErrorsNameTheLine) {
  const std::string text = "# mine\nwidth = 640\nbogusField = 1\n";
  WriteBytes(At("bad.txt"), std::vector<uint8_t>(text.begin(), text.end()));
  Outcome o = Run({"settings", "--settings", "bad.txt"});
  EXPECT_NE(o.exitCode, 0);
  EXPECT_NE(o.err.find("bad.txt:3"), std::string::npos) << o.err;
  EXPECT_NE(o.err.find("bogusField"), std::string::npos) << o.err;

  const std::string range = "width = 99999\n";
  WriteBytes(At("range.txt"), std::vector<uint8_t>(range.begin(), range.end()));
  o = Run({"settings", "--settings", "range.txt"});
  EXPECT_NE(o.exitCode, 0);
  EXPECT_NE(o.err.find("range.txt:1"), std::string::npos) << o.err;
  EXPECT_NE(o.err.find("32767"), std::string::npos) << o.err;

  o = Run({"settings", "--set", "widht=5"});
  EXPECT_NE(o.exitCode, 0);
  EXPECT_NE(o.err.find("widht"), std::string::npos) << o.err;
}

TEST_F(ToolTest, RawFramesOfTheWrongSizeAreRefused) {
  WriteBytes(At("short.raw"), std::vector<uint8_t>(1000, 7));
  const struct {
    std::vector<std::string> mode;
    const char* expected;
  } cases[] = {{{"--mode", "preview"}, "262144"},
               {{"--resolution", "13"}, "262144"},
               {{"--resolution", "23"}, "524288"},
               {{"--mode", "hires"}, "1048576"}};
  for (const auto& c : cases) {
    std::vector<std::string> args{"convert", "short.raw", "-o", "out.png"};
    args.insert(args.end(), c.mode.begin(), c.mode.end());
    const Outcome o = Run(args);
    EXPECT_NE(o.exitCode, 0) << c.expected;
    EXPECT_NE(o.err.find("short.raw has 1000 bytes"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find(c.expected), std::string::npos) << o.err;
    EXPECT_FALSE(fs::exists(At("out.png")));
  }
}

TEST_F(ToolTest, UnknownOptionsAndValuesAreRefused) {
  WriteBytes(At("frame.raw"), std::vector<uint8_t>(262144, 0));
  const struct {
    std::vector<std::string> args;
    const char* message;
  } cases[] = {
      {{"--bogus"}, "--bogus"},
      {{"--option", "z=1"}, "unknown option letter 'z'"},
      {{"--option", "h=300"}, "-128 to 255"},
      {{"--option", "h"}, "NAME=VALUE"},
      {{"--resolution", "13", "--sensor-mode", "7"}, "sub-modes: 0, 1, 2"},
      {{"--mode", "still", "--resolution", "40"}, "not a code of the still path"},
      {{"--mode", "teapot"}, "teapot"},
      {{"--orientation", "sideways"}, "mirror (1), flip (2) or both (4)"},
      {{"--wb-factors", "1,2"}, "takes 3 comma-separated values"},
      {{"--tone", "0,0,x,1,1,1"}, "'x' is not an integer"},
      {{"--color-gain", "b=80"}, "gainAdjust"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args{"convert", "frame.raw", "-o", "out.png"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const Outcome o = Run(args);
    EXPECT_NE(o.exitCode, 0) << Joined(args);
    EXPECT_NE(o.err.find(c.message), std::string::npos) << Joined(args) << "\n" << o.err;
    EXPECT_FALSE(fs::exists(At("out.png"))) << Joined(args);
  }
  // With manual colour gain switched on the same call is accepted.
  RunOk({"settings", "--set", "gainAdjust=1", "--color-gain", "b=80"});
  // -o names one picture.
  const Outcome two = Run({"convert", "frame.raw", "frame.raw", "-o", "out.png"});
  EXPECT_NE(two.exitCode, 0);
  EXPECT_NE(two.err.find("--out-dir"), std::string::npos) << two.err;
}

TEST_F(ToolTest, ManyFramesConvertAndOneBadFrameFailsAlone) {
  RunOk({"scene", "--size", "320x240", "-o", "scene.png"});
  RunOk({"mosaic", "scene.png", "--resolution", "13", "-o", "a.raw"});
  fs::copy_file(At("a.raw"), At("b.raw"));
  WriteBytes(At("c.raw"), std::vector<uint8_t>(5, 1));
  const Outcome o = Run({"convert", "a.raw", "b.raw", "c.raw", "--resolution", "13",
                         "--sensor-mode", "2", "--out-dir", "out", "--format", "bmp", "-j", "2"});
  EXPECT_EQ(o.exitCode, 1) << o.out << o.err;
  EXPECT_NE(o.err.find("c.raw has 5 bytes"), std::string::npos) << o.err;
  EXPECT_FALSE(fs::exists(At("out/c.bmp")));
  // Not a terminal: a plain log line for each frame converted.
  EXPECT_NE(o.out.find("a.raw -> "), std::string::npos) << o.out;
  EXPECT_NE(o.out.find("2 of 3 frames converted"), std::string::npos) << o.out;
  for (const char* name : {"out/a.bmp", "out/b.bmp"}) {
    const std::vector<uint8_t> bmp = ReadBytes(At(name));
    ASSERT_EQ(bmp.size(), 54u + 320 * 240 * 3) << name;
    EXPECT_EQ(bmp[0], 'B');
    EXPECT_EQ(bmp[1], 'M');
    EXPECT_EQ(Le32(bmp, 2), bmp.size());
    EXPECT_EQ(Le32(bmp, 10), 54u);
    EXPECT_EQ(Le32(bmp, 18), 320u);
    EXPECT_EQ(Le32(bmp, 22), 240u);
  }
  // The same frame gives the same picture whichever worker converted it.
  EXPECT_EQ(ReadBytes(At("out/a.bmp")), ReadBytes(At("out/b.bmp")));
}

TEST_F(ToolTest, ASettingsFileConvertsLikeTheSameOptions) {
  RunOk({"scene", "--pattern", "smooth", "--size", "320x240", "-o", "scene.png"});
  RunOk({"mosaic", "scene.png", "--resolution", "13", "-o", "frame.raw"});
  const std::vector<std::string> grey{"--resolution", "13", "--sensor-mode", "2",
                                      "--option",     "l=0"};
  std::vector<std::string> dump{"settings", "--dump", "-o", "grey.txt"};
  dump.insert(dump.end(), grey.begin(), grey.end());
  RunOk(dump);
  RunOk({"convert", "frame.raw", "--settings", "grey.txt", "-o", "from-file.bmp"});
  std::vector<std::string> direct{"convert", "frame.raw", "-o", "direct.bmp"};
  direct.insert(direct.end(), grey.begin(), grey.end());
  RunOk(direct);
  const std::vector<uint8_t> fromFile = ReadBytes(At("from-file.bmp"));
  ASSERT_EQ(fromFile.size(), 54u + 320 * 240 * 3);
  EXPECT_EQ(fromFile, ReadBytes(At("direct.bmp")));
  bool allGrey = true;
  for (std::size_t i = 54; i + 2 < fromFile.size(); i += 3) {
    allGrey = allGrey && fromFile[i] == fromFile[i + 1] && fromFile[i + 1] == fromFile[i + 2];
  }
  EXPECT_TRUE(allGrey);
  RunOk({"convert", "frame.raw", "--resolution", "13", "--sensor-mode", "2", "-o", "colour.bmp"});
  EXPECT_NE(ReadBytes(At("colour.bmp")), fromFile);
}

TEST_F(ToolTest, EntryPointsAndFramings) {
  RunOk({"scene", "--size", "320x240", "-o", "scene.png"});
  RunOk({"mosaic", "scene.png", "--mode", "preview", "--sensor-mode", "0", "-o", "preview.raw"});
  // The framing moves the pixels inside the library's block; the picture
  // the tool writes stays the same.
  for (const char* framing : {"k=0", "k=52"}) {
    RunOk({"convert", "preview.raw", "--mode", "preview", "--sensor-mode", "0", "-o", "a.bmp"});
    RunOk({"convert", "preview.raw", "--mode", "preview", "--sensor-mode", "0", "--option", framing,
           "-o", "b.bmp"});
    EXPECT_EQ(ReadBytes(At("a.bmp")), ReadBytes(At("b.bmp"))) << framing;
  }
  const Outcome report = RunOk({"convert", "preview.raw", "--mode", "preview", "--sensor-mode", "0",
                                "--report", "-o", "a.png"});
  EXPECT_NE(report.out.find("GetImageSize 320 x 240"), std::string::npos) << report.out;

  RunOk({"mosaic", "scene.png", "--resolution", "13", "-o", "still.raw"});
  RunOk({"convert", "still.raw", "--video", "-o", "video.bmp"});
  EXPECT_EQ(fs::file_size(At("video.bmp")), 54u + 640 * 480 * 3);
  const Outcome previewVideo =
      Run({"convert", "preview.raw", "--mode", "preview", "--video", "-o", "x.png"});
  EXPECT_NE(previewVideo.exitCode, 0);
  EXPECT_NE(previewVideo.err.find("ReadPreviewImage"), std::string::npos) << previewVideo.err;
  // Code 10 has a raw size but no conversion: the library's refusal is named.
  const Outcome refused = Run({"convert", "still.raw", "--resolution", "10", "-o", "x.png"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("ReadCamImage returned 0"), std::string::npos) << refused.err;
  const Outcome noLayout = Run({"mosaic", "scene.png", "--resolution", "10", "-o", "x.raw"});
  EXPECT_NE(noLayout.exitCode, 0);
  EXPECT_NE(noLayout.err.find("no raw layout"), std::string::npos) << noLayout.err;
}

// One read-out for a round trip: the scene is drawn at the output size,
// synthesised into a raw frame, converted with manual white balance at
// factors 1.0 and compared with itself.
struct RoundTrip {
  const char* name;
  std::vector<std::string> readout;
  const char* size;
  double floorDb;
  int border;
};

void PrintTo(const RoundTrip& trip, std::ostream* os) { *os << trip.name; }

class ToolRoundTrip : public ToolTest, public ::testing::WithParamInterface<RoundTrip> {};

TEST_P(ToolRoundTrip, ReachesItsPsnrFloor) {
  const RoundTrip& trip = GetParam();
  RunOk({"scene", "--pattern", "smooth", "--size", trip.size, "-o", "scene.png"});
  std::vector<std::string> mosaic{"mosaic", "scene.png", "-o", "frame.raw"};
  mosaic.insert(mosaic.end(), trip.readout.begin(), trip.readout.end());
  RunOk(mosaic);
  if (AllZero(ReadBytes(At("frame.raw")))) {
    GTEST_SKIP() << "the raw-frame synthesis of " << trip.name
                 << " still returns an all-zero frame";
  }
  std::vector<std::string> convert{"convert", "frame.raw", "--option", "h=0", "-o", "out.png"};
  convert.insert(convert.end(), trip.readout.begin(), trip.readout.end());
  const Outcome converted = Run(convert);
  ASSERT_EQ(converted.exitCode, 0) << Joined(convert) << "\n" << converted.err;
  const std::string floor = std::to_string(trip.floorDb);
  const Outcome compare = Run({"compare", "scene.png", "out.png", "--border",
                               std::to_string(trip.border), "--min-psnr", floor});
  EXPECT_EQ(compare.exitCode, 0) << trip.name << " below " << floor << " dB:\n"
                                 << compare.out << compare.err;
}

// Every path gives the smooth scene back at 50 dB or more; the floor of 40 dB
// leaves room for rounding changes and sits far above what a mirrored,
// flipped or channel-swapped picture reaches (under 26 dB in some channel).
INSTANTIATE_TEST_SUITE_P(
    EveryConvertedReadout, ToolRoundTrip,
    ::testing::Values(
        RoundTrip{"preview_51", {"--mode", "preview", "--sensor-mode", "51"}, "640x480", 40, 8},
        RoundTrip{"preview_0", {"--mode", "preview", "--sensor-mode", "0"}, "320x240", 40, 4},
        RoundTrip{"preview_53", {"--mode", "preview", "--sensor-mode", "53"}, "320x240", 40, 4},
        RoundTrip{"preview_54", {"--mode", "preview", "--sensor-mode", "54"}, "240x180", 40, 4},
        RoundTrip{"preview_57", {"--mode", "preview", "--sensor-mode", "57"}, "176x144", 40, 4},
        RoundTrip{"preview_1", {"--mode", "preview", "--sensor-mode", "1"}, "160x120", 40, 2},
        RoundTrip{"preview_55", {"--mode", "preview", "--sensor-mode", "55"}, "160x120", 40, 2},
        RoundTrip{"preview_2", {"--mode", "preview", "--sensor-mode", "2"}, "80x60", 40, 2},
        RoundTrip{"preview_56", {"--mode", "preview", "--sensor-mode", "56"}, "80x60", 40, 2},
        RoundTrip{"still_13_0", {"--resolution", "13", "--sensor-mode", "0"}, "640x480", 40, 8},
        RoundTrip{"still_13_1", {"--resolution", "13", "--sensor-mode", "1"}, "480x360", 40, 8},
        RoundTrip{"still_13_2", {"--resolution", "13", "--sensor-mode", "2"}, "320x240", 40, 4},
        RoundTrip{"still_11", {"--resolution", "11"}, "640x480", 40, 8},
        RoundTrip{"hires_0", {"--mode", "hires", "--sensor-mode", "0"}, "1260x960", 40, 16},
        RoundTrip{"hires_1", {"--mode", "hires", "--sensor-mode", "1"}, "1016x768", 40, 16},
        RoundTrip{"hires_2", {"--mode", "hires", "--sensor-mode", "2"}, "848x640", 40, 16}),
    [](const ::testing::TestParamInfo<RoundTrip>& info) { return std::string(info.param.name); });

TEST_F(ToolTest, DoubleReadoutConvertsToAFullSizePicture) {
  // Codes 21 and 23 take no demosaic: only the size of the result is theirs.
  RunOk({"scene", "--size", "64x48", "-o", "scene.png"});
  for (const char* code : {"21", "23"}) {
    RunOk({"mosaic", "scene.png", "--resolution", code, "-o", "frame.raw"});
    EXPECT_EQ(fs::file_size(At("frame.raw")), 524288u);
    RunOk({"convert", "frame.raw", "--resolution", code, "-o", "out.bmp"});
    EXPECT_EQ(fs::file_size(At("out.bmp")), 54u + 640 * 480 * 3) << code;
  }
}

TEST_F(ToolTest, CompareMeasuresAndEnforcesAFloor) {
  RunOk({"scene", "--size", "64x48", "-o", "a.png"});
  RunOk({"scene", "--pattern", "smooth", "--size", "64x48", "-o", "b.png"});
  RunOk({"scene", "--size", "32x24", "-o", "small.png"});
  const Outcome same = RunOk({"compare", "a.png", "a.png", "--min-psnr", "60"});
  EXPECT_NE(same.out.find("red     99.00 dB"), std::string::npos) << same.out;
  const Outcome differ = Run({"compare", "a.png", "b.png", "--min-psnr", "30"});
  EXPECT_EQ(differ.exitCode, 1);
  EXPECT_NE(differ.err.find("below the floor"), std::string::npos) << differ.err;
  const Outcome sizes = Run({"compare", "a.png", "small.png"});
  EXPECT_NE(sizes.exitCode, 0);
  EXPECT_NE(sizes.err.find("64 x 48 against 32 x 24"), std::string::npos) << sizes.err;
  RunOk({"compare", "a.png", "small.png", "--resize"});
}

TEST_F(ToolTest, DemoWritesEveryPictureAndAnIndex) {
  const Outcome o = Run({"demo", "--out-dir", "demo", "-j", "2"});
  const std::string index = ReadText(At("demo/index.html"));
  ASSERT_FALSE(index.empty()) << o.out << o.err;
  std::size_t rows = 0;
  for (const char* path : {"\npreview ", "\nstill ", "\nhires "}) {
    for (std::size_t at = o.out.find(path); at != std::string::npos;
         at = o.out.find(path, at + 1)) {
      ++rows;
    }
  }
  EXPECT_EQ(rows, 20u) << o.out;
  // Every picture the page shows exists.
  for (std::size_t at = index.find("src=\""); at != std::string::npos;
       at = index.find("src=\"", at + 1)) {
    const std::size_t end = index.find('"', at + 5);
    const std::string name = index.substr(at + 5, end - at - 5);
    EXPECT_TRUE(fs::exists(At("demo/" + name))) << name;
  }
  const bool unsynthesised = AllZero(ReadBytes(At("demo/raw/preview-0-51.raw"))) ||
                             AllZero(ReadBytes(At("demo/raw/still-13-0.raw"))) ||
                             AllZero(ReadBytes(At("demo/raw/hires-40-0.raw")));
  if (unsynthesised) GTEST_SKIP() << "a raw-frame synthesis still returns all-zero frames";
  EXPECT_EQ(o.exitCode, 0) << o.out << o.err;
  for (const char* picture : {"preview-0-51.png", "still-13-0.png", "hires-40-0.png"}) {
    EXPECT_NE(index.find(picture), std::string::npos) << picture;
  }
}

}  // namespace
