// The command-line tool as a user runs it: the executable itself, through the
// shell, on real files in a temporary directory.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#ifndef VOBREX_TOOL_PATH
#define VOBREX_TOOL_PATH ""  // the tool is not built in this configuration
#endif

namespace {

namespace fs = std::filesystem;

struct Outcome {
  int exitCode = -1;
  std::string out, err;
};

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

::testing::AssertionResult Has(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "no '" << part << "' in:\n" << text;
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(VOBREX_TOOL_PATH).empty()) GTEST_SKIP() << "the tool is not built";
    std::string pattern = (fs::temp_directory_path() / "vobrex-tool-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }

  void Write(const std::string& name, const std::string& bytes) {
    std::ofstream(dir_ / name, std::ios::binary) << bytes;
  }
  // Runs `vobrex <args>` in the temporary directory; the arguments are plain words.
  Outcome Run(const std::string& args) {
    const std::string command = "cd '" + dir_.string() + "' && '" VOBREX_TOOL_PATH "' " + args;
    const int status = std::system((command + " >.stdout 2>.stderr").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128, ReadText(dir_ / ".stdout"),
            ReadText(dir_ / ".stderr")};
  }
  Outcome RunOk(const std::string& args) {
    Outcome o = Run(args);
    EXPECT_EQ(o.exitCode, 0) << "vobrex " << args << "\n" << o.out << o.err;
    return o;
  }
  // A refused call names the problem, exits non-zero and writes no picture.
  Outcome ExpectRefused(const std::string& args, const std::string& message) {
    Outcome o = Run(args);
    EXPECT_NE(o.exitCode, 0) << "vobrex " << args;
    EXPECT_TRUE(Has(o.err, message)) << "vobrex " << args;
    EXPECT_FALSE(fs::exists(dir_ / "out.png")) << "vobrex " << args;
    return o;
  }

  fs::path dir_;
};

TEST_F(ToolTest, EveryCommandHasHelp) {
  const std::string top = RunOk("--help").out;
  for (const char* command :
       {"convert", "mosaic", "demo", "info", "settings", "compare", "scene"}) {
    EXPECT_TRUE(Has(top, command));
    EXPECT_TRUE(Has(RunOk(command + std::string(" --help")).out, "vobrex " + std::string(command)));
  }
  // The setters of the export table are all reachable from convert.
  const std::string convert = RunOk("convert --help").out;
  for (const char* option : {"--settings", "--set", "--resolution", "--sensor-mode", "--option",
                             "--orientation", "--wb-factors", "--focus-factors", "--tone",
                             "--focus-coord", "--semi-factors", "--rgb-ratio", "--color-gain"}) {
    EXPECT_TRUE(Has(convert, option));
  }
  ExpectRefused("", "subcommand");
}

TEST_F(ToolTest, SettingsDumpReadsBackAsTheSameRecord) {
  RunOk(
      "settings --dump -o record.txt --resolution 40 --sensor-mode 2 --option k=52 --option h=0 "
      "--orientation mirror --wb-factors 1.25,1,0.1 --tone 5,-3,90,2,1,1 --focus-factors 1,0 "
      "--focus-coord 10,20 --semi-factors 1,2,3,4,5,6,7 --rgb-ratio 90,100,110 "
      "--set reserved49=1,2,3");
  const std::string record = ReadText(dir_ / "record.txt");
  for (const char* line :
       {"width = 848\n", "resolution = 40\n", "sensorMode = 2\n", "framing = '4'\n", "wbMode = 0\n",
        "mirror = 1\n", "wbFactorR = 1.25\n", "wbFactorB = 0.1\n", "contrast = 5\n",
        "brightness = -3\n", "gamma = 90\n", "sharpenOn = 1\n", "focusY = 20\n",
        "semiFactors = 1, 2, 3, 4, 5, 6, 7\n", "ratioB = 110\n", "reserved49 = 1, 2, 3\n"}) {
    EXPECT_TRUE(Has(record, line));
  }
  // Read back with no setters, the record comes out byte for byte; a partial
  // file keeps the other fields at their defaults.
  EXPECT_EQ(RunOk("settings --settings record.txt").out, record);
  Write("partial.txt", "gamma=120\n");
  const std::string partial = RunOk("settings --settings partial.txt").out;
  EXPECT_TRUE(Has(partial, "gamma = 120\n"));
  EXPECT_TRUE(Has(partial, "wbMode = 1\n"));
}

TEST_F(ToolTest, WrongSizesAndUnknownOptionsAreRefusedByName) {
  Write("short.raw", std::string(1000, '\7'));
  for (auto [readout, bytes] : {std::pair{"--mode preview", "262144"},
                                {"--resolution 13", "262144"},
                                {"--resolution 23", "524288"},
                                {"--mode hires", "1048576"}}) {
    const Outcome o = ExpectRefused("convert short.raw -o out.png " + std::string(readout), bytes);
    EXPECT_TRUE(Has(o.err, "short.raw has 1000 bytes"));
  }
  Write("frame.raw", std::string(262144, '\0'));
  Write("bad.txt", "# mine\nwidth = 640\nbogusField = 1\n");
  Write("range.txt", "width = 99999\n");
  const std::pair<const char*, const char*> cases[] = {
      {"--bogus", "--bogus"},
      {"--option z=1", "unknown option letter 'z'"},
      {"--option h=300", "-128 to 255"},
      {"--option h", "NAME=VALUE"},
      {"--resolution 13 --sensor-mode 7", "sub-modes: 0, 1, 2"},
      {"--mode still --resolution 40", "not a code of the still path"},
      {"--mode teapot", "teapot"},
      {"--orientation sideways", "mirror (1), flip (2) or both (4)"},
      {"--wb-factors 1,2", "takes 3 comma-separated values"},
      {"--tone 0,0,x,1,1,1", "'x' is not an integer"},
      {"--color-gain b=80", "gainAdjust"},
      {"--settings bad.txt", "bad.txt:3: unknown settings field 'bogusField'"},
      {"--settings range.txt", "range.txt:1"},
      {"--set widht=5", "widht"},
      {"--mode preview --video", "ReadPreviewImage"},
      {"--resolution 10", "ReadCamImage returned 0"},  // a raw size but no conversion
      {"frame.raw", "--out-dir"}};                     // -o names one picture
  for (auto [args, message] : cases) {
    ExpectRefused("convert frame.raw -o out.png " + std::string(args), message);
  }
  EXPECT_TRUE(Has(Run("settings --settings range.txt").err, "32767"));
  // With manual colour gain switched on the same call is accepted.
  RunOk("settings --set gainAdjust=1 --color-gain b=80");
}

TEST_F(ToolTest, BatchConvertsEveryGoodFrameWithSettingsFromAFile) {
  RunOk("scene --size 320x240 -o scene.png");
  RunOk("mosaic scene.png --resolution 13 -o a.raw");
  RunOk("mosaic scene.png --resolution 13 -o b.raw");
  Write("c.raw", "short");
  RunOk("settings --dump -o grey.txt --resolution 13 --sensor-mode 2 --option l=0");
  const Outcome o =
      Run("convert a.raw b.raw c.raw --settings grey.txt --out-dir out --format bmp -j 2");
  EXPECT_EQ(o.exitCode, 1);
  EXPECT_TRUE(Has(o.err, "c.raw has 5 bytes"));
  EXPECT_TRUE(Has(o.out, "2 of 3 frames converted"));
  EXPECT_FALSE(fs::exists(dir_ / "out/c.bmp"));
  const std::string a = ReadText(dir_ / "out/a.bmp");
  ASSERT_EQ(a.size(), 54u + 320 * 240 * 3);
  EXPECT_EQ(a.substr(0, 2), "BM");
  EXPECT_EQ(a.substr(18, 8), std::string("\x40\x01\0\0\xF0\0\0\0", 8));  // 320 x 240
  EXPECT_EQ(a, ReadText(dir_ / "out/b.bmp"));  // whichever worker converted it
  bool grey = true;                            // as the file says: output format 0
  for (size_t i = 54; i < a.size(); i += 3) grey = grey && a[i] == a[i + 1] && a[i] == a[i + 2];
  EXPECT_TRUE(grey);
}

TEST_F(ToolTest, CompareMeasuresAndEnforcesAFloor) {
  RunOk("scene --size 64x48 -o a.png");
  RunOk("scene --pattern smooth --size 64x48 -o b.png");
  RunOk("scene --size 32x24 -o small.png");
  EXPECT_TRUE(Has(RunOk("compare a.png a.png --min-psnr 60").out, "red     99.00 dB"));
  const Outcome differ = ExpectRefused("compare a.png b.png --min-psnr 30", "below the floor");
  EXPECT_EQ(differ.exitCode, 1);
  ExpectRefused("compare a.png small.png", "64 x 48 against 32 x 24");
  RunOk("compare a.png small.png --resize");
}

// Each path family gives the smooth scene back at 50 dB or more; the floor of
// 40 dB leaves room for rounding changes and sits far above what a mirrored,
// flipped or channel-swapped picture reaches (under 26 dB in some channel).
TEST_F(ToolTest, MosaicConvertCompareRoundTripsReachTheirFloor) {
  const struct {
    std::string readout, size, border;
  } trips[] = {{"--mode preview --sensor-mode 51", "640x480", "8"},
               {"--mode preview --sensor-mode 2", "80x60", "2"},
               {"--resolution 13 --sensor-mode 1", "480x360", "8"},
               {"--resolution 11", "640x480", "8"},
               {"--mode hires --sensor-mode 0", "1260x960", "16"}};
  for (const auto& trip : trips) {
    SCOPED_TRACE(trip.readout);
    RunOk("scene --pattern smooth --size " + trip.size + " -o scene.png");
    RunOk("mosaic scene.png -o frame.raw " + trip.readout);
    RunOk("convert frame.raw --option h=0 -o out.png " + trip.readout);
    RunOk("compare scene.png out.png --min-psnr 40 --border " + trip.border);
  }
}

}  // namespace
